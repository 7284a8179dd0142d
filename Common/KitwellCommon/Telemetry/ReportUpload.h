#pragma once

#include <string>

#include "KitwellCommon/Export.h"

namespace kitwell {

// Starts the upload of one report and returns at once: a process of its own packs the report into
// "<report>.tar.gz" as "Report.xml", posts that as the form field "data", leaves the answer's body in
// `responsePath`, and removes both files once the post has succeeded. Any thread.
void startUpload(const std::string& reportPath, const std::string& responsePath);

// Receives the body of the latest answer.
KITWELL_API std::string uploadResponsePath();
// Where reports of this process go. Any thread.
KITWELL_API const std::string& reportEndpoint();

} // namespace kitwell
