#pragma once

#include <string>
#include <vector>

#include "KitwellCommon/Export.h"

namespace kitwell {

// Moves every log that waits into a report of its own in the folder: "kitwell_report.xml", then
// "kitwell_report (1).xml" to "(99)". Logs beyond a hundred reports are dropped. A log stays where it is when
// it cannot be moved; a kill at any moment loses nothing. Waits for writers; the caller sees to it that one
// collection runs at a time. Any thread.
void collectReports(const std::string& folder);

// Where a process keeps its reports unless it says otherwise; whether it is there is not looked at.
KITWELL_API std::string usualReportFolder();

// The reports that wait in the folder, relative to it, as the system lists them.
KITWELL_API std::vector<std::string> waitingReports(const std::string& folder);

} // namespace kitwell
