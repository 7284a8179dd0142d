#include "KitwellPlatform/Files/CopyFile.h"

#include <cerrno>
#include <unistd.h>
#include <vector>

#include "KitwellPlatform/Files/FileAccess.h"
#include "KitwellPlatform/Files/NewFile.h"

namespace kitwell::platform {

namespace {

Result<void> copy(int source, int destination, std::size_t pieceSize, const std::string& path) {
    std::vector<std::byte> piece(pieceSize);
    for (;;) {
        const ssize_t count = ::read(source, piece.data(), piece.size());
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            return systemError("read what is copied to " + path, errno);
        if (count == 0)
            return {};
        const auto bytes = std::span(piece).first(static_cast<std::size_t>(count));
        if (auto written = writeAll(destination, bytes, path); !written)
            return written;
    }
}

} // namespace

Result<std::string> copyToFirstFreePath(int descriptor, std::span<const std::string> paths,
                                        std::size_t pieceSize) {
    if (paths.empty())
        return systemError("copy a file to no path", EINVAL);
    auto file = NewFile::inFolder(folderOf(paths.front()), 0644);
    if (!file)
        return file.error();
    if (auto copied = copy(descriptor, file->descriptor(), pieceSize, paths.front()); !copied)
        return copied.error();
    if (::fsync(file->descriptor()) != 0)
        return systemError("bring to the disk " + paths.front(), errno);
    for (const std::string& path : paths) {
        const auto named = file->appearAs(path);
        if (named)
            return path;
        if (named.error().code != EEXIST)
            return named.error();
    }
    return systemError("copy a file to " + paths.back(), EEXIST);
}

} // namespace kitwell::platform
