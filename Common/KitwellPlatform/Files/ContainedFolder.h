#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>

#include "KitwellPlatform/Export.h"
#include "KitwellPlatform/Files/FileDescriptor.h"
#include "KitwellPlatform/Values/Result.h"

namespace kitwell::platform {

// A folder below a trusted one, reached without following any symlink on the way. What is done in it is done
// in that very folder, even when something else has taken its path meanwhile. Its exclusive lock is held
// while the object lives, so that one process at a time changes what is in it. Any thread.
class PLATFORM_API ContainedFolder {
public:
    // Creates what is missing below `root`, mode 0700, and waits for the lock. The components must be plain
    // file names; where a symlink or anything else than a folder stands is the error ENOTDIR.
    static Result<ContainedFolder> create(const std::string& root,
                                          std::initializer_list<std::string_view> components);

    // The file `name` of this folder.
    std::string pathOf(std::string_view name) const { return path_ + "/" + std::string(name); }

    // Moves the regular file `newItem` into the place of `name`, whether anything has that name or not; it
    // keeps its own mode, times and attributes, also when it comes from another file system and has to be
    // copied. The earlier file stays beside it under `backupName` (cut at its beginning where it is too long)
    // until the new one is on the disk. Readers find the earlier file or the new one, wherever the file
    // system knows hard links. Where `newItem` is the earlier file itself, that stays, and another name of it
    // goes. A symlink that has the name is replaced and not followed; a folder is the error EISDIR. On
    // failure the earlier file is in its place again, and the new one is where it was.
    Result<void> replaceItem(std::string_view name, const std::string& newItem, std::string_view backupName);

    // Sets the permission bits of a file, which must be readable; a symlink is the error ELOOP.
    Result<void> setMode(std::string_view name, std::uint32_t mode);

private:
    ContainedFolder(FileDescriptor folder, std::string path)
        : folder_(std::move(folder)), path_(std::move(path)) {}

    Result<std::string> keepAside(const std::string& name, std::string_view backupName);
    void putBack(const std::string& name, const std::string& backup);
    Result<void> moveHere(const std::string& newItem, int source, const std::string& name);
    bool isEntry(const std::string& path, const std::string& name) const;
    Result<void> copyHere(const std::string& newItem, int source, const std::string& name);

    FileDescriptor folder_;
    std::string path_;
};

} // namespace kitwell::platform
