#pragma once

#include <string>

#include "KitwellCommon/Export.h"

namespace kitwell {

// For test and demonstration programs: reports of this process go to another address from now on. Nothing
// else moves it, no environment variable, no preference and no program of the suite. Before the first upload.
KITWELL_API void setReportEndpoint(const std::string& url);

} // namespace kitwell
