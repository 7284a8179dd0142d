#pragma once

#include <string>

namespace kitwell {

// The preferences of the desktop that the header of a report tells of.
inline constexpr char kCFNCPrefs[] = "com.apple.ncprefs";
inline constexpr char kCFAppsSection[] = "apps";
inline constexpr char kCFNotificationCenterUI[] = "com.apple.notificationcenterui";
inline constexpr char kCFDoNotDisturb[] = "doNotDisturb";

// What a new log begins with: what the machine and the suite's settings are like now. Gathers all of it anew;
// any thread.
std::string reportHeader();

// The last line of every header: events stand behind it.
inline constexpr char kEventsStart[] = "<CepCustomData>\n";

} // namespace kitwell
