#include "KitwellPlatform/Interface/TerminalLine.h"

#include <array>
#include <cerrno>
#include <optional>
#include <poll.h>
#include <string_view>
#include <termios.h>
#include <unistd.h>
#include <utility>

#include "KitwellPlatform/RunLoop/RunLoop.h"
#include "KitwellPlatform/Values/Text.h"

namespace kitwell::platform {

namespace {

constexpr std::size_t kMaxLine = 8192;
constexpr int kPatienceInMilliseconds = 1000; // with a terminal that is held, or reads slowly

void writeAll(int terminal, std::string_view text) {
    while (!text.empty()) {
        const ssize_t written = ::write(terminal, text.data(), text.size());
        if (written > 0) {
            text.remove_prefix(static_cast<std::size_t>(written));
            continue;
        }
        pollfd entry{terminal, POLLOUT, 0};
        if (errno != EAGAIN || ::poll(&entry, 1, kPatienceInMilliseconds) <= 0)
            return;
    }
}

// Two readers of one terminal would take each other's lines: only the innermost one listens.
class LineReader {
public:
    LineReader(int terminal, std::string question)
        : terminal_(terminal), question_(std::move(question)), outer_(std::exchange(innermost, this)) {
        if (outer_)
            outer_->source_.end();
        ::tcflush(terminal_, TCIFLUSH);
        listen();
    }
    LineReader(const LineReader&) = delete;
    LineReader& operator=(const LineReader&) = delete;
    ~LineReader() {
        innermost = outer_;
        if (outer_ && !outer_->isDone_)
            outer_->listen();
    }

    std::string read() {
        RunLoop& loop = RunLoop::current();
        while (!isDone_ && !loop.isStopped())
            loop.runOnce(RunLoop::Duration::max(), RunLoopMode::Modal);
        return std::string(trimmed(line_));
    }

private:
    void listen() {
        writeAll(terminal_, question_);
        source_ = RunLoop::current().watch(terminal_, RunLoop::Interest::Readable, RunLoopModes::Modal,
                                           [this](RunLoop::Events) { readSome(); });
        isDone_ = !source_;
    }

    void readSome() {
        std::array<char, kMaxLine> buffer;
        const ssize_t count = ::read(terminal_, buffer.data(), buffer.size());
        if (count < 0 && errno == EAGAIN)
            return;
        const auto length = static_cast<std::size_t>(count > 0 ? count : 0);
        line_.append(buffer.data(), length);
        if (line_.size() > kMaxLine)
            line_.clear();
        else if (length > 0 && line_.find_first_of("\r\n") == std::string::npos)
            return;
        isDone_ = true;
        source_.end();
    }

    static inline LineReader* innermost = nullptr;

    int terminal_;
    std::string question_;
    std::string line_;
    bool isDone_ = false;
    LineReader* outer_;
    RunLoop::Source source_;
};

} // namespace

std::string askForLine(const FileDescriptor& terminal, const std::string& question) {
    if (RunLoop::current().isStopped())
        return {}; // nobody would hear the answer
    return LineReader(terminal.get(), withoutControlCharacters(question, '?', "\n")).read();
}

} // namespace kitwell::platform
