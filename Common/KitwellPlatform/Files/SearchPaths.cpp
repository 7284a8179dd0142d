#include "KitwellPlatform/Files/SearchPaths.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <dlfcn.h>
#include <fcntl.h>
#include <filesystem>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include "KitwellPlatform/Files/AtomicFile.h"
#include "KitwellPlatform/Files/FileAccess.h"
#include "KitwellPlatform/Files/FileManager.h"
#include "KitwellPlatform/Files/FileUrl.h"
#include "KitwellPlatform/Files/SearchPathsForTests.h"
#include "KitwellPlatform/Machine/Environment.h"

namespace kitwell::platform {

namespace {

constexpr char kOwnFolder[] = "/Kitwell";
constexpr char kOwnLowerCaseFolder[] = "/kitwell";

std::optional<std::string> absolutePathFromEnvironment(const char* name) {
    auto value = environmentVariable(name);
    return value && value->starts_with('/') ? std::optional(FileUrl(*value).path()) : std::nullopt;
}

std::string configFolder() {
    return absolutePathFromEnvironment("XDG_CONFIG_HOME").value_or(SearchPaths::home() + "/.config");
}

constexpr std::size_t kMaxUserFoldersBytes = 64U << 10;

// The folder that the user's desktop settings name under the key: KEY="/path" or KEY="$HOME/path".
std::optional<std::string> userFolder(std::string_view key) {
    const auto content = readFile(configFolder() + "/user-dirs.dirs", kMaxUserFoldersBytes);
    const std::string text = content ? "\n" + std::string(content->text()) : std::string();
    const std::string beginning = "\n" + std::string(key) + "=\"";
    const std::size_t start = text.find(beginning);
    if (start == std::string::npos)
        return std::nullopt;
    const std::size_t value = start + beginning.size();
    std::string path = text.substr(value, text.find_first_of("\"\n", value) - value);
    constexpr std::string_view kHome = "$HOME";
    if (path.starts_with(kHome))
        path.replace(0, kHome.size(), SearchPaths::home());
    return path.starts_with('/') ? std::optional(FileUrl(path).path()) : std::nullopt;
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

// The library's own file is the one that this function was loaded from.
std::string libraryResources() {
    Dl_info info{};
    if (::dladdr(reinterpret_cast<const void*>(&libraryResources), &info) == 0 || !info.dli_fname)
        return {};
    std::error_code ignored;
    return std::filesystem::absolute(info.dli_fname, ignored).parent_path().string() + kOwnLowerCaseFolder;
}

std::string& machineLibraryForTests() {
    static std::string path;
    return path;
}

} // namespace

std::string SearchPaths::home() {
    const auto home = absolutePathFromEnvironment("HOME");
    return home ? *home : userDatabaseHome().value_or("/");
}

std::optional<std::string> SearchPaths::userDatabaseHome() {
    std::array<char, 16384> buffer;
    passwd entry{};
    passwd* found = nullptr;
    ::getpwuid_r(::getuid(), &entry, buffer.data(), buffer.size(), &found);
    return found && found->pw_dir ? std::optional<std::string>(found->pw_dir) : std::nullopt;
}

std::string SearchPaths::desktop() {
    return userFolder("XDG_DESKTOP_DIR").value_or(home() + "/Desktop");
}

std::string SearchPaths::pictures() {
    return userFolder("XDG_PICTURES_DIR").value_or(home() + "/Pictures");
}

std::string SearchPaths::autostart() {
    return configFolder() + "/autostart";
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
    return privateFolder(std::string("/tmp") + kOwnLowerCaseFolder + "-" + std::to_string(::geteuid()));
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

std::string SearchPaths::machineLibrary() {
    return machineLibraryForTests().empty() ? "/Library" : machineLibraryForTests();
}

void setMachineLibraryForTests(std::string path) {
    machineLibraryForTests() = std::move(path);
}

std::string SearchPaths::executable() {
    std::error_code ignored;
    return std::filesystem::read_symlink("/proc/self/exe", ignored).string();
}

std::string SearchPaths::dialogProgram() {
    return libraryResources() + kOwnLowerCaseFolder + "-dialog";
}

std::string SearchPaths::translations() {
    return libraryResources() + "/locale";
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
    std::vector<std::string> folders{dataFolder(), std::string("/opt") + kOwnLowerCaseFolder,
                                     std::string("/usr/lib") + kOwnLowerCaseFolder};
    for (std::string& folder : folders)
        folder += "/Applications";
    if (const auto bundle = mainBundleFolder()) {
        const std::string siblings = folderOf(*bundle);
        std::erase(folders, siblings);
        folders.insert(folders.begin(), siblings);
    }
    return folders;
}

} // namespace kitwell::platform
