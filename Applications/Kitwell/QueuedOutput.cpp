#include "QueuedOutput.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <climits>
#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace kitwell::applications {

namespace {

constexpr std::size_t kMostWaiting = 64U << 10;
constexpr std::chrono::milliseconds kPatienceAtTheEnd{500};

// Not waiting is a property of what was opened, which other processes share: a terminal or pipe is opened
// anew for this process alone. Anything else is written to as it is, in parts that fit when it is writable.
platform::FileDescriptor openOutput() {
    struct stat kind {};
    if (::isatty(STDOUT_FILENO) == 1 || (::fstat(STDOUT_FILENO, &kind) == 0 && S_ISFIFO(kind.st_mode))) {
        const int own = ::open("/proc/self/fd/1", O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
        if (own >= 0)
            return platform::FileDescriptor(own);
    }
    return platform::FileDescriptor(::fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 0));
}

bool isWritable(int descriptor, std::chrono::milliseconds bound) {
    pollfd entry{descriptor, POLLOUT, 0};
    return ::poll(&entry, 1, static_cast<int>(bound.count())) > 0;
}

// Whole lines where they fit: what others write to the same place then stands between them.
std::size_t lengthOfPart(std::string_view text) {
    const std::size_t most = std::min<std::size_t>(text.size(), PIPE_BUF);
    const std::size_t lastBreak = text.substr(0, most).rfind('\n');
    return lastBreak == std::string_view::npos ? most : lastBreak + 1;
}

} // namespace

QueuedOutput::QueuedOutput(std::function<void()> drained)
    : descriptor_(openOutput()), drained_(std::move(drained)) {}

QueuedOutput::~QueuedOutput() {
    const auto end = std::chrono::steady_clock::now() + kPatienceAtTheEnd;
    const auto left = [&] {
        const auto rest = end - std::chrono::steady_clock::now();
        return std::max(std::chrono::ceil<std::chrono::milliseconds>(rest), std::chrono::milliseconds(0));
    };
    while (!isIdle() && isWritable(descriptor_.get(), left()))
        writePart();
}

void QueuedOutput::write(std::string_view text) {
    waiting_ += text;
    if (!writable_)
        writeSome();
}

void QueuedOutput::writeLine(std::string_view line) {
    if (leftOut_ > 0 || waiting_.size() > kMostWaiting)
        ++leftOut_;
    else
        write(std::string(line) + '\n');
}

void QueuedOutput::writeSome() {
    while (!isIdle() && isWritable(descriptor_.get(), std::chrono::milliseconds(0)) && writePart()) {
        if (isIdle() && leftOut_ > 0)
            waiting_ = std::to_string(std::exchange(leftOut_, 0)) +
                       " lines were left out: they were not read in time\n";
    }
    if (!isIdle() && !writable_)
        writable_ = platform::RunLoop::current().watch(
            descriptor_.get(), platform::RunLoop::Interest::Writable, platform::RunLoopModes::Common,
            [this](platform::RunLoop::Events) { writeSome(); });
    else if (isIdle() && writable_) {
        writable_.end();
        drained_();
    }
}

// False when nothing was taken.
bool QueuedOutput::writePart() {
    const ssize_t written = ::write(descriptor_.get(), waiting_.data(), lengthOfPart(waiting_));
    if (written > 0)
        waiting_.erase(0, static_cast<std::size_t>(written));
    else if (errno != EAGAIN && errno != EINTR)
        waiting_.clear(); // nobody is there to read it
    return written > 0;
}

} // namespace kitwell::applications
