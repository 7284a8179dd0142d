#pragma once

#include <string>

namespace kitwell {

// Starts the upload of one report and returns at once: a process of its own packs the report into
// "<report>.tar.gz" as "Report.xml", posts that as the form field "data", leaves the answer's body in
// `responsePath`, and removes both files once the post has succeeded. Inside the framework only; any thread.
void startUpload(const std::string& reportPath, const std::string& responsePath);

} // namespace kitwell
