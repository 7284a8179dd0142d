#pragma once

#include <string>

#include "KitwellPlatform/Export.h"
#include "KitwellPlatform/Files/FileDescriptor.h"
#include "KitwellPlatform/Values/Result.h"

namespace kitwell::platform {

// An open file or folder whose exclusive advisory lock is held from the moment the call returns until the
// object goes. The lock excludes every other holder, in this process and in others, and ends with the
// process. It is not re-entrant: a second lock of the same file by the same thread waits forever.
class PLATFORM_API LockedFile {
public:
    // Briefly: for a quarter of a second, in which the locks of a process that was just killed are given
    // back. A lock that is held for longer is the error EWOULDBLOCK, as it is at once with Never.
    enum class Wait { ForLock, Briefly, Never };

    // A folder that exists.
    static Result<LockedFile> lockFolder(const std::string& path, Wait wait = Wait::ForLock);
    // A file, created when missing with this mode less the process's mask, and never removed; a symlink in
    // its place is refused.
    static Result<LockedFile> lockFile(const std::string& path, Wait wait = Wait::ForLock,
                                       unsigned mode = 0600);
    // A new file of mode 0600 with this content, locked before its name exists. EEXIST when the name is
    // taken.
    static Result<LockedFile> createLocked(const std::string& path, const std::string& content);

    int descriptor() const { return descriptor_.get(); }

private:
    explicit LockedFile(FileDescriptor descriptor) : descriptor_(std::move(descriptor)) {}

    FileDescriptor descriptor_;
};

} // namespace kitwell::platform
