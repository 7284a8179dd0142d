#include "KitwellPlatform/Files/NewFile.h"

#include <cerrno>
#include <ctime>
#include <random>
#include <sys/stat.h>
#include <unistd.h>

#include "KitwellPlatform/Files/FileAccess.h"
#include "KitwellPlatform/Files/FileManager.h"

namespace kitwell::platform {

namespace {

// Older kernels give an open file a name by its place under /proc only; a process that changed its user
// cannot see that place, which newer kernels do not need.
bool linkOpenFile(int descriptor, int base, const std::string& path) {
    if (::linkat(descriptor, "", base, path.c_str(), AT_EMPTY_PATH) == 0)
        return true;
    if (errno == EEXIST)
        return false;
    const std::string place = "/proc/self/fd/" + std::to_string(descriptor);
    return ::linkat(AT_FDCWD, place.c_str(), base, path.c_str(), AT_SYMLINK_FOLLOW) == 0;
}

// Kernels that know no files without a name answer EISDIR.
bool lacksUnnamedFiles(const Error& error) {
    return error.code == EOPNOTSUPP || error.code == EISDIR;
}

bool lacksSecondNames(int code) {
    return code == EPERM || code == EOPNOTSUPP || code == ENOSYS;
}

} // namespace

std::string temporaryPathIn(const std::string& folder) {
    std::random_device random;
    return folder + "/" + kTemporaryNamePrefix + std::to_string(random()) + std::to_string(random());
}

// No write takes an hour; should one have slept that long, its renaming fails, and it keeps its changes.
void removeAbandonedFiles(int folder) {
    constexpr std::time_t kAbandonedAfter = 3600;
    const std::time_t now = std::time(nullptr);
    for (const std::string& name : FileManager::namesInFolder("/proc/self/fd/" + std::to_string(folder))) {
        struct stat status {};
        if (name.starts_with(kTemporaryNamePrefix) &&
            ::fstatat(folder, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0 && S_ISREG(status.st_mode) &&
            now - status.st_mtime > kAbandonedAfter)
            ::unlinkat(folder, name.c_str(), 0); // or whoever comes next tries
    }
}

Result<NewFile> NewFile::inFolder(std::string folder, unsigned mode, int base) {
    auto unnamed = openFile(folder, O_TMPFILE | O_RDWR, mode, base);
    if (unnamed)
        return NewFile(base, *std::move(unnamed), std::move(folder), "");
    if (!lacksUnnamedFiles(unnamed.error()))
        return unnamed.error();
    std::string path = temporaryPathIn(folder);
    auto named = openFile(path, O_CREAT | O_EXCL | O_RDWR, mode, base);
    if (!named)
        return named.error();
    return NewFile(base, *std::move(named), std::move(folder), std::move(path));
}

NewFile::~NewFile() {
    if (!temporaryPath_.empty())
        ::unlinkat(base_, temporaryPath_.c_str(), 0);
}

Result<void> NewFile::appearAs(const std::string& path) {
    const bool done = temporaryPath_.empty() ? linkOpenFile(descriptor(), base_, path) : linkOrRename(path);
    return done ? Result<void>() : systemError("create " + path, errno);
}

// Some file systems give no file a second name; there the first one goes.
bool NewFile::linkOrRename(const std::string& path) {
    if (::linkat(base_, temporaryPath_.c_str(), base_, path.c_str(), 0) == 0)
        return true;
    if (!lacksSecondNames(errno) || !renameToFree(base_, temporaryPath_, path))
        return false;
    temporaryPath_.clear();
    return true;
}

Result<void> NewFile::replace(const std::string& path) {
    if (temporaryPath_.empty()) { // only a name can be renamed
        std::string name = temporaryPathIn(folder_);
        if (auto named = appearAs(name); !named)
            return named;
        temporaryPath_ = std::move(name);
    }
    if (::renameat(base_, temporaryPath_.c_str(), base_, path.c_str()) != 0)
        return systemError("replace " + path, errno);
    temporaryPath_.clear();
    return {};
}

} // namespace kitwell::platform
