#pragma once

#include <chrono>
#include <cstddef>
#include <optional>
#include <span>
#include <sys/socket.h>

#include "KitwellPlatform/Files/FileDescriptor.h"
#include "KitwellPlatform/Ports/PortFrame.h"
#include "KitwellPlatform/Ports/PortMessage.h"
#include "KitwellPlatform/Values/Date.h"

namespace kitwell::platform {

// The memory that a peer which does not read can make a sender fill.
inline constexpr std::size_t kMaxUnreadSharedBytes = 64U << 20;

// The sending end of a connection to a port. One thread at a time.
class SendConnection {
public:
    enum class Outcome {
        Queued,
        TooLate,  // the deadline passed first
        Refused,  // the system has no memory or descriptor for the message; one log line was written
        PeerGone, // for good
    };

    explicit SendConnection(FileDescriptor socket) : socket_(std::move(socket)) {}

    int descriptor() const { return socket_.get(); }
    // `frame` must be the frame for these components.
    Outcome send(const PortFrame& frame, std::span<const Data> components, Date deadline);

private:
    using TimePoint = std::chrono::steady_clock::time_point;

    Outcome sendInline(const PortFrame& frame, std::span<const Data> components, Date deadline);
    Outcome sendShared(const PortFrame& frame, std::span<const Data> components, Date deadline);
    Outcome sendPacket(const msghdr& packet, Date deadline);
    std::optional<Outcome> tryToSend(const msghdr& packet);
    std::optional<Outcome> waitForRoom(std::size_t bytes, Date deadline);
    std::optional<Outcome> waitUntilAllIsRead(TimePoint deadline);
    bool allIsRead() const;

    FileDescriptor socket_;
    std::size_t unreadSharedBytes_ = 0; // at most: sent since the peer was last seen to have read everything
};

} // namespace kitwell::platform
