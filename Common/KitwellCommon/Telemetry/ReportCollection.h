#pragma once

#include <string>

namespace kitwell {

// Moves every log that waits into a report of its own in the folder: "kitwell_report.xml", then
// "kitwell_report (1).xml" to "(99)". Logs beyond a hundred reports are dropped. A log stays where it is when
// it cannot be moved; a kill at any moment loses nothing. Waits for writers; the caller sees to it that one
// collection runs at a time. Inside the framework only; any thread.
void collectReports(const std::string& folder);

} // namespace kitwell
