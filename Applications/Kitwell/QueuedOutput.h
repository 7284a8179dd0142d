#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "KitwellPlatform/Files/FileDescriptor.h"
#include "KitwellPlatform/RunLoop/RunLoop.h"

namespace kitwell::applications {

// Standard output, written to without ever waiting for whoever reads it: a pager at rest, or a person who
// stopped the terminal, must not stop the process. What is not taken at once waits here and is written as the
// reader goes on. Once the reader is gone everything is dropped. Main thread.
class QueuedOutput {
public:
    // `drained` runs when the reader has taken all that waited.
    explicit QueuedOutput(std::function<void()> drained);
    // Gives the reader half a second to take what still waits.
    ~QueuedOutput();
    QueuedOutput(const QueuedOutput&) = delete;
    QueuedOutput& operator=(const QueuedOutput&) = delete;

    // Whether nothing waits.
    bool isIdle() const { return waiting_.empty(); }
    // Text that may be written in parts.
    void write(std::string_view text);
    // A line without its break. While more than 64 KiB wait, lines are left out; how many is told in their
    // place.
    void writeLine(std::string_view line);

private:
    void writeSome();
    bool writePart();

    platform::FileDescriptor descriptor_;
    std::function<void()> drained_;
    std::string waiting_;
    std::size_t leftOut_ = 0; // lines
    platform::RunLoop::Source writable_;
};

} // namespace kitwell::applications
