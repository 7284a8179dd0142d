#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "KitwellCommon/Export.h"
#include "KitwellPlatform/Values/Result.h"

namespace kitwell {

// Where the administrator's settings lie, and who may write them: "/Library/Application
// Support/com.corvalen.kitwell/settings.conf", which no environment variable moves. Main thread.
class KITWELL_API KWSPathHelper {
public:
    KWSPathHelper() = delete;

    static constexpr std::uint32_t kFolderMode = 0775;
    static constexpr std::uint32_t kFileMode = 0664;

    static std::string appSupportDirPath();
    static std::string dirPath();
    static std::string filePath();

    // Creates the folder and what is missing above it: owner 0, the administrators' group, kFolderMode. A
    // folder that exists is left as it is. On failure false and why; `error` is else left alone.
    static bool createFolderAtPath(const std::string& path, platform::Error& error);
    // Gives the file to the administrators' group, with kFileMode; a symlink is not followed. On failure
    // false, why, and a log line.
    static bool setPermissionsToFileAtPath(const std::string& path, platform::Error& error);
};

} // namespace kitwell
