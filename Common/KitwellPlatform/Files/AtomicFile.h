#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

#include "KitwellPlatform/Export.h"
#include "KitwellPlatform/Values/Data.h"
#include "KitwellPlatform/Values/Result.h"

namespace kitwell::platform {

// Replaces the content of a file, or creates it with mode 0600, so that every reader and every restart, after
// a power loss too, finds the old bytes or the new ones whole: new file in the same folder, write, fsync,
// rename, fsync of the folder. An existing file keeps its mode, and its owner and group as far as this user
// may give them (rights of a group that cannot be kept are dropped); where a symlink stands, the file it
// leads to is replaced. What is no regular file is the error EINVAL. On failure the old content stays and no
// temporary file is left; only when the disk fails at the very last step may the new content stand already.
// Any thread.
PLATFORM_API Result<void> replaceFile(const std::string& path, std::span<const std::byte> content);

// How a replacement treats the path, where the usual way does not fit: a writer with more rights than those
// who may plant a symlink at the path must not follow it.
struct ReplacementRules {
    bool followsSymlinks = true;  // else a symlink at the path or in its folder's place is the error ELOOP
    std::uint32_t newMode = 0600; // of a file that was not there, whatever the umask
    bool mayReplace = true;       // else a file that stands there stays, and is the error EEXIST
    bool sweepsFolder = false;    // whether what killed replacements left in the folder is removed
};
PLATFORM_API Result<void> replaceFile(const std::string& path, std::span<const std::byte> content,
                                      const ReplacementRules& rules);

// The whole content of a regular file. A file larger than `limit` bytes is the error EFBIG, before memory is
// taken; what is no regular file is the error EINVAL and is never waited for. Any thread.
PLATFORM_API Result<Data> readFile(const std::string& path, std::size_t limit);
// The same for a file that is read once: what was read need not stay in the system's cache of files.
PLATFORM_API Result<Data> readFileUncached(const std::string& path, std::size_t limit);

} // namespace kitwell::platform
