#pragma once

#include "KitwellPlatform/Export.h"

namespace kitwell::platform {

// Whether this process may read from the descriptor now: who reads from its terminal in that one's background
// is stopped by the system. True for a terminal that does not control this process, and for what is no
// terminal at all, which have no background. The answer may change at any moment, with the jobs of a shell.
// Any thread.
PLATFORM_API bool isInForeground(int descriptor);

} // namespace kitwell::platform
