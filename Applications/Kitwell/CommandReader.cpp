#include "CommandReader.h"

#include <array>
#include <chrono>
#include <unistd.h>
#include <utility>

#include "KitwellPlatform/Interface/TerminalForeground.h"

namespace kitwell::applications {

namespace {

constexpr std::size_t kMaxLine = 4096;
constexpr std::chrono::seconds kPauseInBackground{1};

} // namespace

CommandReader::CommandReader(Handler handler) : handler_(std::move(handler)) {
    listen();
}

void CommandReader::listen() {
    // A file, or the empty device, cannot be waited for: there is nobody to type, and nothing is read.
    source_ = platform::RunLoop::current().watch(
        STDIN_FILENO, platform::RunLoop::Interest::Readable, platform::RunLoopModes::Default,
        [this](platform::RunLoop::Events events) { readSome(events); });
}

// A read in the background would stop the whole process. Of a terminal that is gone the end can be read.
void CommandReader::readSome(platform::RunLoop::Events events) {
    if (!events.hangUp && !platform::isInForeground(STDIN_FILENO)) {
        source_.end();
        later_ = platform::Timer::once(platform::RunLoop::current(), kPauseInBackground,
                                       platform::RunLoopModes::Default, [this] { listen(); });
        return;
    }
    std::array<char, kMaxLine> buffer;
    const ssize_t count = ::read(STDIN_FILENO, buffer.data(), buffer.size());
    if (count <= 0)
        return source_.end();
    unfinished_.append(buffer.data(), static_cast<std::size_t>(count));
    std::size_t lineEnd = 0;
    while ((lineEnd = unfinished_.find('\n')) != std::string::npos) {
        const std::string line = unfinished_.substr(0, lineEnd);
        unfinished_.erase(0, lineEnd + 1);
        if (!std::exchange(isTooLong_, false))
            handler_(line);
    }
    if (unfinished_.size() > kMaxLine) {
        isTooLong_ = true;
        unfinished_.clear();
    }
}

} // namespace kitwell::applications
