#include "KitwellPlatform/Ports/PeerCredentials.h"

#include <sys/socket.h>
#include <unistd.h>

namespace kitwell::platform {

PeerCredentials PeerCredentials::of(int socket) {
    ucred peer{};
    socklen_t size = sizeof peer;
    if (::getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &peer, &size) != 0)
        return {};
    return {peer.uid == ::geteuid(), peer.pid};
}

} // namespace kitwell::platform
