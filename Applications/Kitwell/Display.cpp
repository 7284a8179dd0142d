#include "Display.h"

#include <chrono>
#include <iostream>
#include <sys/ioctl.h>
#include <unistd.h>

namespace kitwell::applications {

namespace {

constexpr std::chrono::milliseconds kTogether{20};

// The alternate screen keeps the person's own scrollback as it was.
constexpr std::string_view kEnterScreen = "\033[?1049h";
constexpr std::string_view kLeaveScreen = "\033[?1049l";
constexpr std::string_view kHomeAndClear = "\033[H\033[J";

std::size_t terminalWidth() {
    winsize size{};
    return ::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : 80;
}

} // namespace

Display::Display(const ToolList& tools) : tools_(tools), isTerminal_(::isatty(STDOUT_FILENO) == 1) {
    changes_ = platform::NotificationCenter::defaultCenter().observe(
        kToolDataAgentProviderDidChangeNotification, nullptr,
        [this](const platform::Notification&) { showSoon(); });
    if (isTerminal_)
        std::cout << kEnterScreen;
    showSoon();
}

Display::~Display() {
    if (isTerminal_)
        std::cout << kLeaveScreen << std::flush;
}

void Display::say(std::string_view answer) {
    if (isTerminal_) {
        answer_ = answer;
        showSoon();
        return;
    }
    show();
    std::cout << answer << std::endl;
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

void Display::showTable() {
    std::vector<ToolRow> rows;
    for (const auto& tool : tools_.tools())
        rows.push_back(rowFor(*tool));
    std::cout << kHomeAndClear;
    for (const std::string& line : tableFor(rows, terminalWidth()))
        std::cout << line << '\n';
    std::cout << '\n' << answer_ << "\n> " << std::flush;
}

void Display::showChangedLines() {
    for (const auto& tool : tools_.tools()) {
        ToolRow row = rowFor(*tool);
        const auto known = shown_.find(tool.get());
        if (known != shown_.end() && known->second == row)
            continue;
        std::cout << lineFor(row) << std::endl;
        shown_[tool.get()] = std::move(row);
    }
}

} // namespace kitwell::applications
