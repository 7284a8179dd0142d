#include "KitwellPlatform/RunLoop/DateTimer.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <sys/timerfd.h>
#include <unistd.h>

#include "KitwellPlatform/Logging/Log.h"

namespace kitwell::platform {

namespace {

// The system's clock does not go further; whoever waits so long is woken and may look again.
constexpr double kLastMoment = 4e9;

timespec momentOf(Date date) {
    // Zero would stop the clock: every past is the same.
    const double seconds =
        std::clamp(std::isnan(date.unixTime()) ? kLastMoment : date.unixTime(), 1.0, kLastMoment);
    const double whole = std::floor(seconds);
    return {static_cast<time_t>(whole), static_cast<long>((seconds - whole) * 1e9)};
}

} // namespace

DateTimer::DateTimer(RunLoop& loop, RunLoopModes modes, std::function<void()> handler)
    : clock_(::timerfd_create(CLOCK_REALTIME, TFD_CLOEXEC | TFD_NONBLOCK)), handler_(std::move(handler)),
      source_(loop.watch(clock_.get(), RunLoop::Interest::Readable, modes,
                         [this](RunLoop::Events) { arrived(); })) {
    if (!source_)
        writeLogLine("no descriptor is left to wait for dates with: they will not be noticed");
}

void DateTimer::waitFor(Date date) {
    itimerspec setting{};
    setting.it_value = momentOf(date);
    ::timerfd_settime(clock_.get(), TFD_TIMER_ABSTIME | TFD_TIMER_CANCEL_ON_SET, &setting, nullptr);
}

void DateTimer::stopWaiting() {
    const itimerspec nothing{};
    ::timerfd_settime(clock_.get(), 0, &nothing, nullptr);
}

void DateTimer::arrived() {
    std::uint64_t expirations = 0;
    // An error tells that the clock was set: the waiting goes on, and the caller looks at the time all the
    // same.
    [[maybe_unused]] const ssize_t ignored = ::read(clock_.get(), &expirations, sizeof expirations);
    handler_();
}

} // namespace kitwell::platform
