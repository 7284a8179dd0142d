#include "Display.h"

#include <chrono>
#include <sstream>
#include <sys/ioctl.h>
#include <unistd.h>
#include <utility>

namespace kitwell::applications {

namespace {

constexpr std::chrono::milliseconds kTogether{20};

// The alternate screen keeps the person's own scrollback as it was.
constexpr std::string_view kEnterScreen = "\033[?1049h";
constexpr std::string_view kLeaveScreen = "\033[?1049l";
constexpr std::string_view kHome = "\033[H";
constexpr std::string_view kClearBelow = "\033[J";
constexpr std::string_view kClearRestOfLine = "\033[K\n";
constexpr std::string_view kSaveCursor = "\0337";
constexpr std::string_view kRestoreCursor = "\0338";

std::size_t terminalWidth() {
    winsize size{};
    return ::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : 80;
}

} // namespace

Display::Display(const ToolList& tools)
    : tools_(tools), isTerminal_(::isatty(STDOUT_FILENO) == 1), output_([this] {
          if (isStale_)
              show();
      }) {
    changes_ = platform::NotificationCenter::defaultCenter().observe(
        kToolDataAgentProviderDidChangeNotification, nullptr,
        [this](const platform::Notification&) { showSoon(); });
    if (isTerminal_)
        output_.write(kEnterScreen);
    showSoon();
}

Display::~Display() {
    if (isTerminal_)
        output_.write(kLeaveScreen);
}

void Display::say(std::string_view answer) {
    if (isTerminal_) {
        answer_ = answer;
        isAnswerNew_ = true;
        showSoon();
        return;
    }
    show();
    output_.writeLine(answer);
}

void Display::showSoon() {
    if (!pending_)
        pending_ = platform::Timer::once(platform::RunLoop::current(), kTogether,
                                         platform::RunLoopModes::Common, [this] { show(); });
}

void Display::show() {
    pending_.end();
    if (isTerminal_)
        showTable();
    else
        showChangedLines();
}

// While an earlier state has not been read none is added: the reader then gets the one that holds by that
// time.
bool Display::mayShow() {
    isStale_ = !output_.isIdle();
    return !isStale_;
}

// The line with the prompt is drawn anew only after an answer: what a person is typing stays where it is.
void Display::showTable() {
    if (!mayShow())
        return;
    std::vector<ToolRow> rows;
    for (const auto& tool : tools_.tools())
        rows.push_back(rowFor(*tool));
    const bool withPrompt = isAnswerNew_ || rows.size() != rowsShown_;
    isAnswerNew_ = false;
    rowsShown_ = rows.size();
    std::ostringstream picture;
    picture << (withPrompt ? "" : kSaveCursor) << kHome;
    for (const std::string& line : tableFor(rows, terminalWidth()))
        picture << line << kClearRestOfLine;
    picture << kClearRestOfLine << answer_ << kClearRestOfLine;
    if (withPrompt)
        picture << "> " << kClearBelow;
    else
        picture << kRestoreCursor;
    output_.write(picture.str());
}

void Display::showChangedLines() {
    for (const auto& tool : tools_.tools()) {
        ToolRow row = rowFor(*tool);
        const auto known = shown_.find(tool.get());
        if (known != shown_.end() && known->second == row)
            continue;
        if (!mayShow())
            return;
        output_.writeLine(lineFor(row));
        shown_[tool.get()] = std::move(row);
    }
}

} // namespace kitwell::applications
