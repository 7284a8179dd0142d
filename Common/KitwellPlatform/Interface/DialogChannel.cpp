#include "KitwellPlatform/Interface/DialogChannel.h"

#include <cerrno>
#include <sys/socket.h>

#include "KitwellPlatform/Interface/DialogMessages.h"

namespace kitwell::platform {

std::optional<std::pair<DialogChannel, DialogChannel>> DialogChannel::makePair() {
    int ends[2];
    if (::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends) != 0)
        return std::nullopt;
    return std::pair(DialogChannel(FileDescriptor(ends[0])), DialogChannel(FileDescriptor(ends[1])));
}

bool DialogChannel::send(std::string_view packet) {
    return ::send(socket_.get(), packet.data(), packet.size(), MSG_NOSIGNAL | MSG_DONTWAIT) ==
           static_cast<ssize_t>(packet.size());
}

std::optional<std::string> DialogChannel::receive() {
    std::string packet(kMaxDialogPacket, '\0');
    // MSG_TRUNC answers the packet's whole length, also when it does not fit.
    const auto next = [&] {
        return ::recv(socket_.get(), packet.data(), packet.size(), MSG_DONTWAIT | MSG_TRUNC);
    };
    ssize_t length = next();
    // A peer that ends with something of ours unread resets the connection; the reset is told once, before
    // what it sent last, which is still there.
    if (length < 0 && errno == ECONNRESET)
        length = next();
    if (length <= 0 || static_cast<std::size_t>(length) > packet.size())
        return std::nullopt;
    packet.resize(static_cast<std::size_t>(length));
    return packet;
}

} // namespace kitwell::platform
