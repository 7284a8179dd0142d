#pragma once

#include <string>

namespace kitwell::platform {

// "<process identifier>-<start time>": a name that no other process of this machine ever has until it starts
// anew, although process identifiers are used again. A plain file name. Inside the library only; any thread.
std::string uniqueProcessName();

} // namespace kitwell::platform
