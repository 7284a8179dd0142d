#pragma once

#include <functional>

#include "KitwellPlatform/Export.h"

namespace kitwell::platform {

// Runs the work on a new thread that nobody waits for; it ends with the work or with the process. False when
// the system has no thread to give. Nothing may be raised out of the work. Any thread.
PLATFORM_API bool runOnDetachedThread(std::function<void()> work);

} // namespace kitwell::platform
