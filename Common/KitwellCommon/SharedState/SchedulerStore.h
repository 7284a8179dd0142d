#pragma once

#include <functional>
#include <string_view>

#include "KitwellCommon/Export.h"
#include "KitwellPlatform/Values/Value.h"

// The store of launch schedules: the array "Scheduler" of the shared preferences, one entry for each tool. A
// tool is the pair of its bundle identifier and its bundle's file name without extension. An entry that is
// updated moves to the end of the array; none is ever deleted.
//
// Each function is one complete access under the lock of the shared preferences. The callbacks run under that
// lock and must not call anything that takes it. Any thread.

namespace kitwell {

inline constexpr char kSchedulerKey[] = "Scheduler";
inline constexpr char kScheduleBundleId[] = "bundleid";     // text
inline constexpr char kScheduleName[] = "name";             // text
inline constexpr char kScheduleAtLogin[] = "launchAtLogin"; // boolean
inline constexpr char kScheduleAtDate[] = "launchAtDate";   // boolean: the date launch is armed
inline constexpr char kScheduleDate[] = "date";             // date
inline constexpr char kScheduleInterval[] = "interval";     // seconds; 0 for no repeat

// Posted on the distributed notification centre after a date schedule was armed or disarmed, always after the
// store was written.
inline constexpr char kSchedulerUpdateNotification[] = "com.apple.kitwell.agentUpdateScheduler";

// Hands the tool's entry to the callback; without an entry the callback is not called.
KITWELL_API void readSchedulerPlist(std::string_view bundleId, std::string_view name,
                                    const std::function<void(const platform::Dictionary& entry)>& callback);

// Hands a copy of the tool's entry (a new one, holding bundle identifier and name, when there is none) to the
// callback to be changed, and stores it at the end of the array in place of every entry that was equal to it.
KITWELL_API void updateSchedulerPlist(std::string_view bundleId, std::string_view name,
                                      const std::function<void(platform::Dictionary& entry)>& callback);

// The same for the calling tool: its main bundle's identifier, and its main bundle's file name without
// extension.
KITWELL_API void updateSchedulerForThisTool(const std::function<void(platform::Dictionary& entry)>& callback);

} // namespace kitwell
