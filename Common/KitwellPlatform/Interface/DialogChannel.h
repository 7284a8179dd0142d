#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "KitwellPlatform/Export.h"
#include "KitwellPlatform/Files/FileDescriptor.h"

namespace kitwell::platform {

// One end of the conversation about a dialog: whole packets of at most kMaxDialogPacket bytes in both
// directions. The end of either process is seen by the other. Belongs to one thread.
class PLATFORM_API DialogChannel {
public:
    // Owns one end of such a connection.
    explicit DialogChannel(FileDescriptor socket) : socket_(std::move(socket)) {}
    // Both ends, new; nothing when no descriptor is left.
    static std::optional<std::pair<DialogChannel, DialogChannel>> makePair();

    // Readable when there is a packet, or the end.
    int descriptor() const { return socket_.get(); }
    // False when the peer is gone or leaves its packets unread: it waits for nobody.
    bool send(std::string_view packet);
    // The next packet. To be called when the descriptor is readable; nothing is the end, or a packet beyond
    // the bound.
    std::optional<std::string> receive();

private:
    FileDescriptor socket_;
};

} // namespace kitwell::platform
