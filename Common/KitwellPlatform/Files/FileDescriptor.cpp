#include "KitwellPlatform/Files/FileDescriptor.h"

#include <cerrno>
#include <unistd.h>

namespace kitwell::platform {

void FileDescriptor::reset(int descriptor) {
    if (descriptor_ >= 0) {
        const int savedErrno = errno;
        ::close(descriptor_);
        errno = savedErrno;
    }
    descriptor_ = descriptor;
}

} // namespace kitwell::platform
