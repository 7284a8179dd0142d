#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "KitwellCommon/Export.h"
#include "KitwellCommon/Resources/Version.h"
#include "KitwellPlatform/Applications/Bundle.h"
#include "KitwellPlatform/Files/FileUrl.h"

namespace kitwell {

// Why one of the two copies of a resource is the one to use.
enum class ResourceChoiceReason {
    SharedCopyIsNewer,        // the shared copy, else the built-in one:
    NoSharedVersion,          // no record, or none with a version of four numbers
    SharedCopyIsNotNewer,     // than the application; equal versions are not newer
    SharedCopyIsNotExecutable // it is missing, no file, or this process may not execute it
};

struct ResourceChoice {
    ResourceChoiceReason reason = ResourceChoiceReason::NoSharedVersion;
    Version version;  // of the shared copy, or of the application
    std::string path; // empty for the built-in copy of an unknown bundle, and for a name that holds a ".."

    bool isShared() const { return reason == ResourceChoiceReason::SharedCopyIsNewer; }
};

// The resource type that marks an executable file.
inline constexpr std::int64_t kResourceTypeExecutable = 1;

// Publishes files that the suite's applications are to use in place of the copies built into their bundles,
// and chooses between the two. Keeps no state; any thread, outside the callbacks of accessAppGroupPlist.
class KITWELL_API ResourceManager {
public:
    ResourceManager() = delete;

    // The path of the copy that the calling application is to use. With extended logging the choice is
    // logged, the version in its report form. Empty for a name with a ".." that leads out of the bundle's
    // resources.
    static std::string getMostActualResourcePath(std::string_view name);
    // The version of the copy that the application would use. The calling process knows its main bundle only:
    // any other application counts as version [0].
    static Version getMostActualResourceVersion(std::string_view name, std::string_view bundleId);
    // The rule of both, for an application with this identifier; without its bundle its version is [0]. A
    // name that cannot be published has no shared copy.
    static ResourceChoice choose(std::string_view name, std::string_view bundleId,
                                 const platform::Bundle* bundle);

    // Moves the file to <group container>/Resources/<bundle identifier>/<name>, in place of what is there,
    // makes it 0755 if it is executable, and registers it under this version. The outcome is only logged.
    // Each name must be a plain file name of valid UTF-8 without control characters, and nothing on the way
    // to the file may be a symlink: else nothing is done. After a failure the registry is unchanged; only
    // where setting the mode failed has the file been replaced by then. Of several publishers for one bundle
    // one works at a time.
    static void addResourceFile(const platform::FileUrl& fileUrl, std::string_view name,
                                const Version& version, std::int64_t resourceType, std::string_view bundleId);

    // Names that cannot be published are refused with a log line.
    static void setNotifyOnUpdate(bool needsTo, std::string_view name, std::string_view bundleId);
    // Of the main bundle.
    static void setNotifyOnUpdate(bool needsTo, std::string_view name);
};

} // namespace kitwell
