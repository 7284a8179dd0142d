#include "KitwellPlatform/Files/FileManager.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include "KitwellPlatform/Files/FileAccess.h"

namespace kitwell::platform {

namespace {

// Nothing where nothing stands; symlinks are followed.
mode_t kindOf(const std::string& path) {
    struct stat status {};
    return ::stat(path.c_str(), &status) == 0 ? status.st_mode & S_IFMT : 0;
}

bool mayAccess(const std::string& path, int right) {
    return ::faccessat(AT_FDCWD, path.c_str(), right, AT_EACCESS) == 0;
}

} // namespace

bool FileManager::fileExists(const std::string& path) {
    return kindOf(path) != 0;
}

bool FileManager::folderExists(const std::string& path) {
    return kindOf(path) == S_IFDIR;
}

bool FileManager::isWritable(const std::string& path) {
    return mayAccess(path, W_OK);
}

bool FileManager::isExecutable(const std::string& path) {
    return kindOf(path) == S_IFREG && mayAccess(path, X_OK);
}

Result<void> FileManager::createFolder(const std::string& path) {
    if (::mkdir(path.c_str(), 0700) == 0)
        return {};
    if (errno == ENOENT && folderOf(path) != path) {
        if (auto parent = createFolder(folderOf(path)); !parent)
            return parent;
        if (::mkdir(path.c_str(), 0700) == 0)
            return {};
    }
    const int failure = errno;
    // On a read-only volume even a folder that exists cannot be "made": what stands there decides.
    if (folderExists(path))
        return {};
    return systemError("create the folder " + path, failure);
}

Result<void> FileManager::removeFile(const std::string& path) {
    if (::unlink(path.c_str()) != 0)
        return systemError("remove " + path, errno);
    return {};
}

Result<void> FileManager::renameFile(const std::string& from, const std::string& to) {
    if (::rename(from.c_str(), to.c_str()) != 0)
        return systemError("rename " + from + " to " + to, errno);
    return {};
}

std::vector<std::string> FileManager::subpathsOfFolder(const std::string& path) {
    using Walk = std::filesystem::recursive_directory_iterator;
    std::vector<std::string> paths;
    std::error_code failure;
    Walk entry(path, std::filesystem::directory_options::skip_permission_denied, failure);
    for (; !failure && entry != Walk(); entry.increment(failure))
        paths.push_back(entry->path().lexically_relative(path).string());
    return paths;
}

std::vector<std::string> FileManager::namesInFolder(const std::string& path) {
    std::vector<std::string> names;
    std::error_code failure;
    std::filesystem::directory_iterator entry(path, failure);
    for (; !failure && entry != std::filesystem::directory_iterator(); entry.increment(failure))
        names.push_back(entry->path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
}

Result<FileManager::VolumeSpace> FileManager::volumeSpace(const std::string& path) {
    struct statvfs volume {};
    if (::statvfs(path.c_str(), &volume) != 0)
        return systemError("look at the volume of " + path, errno);
    return VolumeSpace{std::uint64_t{volume.f_bavail} * volume.f_frsize,
                       std::uint64_t{volume.f_blocks} * volume.f_frsize};
}

} // namespace kitwell::platform
