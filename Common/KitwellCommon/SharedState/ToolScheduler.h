#pragma once

#include "KitwellCommon/Export.h"
#include "KitwellPlatform/Values/Date.h"

namespace kitwell {

// With these calls a tool asks the agent to launch it later. Each is one complete change of the calling
// tool's entry in the store of launch schedules; the agent need not run. Any thread.
class KITWELL_API ToolScheduler {
public:
    ToolScheduler() = delete;

    // Takes effect at the next login.
    static void scheduleAtLogin(bool isWanted);
    // Replaces the date and the interval of an earlier call. `repeat` in seconds, 0 for a single launch. A
    // tool that runs when the date comes is told (`dateScheduleBlock`) instead of launched. A date that is
    // not finite is refused: one log line, and nothing changes.
    static void scheduleAtDate(platform::Date date, double repeat);
    static void cancelDateSchedule();
};

} // namespace kitwell
