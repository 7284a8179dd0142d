#include "KitwellPlatform/Files/ContainedFolder.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "KitwellPlatform/Files/FileAccess.h"
#include "KitwellPlatform/Files/FileCopy.h"
#include "KitwellPlatform/Files/FileManager.h"
#include "KitwellPlatform/Files/FileUrl.h"
#include "KitwellPlatform/Files/NewFile.h"

namespace kitwell::platform {

namespace {

// Without waiting: a FIFO in the file's place must not hold the caller.
constexpr int kReadTheFileItself = O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY;

Error notAPlainName() {
    return systemError("use the text as the name of a file", EINVAL);
}

Result<FileDescriptor> openOrCreateFolder(int base, const std::string& name) {
    constexpr int kFolderItself = O_RDONLY | O_DIRECTORY | O_NOFOLLOW;
    auto folder = openFile(name, kFolderItself, 0, base);
    if (folder || folder.error().code != ENOENT)
        return folder;
    if (::mkdirat(base, name.c_str(), 0700) != 0 && errno != EEXIST)
        return systemError("create the folder " + name, errno);
    return openFile(name, kFolderItself, 0, base);
}

bool isSameFile(const struct stat& one, const struct stat& other) {
    return one.st_dev == other.st_dev && one.st_ino == other.st_ino;
}

// A second name for the file, in the place of what a killed process may have left under it.
bool linkAs(int folder, const std::string& name, const std::string& second) {
    const auto link = [&] { return ::linkat(folder, name.c_str(), folder, second.c_str(), 0) == 0; };
    return link() || (errno == EEXIST && ::unlinkat(folder, second.c_str(), 0) == 0 && link());
}

Result<FileDescriptor> openNewItem(const std::string& path) {
    auto file = openFile(path, kReadTheFileItself);
    if (!file)
        return file;
    struct stat status {};
    if (::fstat(file->get(), &status) != 0)
        return systemError("look at " + path, errno);
    if (!S_ISREG(status.st_mode))
        return systemError("move " + path + ", which is no regular file", EINVAL);
    return file;
}

} // namespace

Result<ContainedFolder> ContainedFolder::create(const std::string& root,
                                                std::initializer_list<std::string_view> components) {
    auto folder = openFile(root, O_RDONLY | O_DIRECTORY);
    std::string path = root;
    for (const std::string_view component : components) {
        if (!folder)
            break;
        if (!isPlainFileName(component))
            return notAPlainName();
        folder = openOrCreateFolder(folder->get(), std::string(component));
        path.append("/").append(component);
    }
    if (!folder)
        return folder.error();
    if (auto locked = waitForLock(folder->get(), LOCK_EX, path); !locked)
        return locked.error();
    return ContainedFolder(*std::move(folder), std::move(path));
}

Result<void> ContainedFolder::replaceItem(std::string_view name, const std::string& newItem,
                                          std::string_view backupName) {
    const std::string place(name);
    if (!isPlainFileName(name))
        return notAPlainName();
    const auto source = openNewItem(newItem);
    if (!source)
        return source.error();
    if (auto done = bringToDisk(source->get(), newItem); !done)
        return done;
    removeAbandonedFiles(folder_.get());
    const auto backup = keepAside(place, backupName);
    if (!backup)
        return backup.error();
    if (auto moved = moveHere(newItem, source->get(), place); !moved) {
        putBack(place, *backup);
        return moved;
    }
    if (!backup->empty())
        ::unlinkat(folder_.get(), backup->c_str(), 0);
    return {};
}

Result<void> ContainedFolder::setMode(std::string_view name, std::uint32_t mode) {
    if (!isPlainFileName(name))
        return notAPlainName();
    const auto file = openFile(std::string(name), kReadTheFileItself, 0, folder_.get());
    if (!file)
        return file.error();
    if (::fchmod(file->get(), mode) != 0)
        return systemError("set the mode of " + pathOf(name), errno);
    return {};
}

// Gives the earlier file its backup name, and answers that; empty when there is none. As a second name, so
// that the first is never free; where the file system knows no links, as the only one.
Result<std::string> ContainedFolder::keepAside(const std::string& name, std::string_view backupName) {
    const std::string backup(
        backupName.substr(backupName.size() - std::min<std::size_t>(backupName.size(), NAME_MAX)));
    if (!isPlainFileName(backup))
        return notAPlainName();
    struct stat earlier {};
    if (::fstatat(folder_.get(), name.c_str(), &earlier, AT_SYMLINK_NOFOLLOW) != 0)
        return errno == ENOENT ? Result<std::string>(std::string())
                               : systemError("look at " + pathOf(name), errno);
    if (S_ISDIR(earlier.st_mode))
        return systemError("replace " + pathOf(name), EISDIR);
    if (!linkAs(folder_.get(), name, backup) &&
        ::renameat(folder_.get(), name.c_str(), folder_.get(), backup.c_str()) != 0)
        return systemError("keep the earlier " + pathOf(name), errno);
    return backup;
}

void ContainedFolder::putBack(const std::string& name, const std::string& backup) {
    if (backup.empty()) {
        ::unlinkat(folder_.get(), name.c_str(), 0);
        return;
    }
    ::renameat(folder_.get(), backup.c_str(), folder_.get(), name.c_str());
    ::unlinkat(folder_.get(), backup.c_str(), 0); // still there where both were names of one file
}

// Whether the path names this folder's own entry, and not merely the same file.
bool ContainedFolder::isEntry(const std::string& path, const std::string& name) const {
    struct stat one {
    }, other{};
    return FileUrl(path).lastPathComponent() == name && ::stat(folderOf(path).c_str(), &one) == 0 &&
           ::fstat(folder_.get(), &other) == 0 && isSameFile(one, other);
}

Result<void> ContainedFolder::moveHere(const std::string& newItem, int source, const std::string& name) {
    struct stat item {
    }, earlier{};
    if (::fstat(source, &item) == 0 &&
        ::fstatat(folder_.get(), name.c_str(), &earlier, AT_SYMLINK_NOFOLLOW) == 0 &&
        isSameFile(item, earlier)) // which renaming leaves with both names
        return isEntry(newItem, name) ? Result<void>() : FileManager::removeFile(newItem);
    if (::renameat(AT_FDCWD, newItem.c_str(), folder_.get(), name.c_str()) != 0)
        return errno == EXDEV ? copyHere(newItem, source, name)
                              : systemError("move " + newItem + " to " + pathOf(name), errno);
    auto done = bringToDisk(folder_.get(), path_);
    if (!done)
        ::renameat(folder_.get(), name.c_str(), AT_FDCWD, newItem.c_str());
    return done;
}

// The original goes last: until then nothing is lost, whatever fails.
Result<void> ContainedFolder::copyHere(const std::string& newItem, int source, const std::string& name) {
    auto copy = NewFile::inFolder(".", 0600, folder_.get());
    if (!copy)
        return copy.error();
    if (auto done = copyFile(source, copy->descriptor(), newItem); !done)
        return done;
    if (auto done = bringToDisk(copy->descriptor(), newItem); !done)
        return done;
    if (auto done = copy->replace(name); !done)
        return done;
    if (auto done = bringToDisk(folder_.get(), path_); !done)
        return done;
    return FileManager::removeFile(newItem);
}

} // namespace kitwell::platform
