#pragma once

#include <string>
#include <vector>

#include "KitwellPlatform/Export.h"
#include "KitwellPlatform/Values/Result.h"

namespace kitwell::platform {

// Programs that are started and then left alone. Stateless; any thread.
class PLATFORM_API Task {
public:
    Task() = delete;

    // Starts a program, by its absolute path, that is no child of this process: nobody here waits for it, it
    // leaves nothing to collect, this process hears no signal of it, and it outlives this process. It has a
    // session of its own, "/" as its working folder, reads and prints nothing; standard error and the
    // environment are shared. An error when it cannot be executed.
    static Result<void> startDetached(const std::string& executable, std::vector<std::string> arguments);
};

} // namespace kitwell::platform
