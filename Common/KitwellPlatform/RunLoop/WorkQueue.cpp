#include "KitwellPlatform/RunLoop/WorkQueue.h"

#include <sys/eventfd.h>

namespace kitwell::platform {

WorkQueue::WorkQueue() : waiting_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}

void WorkQueue::post(std::function<void()> work) {
    const std::lock_guard guard(mutex_);
    if (queue_.empty())
        ::eventfd_write(waiting_.get(), 1);
    queue_.push_back(std::move(work));
    ++posted_;
}

void WorkQueue::runUpTo(std::uint64_t end) {
    while (const auto work = takeUpTo(end))
        work();
}

// Empty when a nested pass has run all of it already.
std::function<void()> WorkQueue::takeUpTo(std::uint64_t end) {
    const std::lock_guard guard(mutex_);
    if (taken_ >= end)
        return {};
    std::function<void()> work = std::move(queue_.front());
    queue_.pop_front();
    ++taken_;
    if (queue_.empty()) {
        eventfd_t ignored = 0;
        ::eventfd_read(waiting_.get(), &ignored);
    }
    return work;
}

} // namespace kitwell::platform
