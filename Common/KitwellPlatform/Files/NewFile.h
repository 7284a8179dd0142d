#pragma once

#include <fcntl.h>
#include <string>
#include <utility>

#include "KitwellPlatform/Files/FileDescriptor.h"
#include "KitwellPlatform/Values/Result.h"

namespace kitwell::platform {

// How the name of a file begins that is not finished yet, or that a killed writer never finished.
inline constexpr char kTemporaryNamePrefix[] = ".temporary-";

// A path in the folder that begins so and that nobody else chooses.
std::string temporaryPathIn(const std::string& folder);

// Removes the temporary files of writers that were killed from the open folder.
void removeAbandonedFiles(int folder);

// A new empty file that nobody else sees before it is finished and takes its name. Until then it
// has no name at all, so that nothing stays behind when the process is killed; on a file system that knows no
// such files it has a temporary name, which goes with the object. Inside the library only; any thread.
class NewFile {
public:
    // The mode is less the process's mask. This path and those below lead from the open folder `base`, which
    // stays open as long as the object lives.
    static Result<NewFile> inFolder(std::string folder, unsigned mode = 0600, int base = AT_FDCWD);

    NewFile(NewFile&& other) noexcept
        : base_(other.base_), descriptor_(std::move(other.descriptor_)), folder_(std::move(other.folder_)),
          temporaryPath_(std::exchange(other.temporaryPath_, {})) {}
    NewFile& operator=(NewFile&&) = delete;
    ~NewFile();

    int descriptor() const { return descriptor_.get(); }
    FileDescriptor takeDescriptor() { return std::move(descriptor_); }
    // The name must be free, else EEXIST; the path is in the file's folder.
    Result<void> appearAs(const std::string& path);
    // Takes the place of what has the name, with no moment without it.
    Result<void> replace(const std::string& path);

private:
    NewFile(int base, FileDescriptor descriptor, std::string folder, std::string temporaryPath)
        : base_(base), descriptor_(std::move(descriptor)), folder_(std::move(folder)),
          temporaryPath_(std::move(temporaryPath)) {}

    bool linkOrRename(const std::string& path);

    int base_;
    FileDescriptor descriptor_;
    std::string folder_;
    std::string temporaryPath_; // empty while there is none
};

} // namespace kitwell::platform
