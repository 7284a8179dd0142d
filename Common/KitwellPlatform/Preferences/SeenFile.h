#pragma once

#include <string>
#include <sys/stat.h>

#include "KitwellPlatform/Files/FileDescriptor.h"

namespace kitwell::platform {

// Which file stood at a path, and its state then. The file is kept alive by this object, so its inode number
// is given to no other file meanwhile, and a file that took its place is never mistaken for it. Inside the
// library only.
class SeenFile {
public:
    // Looks at the path; that nothing stands there is remembered, too.
    explicit SeenFile(const std::string& path);

    // Whether the same file, unchanged, stands at the path (or nothing, as before).
    bool isStillAt(const std::string& path) const;

private:
    FileDescriptor file_;
    struct stat status_ {};
    int fault_ = 0; // the errno value of the look; 0 when there is a file
};

} // namespace kitwell::platform
