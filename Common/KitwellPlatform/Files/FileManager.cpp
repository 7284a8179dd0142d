#include "KitwellPlatform/Files/FileManager.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <functional>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include "KitwellPlatform/Files/FileAccess.h"
#include "KitwellPlatform/Files/FileUrl.h"
#include "KitwellPlatform/Files/NewFile.h"

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

constexpr std::uint32_t kUnchanged = static_cast<std::uint32_t>(-1);

// Through the open file, so that nobody can put another one in its place between the steps.
Result<void> giveAttributes(const std::string& path, const FileManager::Attributes& attributes) {
    const auto file = openFile(path, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY);
    if (!file)
        return file.error();
    if (::fchown(file->get(), attributes.ownerId, attributes.groupId) != 0)
        return systemError("set the owner and group of " + path, errno);
    if (::fchmod(file->get(), attributes.mode) != 0)
        return systemError("set the mode of " + path, errno);
    return {};
}

// Answers as mkdir(2).
using MakeFolder = std::function<Result<void>(const std::string&)>;

Result<void> makeFolder(const std::string& path) {
    return ::mkdir(path.c_str(), 0700) == 0 ? Result<void>()
                                            : systemError("create the folder " + path, errno);
}

Result<void> makeFolderWith(const std::string& path, const FileManager::Attributes& attributes) {
    struct stat status {};
    if (::lstat(path.c_str(), &status) == 0)
        return systemError("create the folder " + path, EEXIST);
    const std::string temporary = temporaryPathIn(folderOf(path));
    if (auto made = makeFolder(temporary); !made)
        return systemError("create the folder " + path, static_cast<int>(made.error().code));
    auto done = giveAttributes(temporary, attributes);
    if (done)
        done = FileManager::moveFile(temporary, path);
    if (!done)
        ::rmdir(temporary.c_str());
    return done;
}

Result<void> createFolders(const std::string& path, const MakeFolder& make) {
    auto made = make(path);
    if (!made && made.error().code == ENOENT && folderOf(path) != path) {
        if (auto parent = createFolders(folderOf(path), make); !parent)
            return parent;
        made = make(path);
    }
    // On a read-only volume even a folder that exists cannot be "made": what stands there decides.
    return made || FileManager::folderExists(path) ? Result<void>() : made;
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
    return createFolders(path, makeFolder);
}

Result<void> FileManager::createFolder(const std::string& path, const Attributes& attributes) {
    return createFolders(path, [&](const std::string& folder) { return makeFolderWith(folder, attributes); });
}

Result<FileManager::Attributes> FileManager::attributes(const std::string& path) {
    struct stat status {};
    if (::lstat(path.c_str(), &status) != 0)
        return systemError("look at " + path, errno);
    const Kind kind = S_ISREG(status.st_mode)   ? Kind::File
                      : S_ISDIR(status.st_mode) ? Kind::Folder
                      : S_ISLNK(status.st_mode) ? Kind::Symlink
                                                : Kind::Other;
    return Attributes{kind, status.st_mode & 07777U, status.st_uid, status.st_gid};
}

Result<void> FileManager::setGroupAndMode(const std::string& path, std::uint32_t groupId,
                                          std::uint32_t mode) {
    return giveAttributes(path, {Kind::Other, mode, kUnchanged, groupId});
}

Result<void> FileManager::moveFile(const std::string& from, const std::string& to) {
    if (!renameToFree(AT_FDCWD, from, to))
        return systemError("move " + from + " to " + to, errno);
    return {};
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

Result<void> FileManager::writeInPlace(const std::string& path, std::span<const std::byte> content) {
    // A pipe that nobody reads is an error, no wait; one that is read is written as it is read.
    auto file = openFile(path, O_WRONLY | O_CREAT | O_TRUNC | O_NOCTTY | O_NONBLOCK, 0666);
    if (!file)
        return file.error();
    if (::fcntl(file->get(), F_SETFL, 0) != 0)
        return systemError("write " + path, errno);
    if (auto done = writeAll(file->get(), content, path); !done)
        return done;
    // Some file systems tell only now that there was no room.
    if (::close(file->release()) != 0 && errno != EINTR)
        return systemError("write " + path, errno);
    return {};
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
