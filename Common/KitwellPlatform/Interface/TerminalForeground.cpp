#include "KitwellPlatform/Interface/TerminalForeground.h"

#include <cerrno>
#include <unistd.h>

namespace kitwell::platform {

bool isInForeground(int descriptor) {
    const pid_t foreground = ::tcgetpgrp(descriptor);
    return foreground == ::getpgrp() || (foreground < 0 && errno == ENOTTY);
}

} // namespace kitwell::platform
