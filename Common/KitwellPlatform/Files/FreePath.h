#pragma once

#include <cstddef>
#include <span>
#include <string>

#include "KitwellPlatform/Export.h"
#include "KitwellPlatform/Values/Result.h"

namespace kitwell::platform {

// New files that take the first of some names, all of one folder, that is free, once they are whole and on
// the disk: nobody ever sees a part, and nobody's file is overwritten. Both answer the path that was taken;
// EEXIST when no name is free. On failure nothing is created. Any thread.

// Holds the content; mode 0666 less the process's mask.
PLATFORM_API Result<std::string> writeToFirstFreePath(std::span<const std::byte> content,
                                                      std::span<const std::string> paths);

// Holds what an open file holds, copied in pieces of that many bytes; mode 0644 less the process's mask.
PLATFORM_API Result<std::string> copyToFirstFreePath(int descriptor, std::span<const std::string> paths,
                                                     std::size_t pieceSize);

} // namespace kitwell::platform
