#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "KitwellPlatform/Export.h"
#include "KitwellPlatform/Files/FileDescriptor.h"
#include "KitwellPlatform/Values/Data.h"
#include "KitwellPlatform/Values/Result.h"

namespace kitwell::platform {

struct FileStatus {
    std::uint64_t device = 0;
    std::uint64_t inode = 0;
    std::uint64_t size = 0;
    std::uint32_t mode = 0;  // the permission bits
    std::uint32_t names = 0; // 0 when the file has been removed and lives by its open descriptors only
    bool isRegular = false;

    bool isSameFile(const FileStatus& other) const { return device == other.device && inode == other.inode; }
    bool ownerMayWrite() const { return (mode & 0200U) != 0; }
};

// Of what the path leads to.
PLATFORM_API Result<FileStatus> fileStatus(const std::string& path);

// An open file that processes append to together, each holding a lock of the whole file from the moment the
// call that opened it returns until the object goes. Any number of holders share a lock, or one has it for
// itself. Opening never waits for anything but the lock: what is no regular file may open, and its status
// tells. One thread at a time; several objects may have the same file open.
class PLATFORM_API AppendFile {
public:
    enum class Lock { None, Shared, Exclusive };

    static Result<AppendFile> open(const std::string& path, Lock lock);
    static Result<AppendFile> openForReading(const std::string& path, Lock lock);
    // A new file of mode 0644 less the process's mask, with this content, locked exclusively before its name
    // exists. EEXIST when the name is taken; nothing is created when the content cannot be written whole.
    static Result<AppendFile> create(const std::string& path, std::span<const std::string_view> content);

    Result<FileStatus> status() const;
    // Waits for every other holder. Others may have come in between when the lock was shared before: look at
    // the file again.
    Result<void> lockExclusively();
    // One write at the file's end; false when not all of the text was written.
    bool append(std::string_view text);
    // The file's whole content: EFBIG beyond `limit` bytes, before memory is taken.
    Result<Data> contents(std::size_t limit) const;
    // Writes over what stands at this place.
    Result<void> overwrite(std::uint64_t position, std::string_view text);
    Result<void> setMode(std::uint32_t mode);
    Result<void> bringToDisk();

    int descriptor() const { return descriptor_.get(); }
    // The open file, with its lock, for the caller to close.
    int releaseDescriptor() { return descriptor_.release(); }

private:
    explicit AppendFile(FileDescriptor descriptor) : descriptor_(std::move(descriptor)) {}
    static Result<AppendFile> openLocked(const std::string& path, int flags, Lock lock);

    FileDescriptor descriptor_;
};

} // namespace kitwell::platform
