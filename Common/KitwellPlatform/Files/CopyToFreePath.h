#pragma once

#include <cstddef>
#include <span>
#include <string>

#include "KitwellPlatform/Export.h"
#include "KitwellPlatform/Values/Result.h"

namespace kitwell::platform {

// Copies what an open file holds, in pieces of that many bytes, into a new file of mode
// 0644 less the process's mask. It takes the first of these names, all of one folder, that is free, once it
// is whole and on the disk: nobody ever sees a part. Answers that path; EEXIST when no name is free. On
// failure nothing is created. Any thread.
PLATFORM_API Result<std::string> copyToFirstFreePath(int descriptor, std::span<const std::string> paths,
                                                     std::size_t pieceSize);

} // namespace kitwell::platform
