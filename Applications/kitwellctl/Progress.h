#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

namespace kitwell::applications {

// Tells a person what long work is at: one line on a terminal, which goes when the work is over, with the
// share that is done where that is known, and the seconds that a slow step has taken. Nothing where the
// standard error is no terminal.
class Progress {
public:
    Progress();
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    void begin(const std::string& step);
    void count(std::uint64_t done, std::uint64_t all);

private:
    using Clock = std::chrono::steady_clock;

    void show();
    void showAgainAndAgain(const std::stop_token& end);

    const bool isTerminal_;
    std::mutex mutex_; // of what follows
    std::string step_;
    std::optional<std::uint64_t> percent_;
    Clock::time_point begun_;
    std::string shown_;
    std::condition_variable_any isOver_;
    std::jthread ticker_; // ends first
};

} // namespace kitwell::applications
