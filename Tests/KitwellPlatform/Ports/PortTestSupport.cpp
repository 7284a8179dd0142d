#include "KitwellPlatform/Ports/PortTestSupport.h"

#include <cstring>
#include <sys/socket.h>
#include <sys/un.h>

namespace kitwell::platform::test {

std::string socketPath(const TestHome& home, const std::string& name) {
    return home.path("run/kitwell/ports/") + name + ".port";
}

FileDescriptor rawConnection(const std::string& path) {
    FileDescriptor socket(::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0));
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
    if (::connect(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
        return {};
    return socket;
}

} // namespace kitwell::platform::test
