#include "Progress.h"

#include <cstdio>
#include <unistd.h>
#include <utility>

namespace kitwell::applications {

Progress::Progress() : isTerminal_(::isatty(STDERR_FILENO) == 1) {
    if (isTerminal_)
        ticker_ = std::jthread([this](const std::stop_token& end) { showAgainAndAgain(end); });
}

Progress::~Progress() {
    if (!isTerminal_)
        return;
    ticker_.request_stop();
    ticker_.join();
    std::fputs("\r\033[K", stderr);
}

void Progress::begin(const std::string& step) {
    const std::lock_guard lock(mutex_);
    step_ = step;
    percent_.reset();
    begun_ = Clock::now();
    show();
}

void Progress::count(std::uint64_t done, std::uint64_t all) {
    const std::lock_guard lock(mutex_);
    const bool isFirst = !percent_;
    percent_ = 100 * done / all;
    if (isFirst)
        show();
}

void Progress::show() {
    std::string text = step_;
    if (percent_)
        text += " " + std::to_string(*percent_) + " %";
    const auto taken = std::chrono::duration_cast<std::chrono::seconds>(Clock::now() - begun_);
    if (taken >= std::chrono::seconds(2))
        text += ", " + std::to_string(taken.count()) + " s";
    if (isTerminal_ && text != shown_)
        std::fprintf(stderr, "\r\033[K%s", text.c_str());
    shown_ = std::move(text);
}

void Progress::showAgainAndAgain(const std::stop_token& end) {
    std::unique_lock lock(mutex_);
    while (
        !isOver_.wait_for(lock, end, std::chrono::milliseconds(100), [&end] { return end.stop_requested(); }))
        show();
}

} // namespace kitwell::applications
