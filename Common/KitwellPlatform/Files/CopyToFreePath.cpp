#include "KitwellPlatform/Files/CopyToFreePath.h"

#include <cerrno>

#include "KitwellPlatform/Files/FileAccess.h"
#include "KitwellPlatform/Files/FileCopy.h"
#include "KitwellPlatform/Files/NewFile.h"

namespace kitwell::platform {

Result<std::string> copyToFirstFreePath(int descriptor, std::span<const std::string> paths,
                                        std::size_t pieceSize) {
    if (paths.empty())
        return systemError("copy a file to no path", EINVAL);
    auto file = NewFile::inFolder(folderOf(paths.front()), 0644);
    if (!file)
        return file.error();
    if (auto copied = copyContent(descriptor, file->descriptor(), pieceSize, paths.front()); !copied)
        return copied.error();
    if (auto done = bringToDisk(file->descriptor(), paths.front()); !done)
        return done.error();
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
