#pragma once

#include <string>
#include <vector>

#include "KitwellCommon/Export.h"

namespace kitwell {

// Where reports wait, and where they go. Any thread.

// Where a process keeps its reports unless it says otherwise; whether it is there is not looked at.
KITWELL_API std::string usualReportFolder();

// The reports that wait in the folder, relative to it, as the system lists them.
KITWELL_API std::vector<std::string> waitingReports(const std::string& folder);

// Receives the body of the endpoint's latest answer.
KITWELL_API std::string uploadResponsePath();

// The address to which this process sends its reports.
KITWELL_API const std::string& reportEndpoint();

} // namespace kitwell
