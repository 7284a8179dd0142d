#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "KitwellPlatform/Applications/Bundle.h"
#include "KitwellPlatform/Export.h"
#include "KitwellPlatform/Files/FileUrl.h"
#include "KitwellPlatform/Values/Result.h"

namespace kitwell::platform {

enum class LaunchOptions { Default, Hidden };

// Finds and starts applications. Stateless. Any thread may look for them; starting belongs to the main
// thread, whose loop collects what it started.
class PLATFORM_API Workspace {
public:
    Workspace() = delete;

    // All application bundles ("*.app") in the application folders, in the order of search, each once and by
    // its real path; of several with one identifier all are listed.
    static std::vector<Bundle> applications();
    // The first application with this identifier, in the order of search.
    static std::optional<FileUrl> urlForBundleIdentifier(std::string_view identifier);
    // Starts the application in a session of its own and answers its process identifier at once; it does not
    // wait for it to be ready. An application that already runs is not started a second time: its process
    // identifier is answered. Signals, descriptors and working folder of this process are not handed down.
    static Result<int> launchApplication(std::string_view bundleIdentifier, LaunchOptions options);
    static Result<int> launchApplication(const FileUrl& url, LaunchOptions options);
};

} // namespace kitwell::platform
