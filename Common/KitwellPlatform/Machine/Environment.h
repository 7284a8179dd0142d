#pragma once

#include <optional>
#include <string>

#include "KitwellPlatform/Export.h"

namespace kitwell::platform {

// The value of an environment variable; nothing when it is unset. Main thread.
PLATFORM_API std::optional<std::string> environmentVariable(const char* name);

} // namespace kitwell::platform
