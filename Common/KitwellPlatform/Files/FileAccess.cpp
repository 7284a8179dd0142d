#include "KitwellPlatform/Files/FileAccess.h"

#include <cerrno>
#include <cstdio>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace kitwell::platform {

namespace {

// Reads to the end, which may have moved since `expected` bytes were promised.
Result<Data> readToEnd(int descriptor, std::size_t expected, std::size_t limit, const std::string& path) {
    std::vector<std::byte> bytes(expected + 1); // the one more shows the end without another turn
    std::size_t filled = 0;
    for (;;) {
        const ssize_t count = ::read(descriptor, bytes.data() + filled, bytes.size() - filled);
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            return systemError("read " + path, errno);
        filled += static_cast<std::size_t>(count);
        if (filled > limit)
            return systemError("read " + path, EFBIG);
        if (count == 0)
            break;
        if (filled == bytes.size())
            bytes.resize(2 * filled);
    }
    bytes.resize(filled);
    return Data::adopting(std::move(bytes));
}

} // namespace

Result<FileDescriptor> openFile(const std::string& path, int flags, mode_t mode, int base) {
    if (path.find('\0') != std::string::npos)
        return systemError("open a path that holds a NUL", EINVAL);
    for (;;) {
        FileDescriptor descriptor(::openat(base, path.c_str(), flags | O_CLOEXEC, mode));
        if (descriptor)
            return descriptor;
        if (errno != EINTR)
            return systemError("open " + path, errno);
    }
}

Result<void> writeAll(int descriptor, std::span<const std::byte> bytes, const std::string& path) {
    while (!bytes.empty()) {
        const ssize_t count = ::write(descriptor, bytes.data(), bytes.size());
        if (count >= 0)
            bytes = bytes.subspan(static_cast<std::size_t>(count));
        else if (errno != EINTR)
            return systemError("write " + path, errno);
    }
    return {};
}

Result<void> bringToDisk(int descriptor, const std::string& path) {
    if (::fsync(descriptor) != 0 && errno != EINVAL)
        return systemError("bring to the disk " + path, errno);
    return {};
}

Result<Data> readRegularFile(int descriptor, std::size_t limit, const std::string& path) {
    struct stat status {};
    if (::fstat(descriptor, &status) != 0)
        return systemError("look at " + path, errno);
    if (!S_ISREG(status.st_mode))
        return systemError("read " + path + ", which is no regular file", EINVAL);
    const auto size = static_cast<std::size_t>(status.st_size);
    if (size > limit)
        return systemError("read " + path, EFBIG);
    return readToEnd(descriptor, size, limit, path);
}

Result<void> waitForLock(int descriptor, int operation, std::string_view path) {
    while (::flock(descriptor, operation) != 0) {
        if (errno != EINTR)
            return systemError("lock " + std::string(path), errno);
    }
    return {};
}

bool renameToFree(int base, const std::string& from, const std::string& to) {
    if (::renameat2(base, from.c_str(), base, to.c_str(), RENAME_NOREPLACE) == 0)
        return true;
    if (errno != EINVAL)
        return false;
    // Some file systems cannot promise that, and then a look beforehand must do.
    struct stat status {};
    if (::fstatat(base, to.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0)
        return ::renameat(base, from.c_str(), base, to.c_str()) == 0;
    errno = EEXIST;
    return false;
}

} // namespace kitwell::platform
