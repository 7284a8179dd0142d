#pragma once

#include <string>

#include "KitwellPlatform/Export.h"

namespace kitwell::platform {

// For test programs, which must never touch the machine's own Library: SearchPaths::machineLibrary() answers
// `path` from now on in this process, and "/Library" again after an empty one. No program of the suite calls
// this, and nothing outside the process (a variable, a file, an argument) does. Main thread, before other
// threads ask.
PLATFORM_API void setMachineLibraryForTests(std::string path);

} // namespace kitwell::platform
