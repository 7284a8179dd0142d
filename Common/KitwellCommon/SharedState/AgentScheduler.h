#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "KitwellCommon/Export.h"
#include "KitwellPlatform/Values/Date.h"

namespace kitwell {

// What the agent does with the store of launch schedules. Name before bundle identifier, other than in the
// functions of SchedulerStore.h. Main thread.
class KITWELL_API AgentScheduler {
public:
    AgentScheduler() = delete;

    // What an entry holds; an absent or wrongly typed value is nothing.
    using Visitor =
        std::function<void(const std::optional<std::string>& bundleId, const std::optional<std::string>& name,
                           const std::optional<platform::Date>& date)>;

    // Calls the visitor for each entry whose date launch is armed, in the order of the store. The visitor
    // runs without the lock and may change the store; the walk does not see such changes.
    static void enumerateTools(const Visitor& visitor);
    // Disarms the date launch and forgets its date; interval and login launch stay. Tells nobody.
    static void cancelScheduleByName(std::string_view name, std::string_view bundleId);
    // False for an unknown tool.
    static bool shouldLaunchAtLoginByName(std::string_view name, std::string_view bundleId);
    // Arms a single launch, and posts the change notification. A date that is not finite is refused: one log
    // line, and nothing changes.
    static void scheduleToolAtDate(platform::Date date, std::string_view bundleId, std::string_view name);
    // Moves the array that old installations kept in the agent's own preferences over whatever the shared
    // store holds. Does nothing when there is none.
    static void upgradeSchedulerData();

    // Runs the operation on the calling thread's run loop whenever a date schedule was armed or disarmed, by
    // any process of this user. The observer's identity is its key; adding it again replaces its operation.
    static void addUpdateObserver(const void* observer, std::function<void()> operation);
    static void removeUpdateObserver(const void* observer);
};

} // namespace kitwell
