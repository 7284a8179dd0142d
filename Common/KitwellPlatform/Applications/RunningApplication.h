#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "KitwellPlatform/Export.h"

namespace kitwell::platform {

// A look at one running application of this user, taken when it was asked for. A process counts from
// Application::run until that returns or the process ends, however it ends. Any thread.
struct PLATFORM_API RunningApplication {
    int processIdentifier = 0;
    std::string bundleIdentifier; // empty for a program outside any bundle
    std::string bundlePath;       // the real path, without symlinks

    // In no particular order; empty when there is none.
    static std::vector<RunningApplication> withBundleIdentifier(std::string_view identifier);
    static std::vector<RunningApplication> all();
};

} // namespace kitwell::platform
