#pragma once

#include <sys/types.h>

namespace kitwell::platform {

// Who made the other end of a connected socket (its connector or its listener), as the kernel noted it then.
struct PeerCredentials {
    bool isSameUser = false;
    pid_t process = 0;

    static PeerCredentials of(int socket);
};

} // namespace kitwell::platform
