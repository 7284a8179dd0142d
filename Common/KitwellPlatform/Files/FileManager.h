#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "KitwellPlatform/Export.h"
#include "KitwellPlatform/Values/Result.h"

namespace kitwell::platform {

// Small file operations by path. Stateless; any thread.
class PLATFORM_API FileManager {
public:
    FileManager() = delete;

    // Whether anything stands at the path; a symlink counts as what it leads to.
    static bool fileExists(const std::string& path);
    static bool folderExists(const std::string& path);
    // Whether this process may write to it, as the system itself answers.
    static bool isWritable(const std::string& path);
    // Whether it is a regular file that this process may execute.
    static bool isExecutable(const std::string& path);
    // Creates what is missing of the path, mode 0700; an existing folder is a success.
    static Result<void> createFolder(const std::string& path);
    static Result<void> removeFile(const std::string& path);
    // The file takes another name on the same volume, in the place of what has it.
    static Result<void> renameFile(const std::string& from, const std::string& to);
    // The paths of everything below the folder, relative to it, in the order in which the system lists them;
    // symlinks to folders are not entered. Empty when the folder cannot be read.
    static std::vector<std::string> subpathsOfFolder(const std::string& path);
    // Within one volume. What stands at `to` already is the error EEXIST; a symlink is moved itself.
    static Result<void> moveFile(const std::string& from, const std::string& to);

    // Who may do what with a file, a folder or a symlink itself.
    enum class Kind { File, Folder, Symlink, Other };
    struct Attributes {
        Kind kind = Kind::Other;
        std::uint32_t mode = 0; // the permission bits
        std::uint32_t ownerId = 0;
        std::uint32_t groupId = 0;
    };
    // Of what stands at the path itself, also where that is a symlink.
    static Result<Attributes> attributes(const std::string& path);
    // Creates what is missing of the path, each folder with the mode, owner and group of `attributes` and
    // whatever the umask; an existing folder is a success and stays as it is. A folder has its name when it
    // has its attributes and not before: one that cannot be given them does not stay, and a process that is
    // killed leaves no more than an empty folder with a temporary name.
    static Result<void> createFolder(const std::string& path, const Attributes& attributes);
    // Of a file or folder; a symlink at the path is the error ELOOP.
    static Result<void> setGroupAndMode(const std::string& path, std::uint32_t groupId, std::uint32_t mode);
    // Writes into the file that stands there, or creates it, with the rights that new files have; a symlink
    // is followed, and a pipe that nobody reads is the error ENXIO. A failure may leave a part of the
    // content. What must be whole is for replaceFile().
    static Result<void> writeInPlace(const std::string& path, std::span<const std::byte> content);
    // Names without "." and "..", sorted by their bytes; empty when the folder cannot be read.
    static std::vector<std::string> namesInFolder(const std::string& path);
    // Bytes that an ordinary user may still write on the volume that holds the path, and the volume's size.
    struct VolumeSpace {
        std::uint64_t freeBytes = 0;
        std::uint64_t totalBytes = 0;
    };
    static Result<VolumeSpace> volumeSpace(const std::string& path);
};

} // namespace kitwell::platform
