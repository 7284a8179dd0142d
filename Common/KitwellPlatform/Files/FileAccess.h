#pragma once

#include <cstddef>
#include <fcntl.h>
#include <span>
#include <string>
#include <string_view>
#include <sys/types.h>

#include "KitwellPlatform/Files/FileDescriptor.h"
#include "KitwellPlatform/Values/Data.h"
#include "KitwellPlatform/Values/Result.h"

namespace kitwell::platform {

// The steps that the file services share. Inside the library only; any thread.

// openat(2) with close-on-exec. A path that holds a NUL, which the system would cut short, is the error
// EINVAL.
Result<FileDescriptor> openFile(const std::string& path, int flags, mode_t mode = 0, int base = AT_FDCWD);

// Writes all of the bytes; `path` is for the error's text.
Result<void> writeAll(int descriptor, std::span<const std::byte> bytes, const std::string& path);

// A file system that answers EINVAL keeps nothing that could be brought to the disk.
Result<void> bringToDisk(int descriptor, const std::string& path);

// The whole content of an open regular file: EFBIG beyond `limit` bytes, before memory is taken; EINVAL for
// anything else than a regular file.
Result<Data> readRegularFile(int descriptor, std::size_t limit, const std::string& path);

// Waits for the lock of the open file: `operation` is LOCK_SH or LOCK_EX of flock(2); `path` is for the
// error's text.
Result<void> waitForLock(int descriptor, int operation, std::string_view path);

// Gives a file that name when it is free: else false and EEXIST, as with any other error of renameat2(2) in
// errno. Both paths lead from the open folder `base`.
bool renameToFree(int base, const std::string& from, const std::string& to);

} // namespace kitwell::platform
