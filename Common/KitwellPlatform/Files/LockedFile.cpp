#include "KitwellPlatform/Files/LockedFile.h"

#include <cerrno>
#include <chrono>
#include <fcntl.h>
#include <span>
#include <sys/file.h>
#include <thread>

#include "KitwellPlatform/Files/FileAccess.h"
#include "KitwellPlatform/Files/FileUrl.h"
#include "KitwellPlatform/Files/NewFile.h"

namespace kitwell::platform {

namespace {

constexpr std::chrono::milliseconds kBriefly{250};
constexpr std::chrono::milliseconds kBetweenAttempts{5};

Result<void> lock(int descriptor, LockedFile::Wait wait, const std::string& path) {
    const int operation = LOCK_EX | (wait == LockedFile::Wait::ForLock ? 0 : LOCK_NB);
    const auto end = std::chrono::steady_clock::now() + kBriefly;
    while (::flock(descriptor, operation) != 0) {
        const bool isTaken = errno == EWOULDBLOCK;
        const bool goesOn = wait == LockedFile::Wait::Briefly && std::chrono::steady_clock::now() < end;
        if (errno != EINTR && !(isTaken && goesOn))
            return systemError("lock " + path, errno);
        if (isTaken)
            std::this_thread::sleep_for(kBetweenAttempts); // the system tells nobody when a lock becomes free
    }
    return {};
}

// Nobody else opens a file before it has its name, so the lock is never waited for.
Result<void> lockAndFill(int descriptor, const std::string& path, const std::string& content) {
    if (auto locked = lock(descriptor, LockedFile::Wait::Never, path); !locked)
        return locked;
    return writeAll(descriptor, std::as_bytes(std::span(content)), path);
}

} // namespace

Result<LockedFile> LockedFile::lockFolder(const std::string& path, Wait wait) {
    auto folder = openFile(path, O_RDONLY | O_DIRECTORY);
    if (!folder)
        return folder.error();
    if (auto locked = lock(folder->get(), wait, path); !locked)
        return locked.error();
    return LockedFile(*std::move(folder));
}

Result<LockedFile> LockedFile::lockFile(const std::string& path, Wait wait, unsigned mode) {
    auto file = openFile(path, O_RDWR | O_CREAT | O_NOFOLLOW | O_NONBLOCK, mode);
    if (!file)
        return file.error();
    if (auto locked = lock(file->get(), wait, path); !locked)
        return locked.error();
    return LockedFile(*std::move(file));
}

Result<LockedFile> LockedFile::createLocked(const std::string& path, const std::string& content) {
    auto file = NewFile::inFolder(folderOf(path));
    if (!file)
        return file.error();
    if (auto filled = lockAndFill(file->descriptor(), path, content); !filled)
        return filled.error();
    if (auto created = file->appearAs(path); !created)
        return created.error();
    return LockedFile(file->takeDescriptor());
}

} // namespace kitwell::platform
