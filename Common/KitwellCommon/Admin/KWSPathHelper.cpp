#include "KitwellCommon/Admin/KWSPathHelper.h"

#include "KitwellCommon/Admin/KWSErrorCodes.h"
#include "KitwellCommon/Logging/KWLog.h"
#include "KitwellPlatform/Files/FileManager.h"
#include "KitwellPlatform/Files/SearchPaths.h"
#include "KitwellPlatform/Machine/Users.h"

namespace kitwell {

namespace {

// Does what needs the administrators' group.
template <class Action>
bool withGroup(platform::Error& error, Action act) {
    const auto group = platform::administratorsGroup();
    if (!group) {
        error = {std::string(kKWSErrorDomain), KWS_ERR_WRITE_NO_GROUP,
                 "the system has no group of administrators"};
        return false;
    }
    const platform::Result<void> done = act(*group);
    if (!done)
        error = KWSErrorFor(done.error(), KWSOperation::Write);
    return static_cast<bool>(done);
}

} // namespace

std::string KWSPathHelper::appSupportDirPath() {
    return platform::SearchPaths::machineLibrary() + "/Application Support";
}

std::string KWSPathHelper::dirPath() {
    return platform::formatText("%@/com.corvalen.kitwell", appSupportDirPath());
}

std::string KWSPathHelper::filePath() {
    return platform::formatText("%@/settings.conf", dirPath());
}

bool KWSPathHelper::createFolderAtPath(const std::string& path, platform::Error& error) {
    return withGroup(error, [&](std::uint32_t group) {
        return platform::FileManager::createFolder(
            path, {platform::FileManager::Kind::Folder, kFolderMode, 0, group});
    });
}

bool KWSPathHelper::setPermissionsToFileAtPath(const std::string& path, platform::Error& error) {
    const bool isDone = withGroup(error, [&](std::uint32_t group) {
        return platform::FileManager::setGroupAndMode(path, group, kFileMode);
    });
    if (!isDone)
        KWLogVariadic("Unable to set permissions to file '%@' due error %ld, %@", path, error.code,
                      error.description);
    return isDone;
}

} // namespace kitwell
