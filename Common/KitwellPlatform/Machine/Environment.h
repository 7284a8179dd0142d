#pragma once

#include <optional>
#include <string>

#include "KitwellPlatform/Export.h"

namespace kitwell::platform {

// The value of an environment variable; nothing when it is unset. Any thread: once this library is
// loaded no part of it changes the environment.
PLATFORM_API std::optional<std::string> environmentVariable(const char* name);

} // namespace kitwell::platform
