#pragma once

#include <cstdint>
#include <string_view>

#include "KitwellCommon/Export.h"
#include "KitwellPlatform/Values/Value.h"

namespace kitwell {

// CEPLogEvent: the log could not be opened, made, locked, looked at or rotated.
inline constexpr std::int32_t kCEPErrorNoLog = -924;
// CEPLogEvent: the event could not be written whole.
inline constexpr std::int32_t kCEPErrorNotWritten = -929;

// The preferences of the desktop that the header of a log tells of.
inline constexpr char kCFNCPrefs[] = "com.apple.ncprefs";
inline constexpr char kCFAppsSection[] = "apps";
inline constexpr char kCFNotificationCenterUI[] = "com.apple.notificationcenterui";
inline constexpr char kCFDoNotDisturb[] = "doNotDisturb";

// A log that is larger is sealed by the next writer, who begins a new one.
inline constexpr std::uint64_t kCEPMaxLogSize = 5U << 20U;

// Appends one event to the user's log, which is made with its header when there is none: 0, kCEPErrorNoLog or
// kCEPErrorNotWritten. The action and all keys are written as they come, so they are the program's own words
// and never a person's; text values may hold anything. `attributes` is a dictionary or null, `options` and
// `details` are a dictionary, an array or null; a value of another kind counts as null. The event is in the
// file when the call returns. CEPLogInit comes first; any thread.
KITWELL_API std::int32_t CEPLogEvent(std::string_view action, const platform::Value& attributes,
                                     const platform::Value& options, const platform::Value& details);

} // namespace kitwell
