#pragma once

#include <optional>
#include <string>

#include "KitwellPlatform/Export.h"

namespace kitwell::platform {

// The value of an environment variable; nothing when it is unset. Any thread: no part of
// this library changes the environment.
PLATFORM_API std::optional<std::string> environmentVariable(const char* name);

} // namespace kitwell::platform
