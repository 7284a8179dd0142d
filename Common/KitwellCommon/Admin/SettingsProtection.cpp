#include "KitwellCommon/Admin/SettingsProtection.h"

#include "KitwellPlatform/Files/FileManager.h"
#include "KitwellPlatform/Files/FileUrl.h"
#include "KitwellPlatform/Files/SearchPaths.h"
#include "KitwellPlatform/Machine/Users.h"
#include "KitwellPlatform/Values/Text.h"

namespace kitwell {

namespace {

using platform::FileManager;
using platform::formatText;

constexpr std::uint32_t kGroupMayWrite = 020;
constexpr std::uint32_t kOthersMayWrite = 02;

// Who may write it beside its owner and the administrators; empty when nobody may.
std::string foreignWriters(const FileManager::Attributes& attributes,
                           std::optional<std::uint32_t> administrators) {
    if (attributes.mode & kOthersMayWrite)
        return "everybody";
    const bool isAdministrators = attributes.groupId == 0 || administrators == attributes.groupId;
    return attributes.mode & kGroupMayWrite && !isAdministrators
               ? "the group " + platform::groupName(attributes.groupId)
               : "";
}

void addFaults(const std::string& path, FileManager::Kind expected,
               std::optional<std::uint32_t> administrators, std::vector<std::string>& faults) {
    const auto attributes = FileManager::attributes(path);
    if (!attributes)
        return;
    if (attributes->kind == FileManager::Kind::Symlink)
        faults.push_back(formatText("'%@' is a symlink", path));
    else if (attributes->kind != expected)
        faults.push_back(formatText("'%@' is of the wrong kind", path));
    if (attributes->ownerId != 0)
        faults.push_back(
            formatText("'%@' is owned by %@, not by root", path, platform::userName(attributes->ownerId)));
    if (attributes->kind == FileManager::Kind::Symlink)
        return; // whose mode means nothing
    if (const std::string writers = foreignWriters(*attributes, administrators); !writers.empty())
        faults.push_back(
            formatText("'%@' may be written by %@, not only by the administrators", path, writers));
}

} // namespace

std::vector<std::string> settingsFolders(const std::string& path) {
    const std::string top = platform::SearchPaths::machineLibrary();
    std::vector<std::string> folders{platform::folderOf(path)};
    while (folders.back().starts_with(top + "/"))
        folders.push_back(platform::folderOf(folders.back()));
    return folders;
}

std::vector<std::string> settingsProtectionFaults(const std::string& path) {
    const auto administrators = platform::administratorsGroup(); // a long look-up on many machines
    std::vector<std::string> faults;
    addFaults(path, FileManager::Kind::File, administrators, faults);
    for (const std::string& folder : settingsFolders(path))
        addFaults(folder, FileManager::Kind::Folder, administrators, faults);
    return faults;
}

} // namespace kitwell
