#pragma once

#include <string>

#include "KitwellPlatform/Export.h"

namespace kitwell::platform {

// For test programs: Machine looks for the system's files in this folder from now on, instead of in "/". Main
// thread, before anything else is asked.
PLATFORM_API void setSystemFolder(std::string folder);

} // namespace kitwell::platform
