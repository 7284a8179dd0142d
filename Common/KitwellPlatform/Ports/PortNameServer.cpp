#include "KitwellPlatform/Ports/PortNameServer.h"

#include <cerrno>

#include "KitwellPlatform/Logging/Log.h"
#include "KitwellPlatform/Ports/PeerCredentials.h"
#include "KitwellPlatform/Ports/PortState.h"
#include "KitwellPlatform/Ports/PublishedName.h"

namespace kitwell::platform {

PortNameServer& PortNameServer::systemDefault() {
    static PortNameServer server;
    return server;
}

bool PortNameServer::registerPort(const std::shared_ptr<Port>& port, std::string_view name) {
    if (!port || !port->isValid() || !port->state_->receiving || !isPortName(name))
        return false;
    auto published = PublishedName::claim(name);
    if (!published) {
        if (published.error().code != EWOULDBLOCK)
            writeLogLine(published.error().description);
        return false;
    }
    if (port->state_->receiving->publish(*std::move(published)))
        return true;
    writeLogLine("the run loop has no room for the port " + std::string(name));
    return false;
}

bool PortNameServer::removePortForName(std::string_view name) {
    return ReceivePort::withdraw(name);
}

std::shared_ptr<Port> PortNameServer::portForName(std::string_view name) {
    if (!isPortName(name))
        return nullptr;
    auto socket = connectToPublishedName(name);
    if (!socket) {
        if (socket.error().code != ENOENT && socket.error().code != ECONNREFUSED)
            writeLogLine(socket.error().description);
        return nullptr;
    }
    const auto owner = PeerCredentials::of(socket->get());
    if (!owner.isSameUser) {
        writeLogLine("the port " + std::string(name) + " belongs to another user");
        return nullptr;
    }
    return Port::sendPort(*std::move(socket), owner.process);
}

} // namespace kitwell::platform
