#include "KitwellPlatform/Preferences/SeenFile.h"

#include <cerrno>
#include <fcntl.h>

#include "KitwellPlatform/Files/FileAccess.h"

namespace kitwell::platform {

namespace {

bool isSame(const timespec& left, const timespec& right) {
    return left.tv_sec == right.tv_sec && left.tv_nsec == right.tv_nsec;
}

} // namespace

SeenFile::SeenFile(const std::string& path) {
    // O_PATH holds the file without needing a right to it, and never waits for one that is no plain file.
    auto file = openFile(path, O_PATH);
    if (!file)
        fault_ = static_cast<int>(file.error().code);
    else if (::fstat(file->get(), &status_) != 0)
        fault_ = errno;
    else
        file_ = *std::move(file);
}

bool SeenFile::isStillAt(const std::string& path) const {
    struct stat now {};
    if (::stat(path.c_str(), &now) != 0)
        return fault_ == ENOENT && errno == ENOENT;
    return fault_ == 0 && now.st_dev == status_.st_dev && now.st_ino == status_.st_ino &&
           now.st_size == status_.st_size && isSame(now.st_mtim, status_.st_mtim) &&
           isSame(now.st_ctim, status_.st_ctim);
}

} // namespace kitwell::platform
