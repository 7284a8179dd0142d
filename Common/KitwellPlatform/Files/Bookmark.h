#pragma once

#include <optional>

#include "KitwellPlatform/Export.h"
#include "KitwellPlatform/Files/FileUrl.h"
#include "KitwellPlatform/Values/Data.h"
#include "KitwellPlatform/Values/Result.h"

namespace kitwell::platform {

enum class BookmarkScope { Plain, Security };

// Data that finds a file again: its path, and its identity (device, inode, file handle where the volume has
// one). The file must exist. Any thread.
PLATFORM_API Result<Data> bookmarkFor(const FileUrl& url, BookmarkScope scope);

// The URL that the bookmark leads to: the kept path when the same file is still there, else the place the
// file was moved to on its volume where the system can tell, else the kept path when anything stands there.
// Nothing when none of these holds or the data is no bookmark. `data` may come from anyone.
PLATFORM_API std::optional<FileUrl> resolveBookmark(const Data& data);

// Opens the place of a security-scoped bookmark to this process until its end; false for other data and when
// it leads nowhere. On this system applications run outside any sandbox: what opens a place are the file
// permissions alone, and this call adds nothing to them.
PLATFORM_API bool startAccessingSecurityScopedResource(const Data& data);

} // namespace kitwell::platform
