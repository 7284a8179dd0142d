#pragma once

#include <atomic>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>

#include "KitwellPlatform/Files/FileDescriptor.h"

namespace kitwell::platform {

// Work that any thread hands to a loop. The descriptor is readable exactly while work waits, so that nested
// passes and a host's loop see it without asking.
class WorkQueue {
public:
    WorkQueue();

    int descriptor() const { return waiting_.get(); }
    // Any thread.
    void post(std::function<void()> work);
    // The number of works posted ever.
    std::uint64_t posted() const { return posted_; }
    // Runs in order what had been posted when `posted` answered `end`; what came later waits. The loop's
    // thread; may be called again from inside the work.
    void runUpTo(std::uint64_t end);

private:
    std::function<void()> takeUpTo(std::uint64_t end);

    FileDescriptor waiting_;
    std::mutex mutex_;
    std::deque<std::function<void()>> queue_;
    std::atomic<std::uint64_t> posted_ = 0;
    std::uint64_t taken_ = 0;
};

} // namespace kitwell::platform
