#include "KitwellPlatform/Files/FreePath.h"

#include <cerrno>
#include <functional>

#include "KitwellPlatform/Files/FileAccess.h"
#include "KitwellPlatform/Files/FileCopy.h"
#include "KitwellPlatform/Files/FileUrl.h"
#include "KitwellPlatform/Files/NewFile.h"

namespace kitwell::platform {

namespace {

Result<std::string> fillFirstFree(std::span<const std::string> paths, unsigned mode,
                                  const std::function<Result<void>(int descriptor)>& fill) {
    if (paths.empty())
        return systemError("create a file without a name", EINVAL);
    auto file = NewFile::inFolder(folderOf(paths.front()), mode);
    if (!file)
        return file.error();
    if (auto filled = fill(file->descriptor()); !filled)
        return filled.error();
    if (auto done = bringToDisk(file->descriptor(), paths.front()); !done)
        return done.error();
    for (const std::string& path : paths) {
        const auto named = file->appearAs(path);
        if (named)
            return path;
        if (named.error().code != EEXIST)
            return named.error();
    }
    return systemError("create " + paths.back(), EEXIST);
}

} // namespace

Result<std::string> writeToFirstFreePath(std::span<const std::byte> content,
                                         std::span<const std::string> paths) {
    return fillFirstFree(paths, 0666, [&](int file) { return writeAll(file, content, paths.front()); });
}

Result<std::string> copyToFirstFreePath(int descriptor, std::span<const std::string> paths,
                                        std::size_t pieceSize) {
    return fillFirstFree(paths, 0644,
                         [&](int file) { return copyContent(descriptor, file, pieceSize, paths.front()); });
}

} // namespace kitwell::platform
