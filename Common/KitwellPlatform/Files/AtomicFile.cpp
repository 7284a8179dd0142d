#include "KitwellPlatform/Files/AtomicFile.h"

#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <sys/stat.h>
#include <unistd.h>

#include "KitwellPlatform/Files/FileAccess.h"
#include "KitwellPlatform/Files/FileUrl.h"
#include "KitwellPlatform/Files/NewFile.h"

namespace kitwell::platform {

namespace {

constexpr int kMaxLinks = 40; // the kernel's own bound

// The path that a chain of symlinks leads to, also where nothing stands at its end yet.
Result<std::string> followLinks(std::string path) {
    for (int links = 0; links < kMaxLinks; ++links) {
        std::error_code failure;
        const std::filesystem::path target = std::filesystem::read_symlink(path, failure);
        if (failure)
            return path;
        path = (std::filesystem::path(folderOf(path)) / target).string();
    }
    return systemError("follow the symlinks at " + path, ELOOP);
}

// The group's rights belonged to the old group: another one is left with what everybody has.
mode_t withoutGroupRights(mode_t mode) {
    return mode & (0707U | (mode & 07U) << 3U);
}

// Gives the new file the mode, owner and group of the file it is to replace; `mode` where there is none.
Result<void> takeOverRights(const NewFile& file, int folder, const std::string& name, const std::string& path,
                            mode_t mode) {
    const int descriptor = file.descriptor();
    struct stat old {};
    if (::fstatat(folder, name.c_str(), &old, AT_SYMLINK_NOFOLLOW) == 0) {
        if (S_ISLNK(old.st_mode))
            return systemError("replace " + path + ", which is a symlink", ELOOP);
        if (!S_ISREG(old.st_mode))
            return systemError("replace " + path + ", which is no regular file", EINVAL);
        mode = old.st_mode & 0777U;
        if (::fchown(descriptor, old.st_uid, old.st_gid) != 0 &&
            ::fchown(descriptor, static_cast<uid_t>(-1), old.st_gid) != 0)
            mode = withoutGroupRights(mode);
    } else if (errno != ENOENT) {
        return systemError("look at " + path, errno);
    }
    if (::fchmod(descriptor, mode) != 0)
        return systemError("set the mode of " + path, errno);
    return {};
}

Result<FileDescriptor> openFolder(const std::string& path, bool followsSymlinks) {
    auto folder = openFile(path, O_RDONLY | O_DIRECTORY | (followsSymlinks ? 0 : O_NOFOLLOW));
    std::error_code failure;
    if (!folder && !followsSymlinks && std::filesystem::is_symlink(path, failure))
        return systemError("enter " + path + ", which is a symlink", ELOOP);
    return folder;
}

// Without waiting: a FIFO in the file's place must not hold the caller.
Result<FileDescriptor> openForReading(const std::string& path) {
    return openFile(path, O_RDONLY | O_NONBLOCK | O_NOCTTY);
}

} // namespace

Result<void> replaceFile(const std::string& path, std::span<const std::byte> content) {
    return replaceFile(path, content, {});
}

Result<void> replaceFile(const std::string& path, std::span<const std::byte> content,
                         const ReplacementRules& rules) {
    const auto target = rules.followsSymlinks ? followLinks(path) : Result<std::string>(path);
    if (!target)
        return target.error();
    // All is done in this very folder, whatever takes its path meanwhile.
    const auto folder = openFolder(folderOf(*target), rules.followsSymlinks);
    if (!folder)
        return folder.error();
    const std::string name = FileUrl(*target).lastPathComponent();
    if (rules.sweepsFolder)
        removeAbandonedFiles(folder->get());
    auto file = NewFile::inFolder(".", 0600, folder->get());
    if (!file)
        return systemError("create a file in " + folderOf(*target), static_cast<int>(file.error().code));
    if (auto done = takeOverRights(*file, folder->get(), name, *target, rules.newMode); !done)
        return done;
    if (auto done = writeAll(file->descriptor(), content, *target); !done)
        return done;
    if (auto done = bringToDisk(file->descriptor(), *target); !done)
        return done;
    if (auto done = rules.mayReplace ? file->replace(name) : file->appearAs(name); !done)
        return done;
    return bringToDisk(folder->get(), folderOf(*target));
}

Result<Data> readFile(const std::string& path, std::size_t limit) {
    const auto file = openForReading(path);
    return file ? readRegularFile(file->get(), limit, path) : file.error();
}

Result<Data> readFileUncached(const std::string& path, std::size_t limit) {
    const auto file = openForReading(path);
    if (!file)
        return file.error();
    auto content = readRegularFile(file->get(), limit, path);
    ::posix_fadvise(file->get(), 0, 0, POSIX_FADV_DONTNEED); // no more than a wish
    return content;
}

} // namespace kitwell::platform
