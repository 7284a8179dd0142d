#include "KitwellPlatform/Files/AppendFile.h"

#include <cerrno>
#include <climits>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>
#include <vector>

#include "KitwellPlatform/Files/FileAccess.h"
#include "KitwellPlatform/Files/FileUrl.h"
#include "KitwellPlatform/Files/NewFile.h"

namespace kitwell::platform {

namespace {

constexpr unsigned kNewFileMode = 0644;

FileStatus statusFrom(const struct stat& status) {
    return {status.st_dev,
            status.st_ino,
            static_cast<std::uint64_t>(status.st_size),
            status.st_mode & 07777U,
            static_cast<std::uint32_t>(status.st_nlink),
            S_ISREG(status.st_mode)};
}

// In one write, so that the content is whole or the write has failed.
Result<void> writeGathered(int descriptor, std::span<const std::string_view> content) {
    std::vector<iovec> pieces;
    std::size_t size = 0;
    for (const std::string_view piece : content) {
        pieces.push_back({const_cast<char*>(piece.data()), piece.size()}); // only read
        size += piece.size();
    }
    if (pieces.size() > IOV_MAX)
        return systemError("write a file of too many pieces", EINVAL);
    const ssize_t written = ::writev(descriptor, pieces.data(), static_cast<int>(pieces.size()));
    if (written == static_cast<ssize_t>(size))
        return {};
    return systemError("write a new file", written < 0 ? errno : ENOSPC);
}

} // namespace

Result<FileStatus> fileStatus(const std::string& path) {
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0)
        return systemError("look at " + path, errno);
    return statusFrom(status);
}

Result<AppendFile> AppendFile::openLocked(const std::string& path, int flags, Lock wanted) {
    auto file = openFile(path, flags | O_NONBLOCK | O_NOCTTY);
    if (!file)
        return file.error();
    if (wanted != Lock::None) {
        if (auto locked = waitForLock(file->get(), wanted == Lock::Shared ? LOCK_SH : LOCK_EX, path); !locked)
            return locked.error();
    }
    return AppendFile(*std::move(file));
}

Result<AppendFile> AppendFile::open(const std::string& path, Lock lock) {
    return openLocked(path, O_RDWR | O_APPEND, lock);
}

Result<AppendFile> AppendFile::openForReading(const std::string& path, Lock lock) {
    return openLocked(path, O_RDONLY, lock);
}

Result<AppendFile> AppendFile::create(const std::string& path, std::span<const std::string_view> content) {
    auto file = NewFile::inFolder(folderOf(path), kNewFileMode);
    if (!file)
        return file.error();
    if (auto locked = waitForLock(file->descriptor(), LOCK_EX, path); !locked)
        return locked.error();
    if (auto written = writeGathered(file->descriptor(), content); !written)
        return written.error();
    if (auto created = file->appearAs(path); !created)
        return created.error();
    return AppendFile(file->takeDescriptor());
}

Result<FileStatus> AppendFile::status() const {
    struct stat status {};
    if (::fstat(descriptor_.get(), &status) != 0)
        return systemError("look at an open file", errno);
    return statusFrom(status);
}

Result<void> AppendFile::lockExclusively() {
    return waitForLock(descriptor_.get(), LOCK_EX, "an open file");
}

bool AppendFile::append(std::string_view text) {
    return ::write(descriptor_.get(), text.data(), text.size()) == static_cast<ssize_t>(text.size());
}

Result<Data> AppendFile::contents(std::size_t limit) const {
    if (::lseek(descriptor_.get(), 0, SEEK_SET) != 0)
        return systemError("read an open file", errno);
    return readRegularFile(descriptor_.get(), limit, "an open file");
}

Result<void> AppendFile::overwrite(std::uint64_t position, std::string_view text) {
    // While a file is open for appending, this system appends whatever place a write names.
    const int flags = ::fcntl(descriptor_.get(), F_GETFL);
    if (::fcntl(descriptor_.get(), F_SETFL, flags & ~O_APPEND) != 0)
        return systemError("write over a part of a file", errno);
    const ssize_t written =
        ::pwrite(descriptor_.get(), text.data(), text.size(), static_cast<off_t>(position));
    const int failure = written < 0 ? errno : ENOSPC;
    ::fcntl(descriptor_.get(), F_SETFL, flags);
    return written == static_cast<ssize_t>(text.size()) ? Result<void>()
                                                        : systemError("write over a part of a file", failure);
}

Result<void> AppendFile::setMode(std::uint32_t mode) {
    return ::fchmod(descriptor_.get(), mode) == 0 ? Result<void>()
                                                  : systemError("set the mode of a file", errno);
}

Result<void> AppendFile::bringToDisk() {
    return platform::bringToDisk(descriptor_.get(), "an open file");
}

} // namespace kitwell::platform
