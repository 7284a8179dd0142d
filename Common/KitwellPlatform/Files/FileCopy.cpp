#include "KitwellPlatform/Files/FileCopy.h"

#include <array>
#include <cerrno>
#include <linux/limits.h>
#include <span>
#include <string_view>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>
#include <vector>

#include "KitwellPlatform/Files/FileAccess.h"

namespace kitwell::platform {

namespace {

constexpr std::size_t kCopiedAtOnce = 256U << 10;

void copyAttributes(int source, int copy) {
    std::vector<char> names(XATTR_LIST_MAX);
    std::vector<char> value(XATTR_SIZE_MAX);
    const ssize_t length = ::flistxattr(source, names.data(), names.size());
    std::string_view left(names.data(), length > 0 ? static_cast<std::size_t>(length) : 0);
    while (!left.empty()) {
        const char* name = left.data();
        if (left.starts_with("user.")) {
            const ssize_t size = ::fgetxattr(source, name, value.data(), value.size());
            if (size >= 0)
                ::fsetxattr(copy, name, value.data(), static_cast<std::size_t>(size), 0);
        }
        left.remove_prefix(std::string_view(name).size() + 1);
    }
}

} // namespace

Result<void> copyContent(int source, int copy, std::size_t pieceSize, const std::string& path) {
    std::vector<std::byte> buffer(pieceSize);
    for (off_t at = 0;;) {
        const ssize_t count = ::pread(source, buffer.data(), buffer.size(), at);
        if (count == 0)
            return {};
        if (count < 0 && errno != EINTR)
            return systemError("read " + path, errno);
        if (count < 0)
            continue;
        at += count;
        const auto bytes = std::span(buffer).first(static_cast<std::size_t>(count));
        if (auto written = writeAll(copy, bytes, "the copy of " + path); !written)
            return written;
    }
}

Result<void> copyFile(int source, int copy, const std::string& path) {
    struct stat original {};
    if (::fstat(source, &original) != 0)
        return systemError("look at " + path, errno);
    if (auto copied = copyContent(source, copy, kCopiedAtOnce, path); !copied)
        return copied;
    copyAttributes(source, copy);
    const bool keepsOwner = ::fchown(copy, original.st_uid, original.st_gid) == 0;
    if (::fchmod(copy, original.st_mode & (keepsOwner ? 07777U : 0777U)) != 0)
        return systemError("set the mode of the copy of " + path, errno);
    const std::array<timespec, 2> times{original.st_atim, original.st_mtim};
    if (::futimens(copy, times.data()) != 0)
        return systemError("set the times of the copy of " + path, errno);
    return {};
}

} // namespace kitwell::platform
