#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "KitwellPlatform/Files/AppendFile.h"

namespace kitwell {

// Takes a sealed log, whole and held exclusively, away from its path; false when it stands there still.
using LogRemoval = std::function<bool(platform::AppendFile& log, const std::string& path)>;

// CEPLogGrab with a removal of the caller's own. Inside the framework only; any thread.
std::int32_t takeLog(std::int32_t* more, const LogRemoval& removeLog);

} // namespace kitwell
