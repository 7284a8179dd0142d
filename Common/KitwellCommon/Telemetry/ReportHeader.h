#pragma once

#include <string>

namespace kitwell {

// What a new log begins with: what the machine and the suite's settings are like now. Gathers all of it anew.
// Inside the framework only; any thread.
std::string reportHeader();

// The last line of every header: events stand behind it.
inline constexpr char kEventsStart[] = "<CepCustomData>\n";

} // namespace kitwell
