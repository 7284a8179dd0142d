#pragma once

#include <functional>

#include "KitwellPlatform/Export.h"
#include "KitwellPlatform/Files/FileDescriptor.h"
#include "KitwellPlatform/RunLoop/RunLoop.h"
#include "KitwellPlatform/Values/Date.h"

namespace kitwell::platform {

// Waits for a moment of the wall clock, where Timer waits for a span of time: it follows every setting of the
// clock, and a moment that passed while the machine slept is told when it wakes. Belongs to the thread of its
// loop.
class PLATFORM_API DateTimer {
public:
    // `handler` runs when the date has come and whenever the clock was set, so that the caller looks at the
    // time anew. Where the system refuses a clock, one log line is written and nothing is ever told.
    DateTimer(RunLoop& loop, RunLoopModes modes, std::function<void()> handler);
    DateTimer(const DateTimer&) = delete;
    DateTimer& operator=(const DateTimer&) = delete;

    // Waits for this date from now on, once; a date that has passed is told in the loop's next turn.
    void waitFor(Date date);
    void stopWaiting();

private:
    void arrived();

    FileDescriptor clock_;
    std::function<void()> handler_;
    RunLoop::Source source_;
};

} // namespace kitwell::platform
