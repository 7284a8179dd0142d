#pragma once

#include <cstddef>
#include <string>

#include "KitwellPlatform/Values/Result.h"

namespace kitwell::platform {

// Fills the new file with the content of an open file and with what belongs to that file itself: mode, times
// and the user's extended attributes; owner and group as far as this user may give them (without them also
// the bits that lend their rights are dropped). Attributes that the volume cannot keep are left out, as when
// a file is moved by hand. `path` is for the error's text. Inside the library only; any thread.
Result<void> copyFile(int source, int copy, const std::string& path);

// The content alone, from its beginning, in pieces of this many bytes.
Result<void> copyContent(int source, int copy, std::size_t pieceSize, const std::string& path);

} // namespace kitwell::platform
