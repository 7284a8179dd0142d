#include "KitwellPlatform/Files/SearchPaths.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include "KitwellPlatform/Files/FileAccess.h"
#include "KitwellPlatform/Files/FileManager.h"
#include "KitwellPlatform/Files/FileUrl.h"
#include "KitwellPlatform/Machine/Environment.h"

namespace kitwell::platform {

namespace {

constexpr char kOwnFolder[] = "/Kitwell";
constexpr char kOwnLowerCaseFolder[] = "/kitwell";

std::optional<std::string> absolutePathFromEnvironment(const char* name) {
    auto value = environmentVariable(name);
    return value && value->starts_with('/') ? std::optional(FileUrl(*value).path()) : std::nullopt;
}

std::string homeOfUserDatabase() {
    std::array<char, 16384> buffer;
    passwd entry{};
    passwd* found = nullptr;
    ::getpwuid_r(::geteuid(), &entry, buffer.data(), buffer.size(), &found);
    return found && found->pw_dir ? found->pw_dir : "/";
}

std::string dataFolder() {
    return absolutePathFromEnvironment("XDG_DATA_HOME").value_or(SearchPaths::home() + "/.local/share") +
           kOwnFolder;
}

// One look, which no symlink leads astray: a folder of this user's own stays his, whoever may write beside
// it.
Result<void> checkIsPrivate(const std::string& path) {
    struct stat status {};
    if (::lstat(path.c_str(), &status) != 0)
        return systemError("look at " + path, errno);
    if (!S_ISDIR(status.st_mode) || status.st_uid != ::geteuid() || (status.st_mode & 07777U) != 0700)
        return systemError("trust " + path + ", which is not a folder of mode 0700 and this user's own",
                           EACCES);
    return {};
}

Result<std::string> privateFolder(std::string path) {
    auto isPrivate = checkIsPrivate(path);
    if (!isPrivate && isPrivate.error().code == ENOENT) {
        if (::mkdir(path.c_str(), 0700) != 0 && errno != EEXIST)
            return systemError("create the folder " + path, errno);
        isPrivate = checkIsPrivate(path);
    }
    if (!isPrivate)
        return isPrivate.error();
    return path;
}

} // namespace

std::string SearchPaths::home() {
    const auto home = absolutePathFromEnvironment("HOME");
    return home ? *home : homeOfUserDatabase();
}

std::string SearchPaths::userLibrary() {
    return dataFolder() + "/Library";
}

Result<std::string> SearchPaths::groupContainer(std::string_view identifier) {
    if (!isPlainFileName(identifier))
        return systemError("use the text as the name of a group container", EINVAL);
    std::string path = dataFolder() + "/Group Containers/" + std::string(identifier);
    if (auto created = FileManager::createFolder(path); !created)
        return created.error();
    return path;
}

Result<std::string> SearchPaths::runtimeFolder() {
    if (const auto session = absolutePathFromEnvironment("XDG_RUNTIME_DIR"))
        return privateFolder(*session + kOwnLowerCaseFolder);
    return privateFolder("/tmp/kitwell-" + std::to_string(::geteuid()));
}

Result<std::string> SearchPaths::temporaryFolder() {
    if (absolutePathFromEnvironment("XDG_RUNTIME_DIR")) {
        auto runtime = runtimeFolder();
        return runtime ? privateFolder(*runtime + "/tmp") : runtime;
    }
    const std::string cache =
        absolutePathFromEnvironment("XDG_CACHE_HOME").value_or(home() + "/.cache") + kOwnLowerCaseFolder;
    if (auto created = FileManager::createFolder(cache); !created)
        return created.error();
    return privateFolder(cache + "/tmp");
}

std::string SearchPaths::executable() {
    std::error_code ignored;
    return std::filesystem::read_symlink("/proc/self/exe", ignored).string();
}

std::optional<std::string> SearchPaths::mainBundleFolder() {
    const FileUrl programs = FileUrl(executable()).deletingLastPathComponent();
    const FileUrl contents = programs.deletingLastPathComponent();
    const FileUrl bundle = contents.deletingLastPathComponent();
    if (programs.lastPathComponent() != "Linux" || contents.lastPathComponent() != "Contents" ||
        !bundle.lastPathComponent().ends_with(".app"))
        return std::nullopt;
    return bundle.path();
}

std::vector<std::string> SearchPaths::applicationFolders() {
    std::vector<std::string> folders{dataFolder() + "/Applications", "/opt/kitwell/Applications",
                                     "/usr/lib/kitwell/Applications"};
    if (const auto bundle = mainBundleFolder()) {
        const std::string siblings = folderOf(*bundle);
        std::erase(folders, siblings);
        folders.insert(folders.begin(), siblings);
    }
    return folders;
}

} // namespace kitwell::platform
