#pragma once

#include <cstddef>
#include <memory>
#include <span>
#include <string>

#include "KitwellPlatform/Files/FileDescriptor.h"
#include "KitwellPlatform/Ports/PortMessage.h"

namespace kitwell::platform {

// Takes messages from connected sockets. What comes may come from anyone: nothing is believed before it was
// checked, and every descriptor that came along is closed, wanted or not. One thread at a time.
class PacketReader {
public:
    enum class Outcome {
        Message,   // `message` holds the next one
        Nothing,   // there is none for now
        End,       // the peer is gone and all it sent has been read
        Malformed, // the peer does not keep to the format; `fault` says how
    };

    PacketReader();
    Outcome read(int socket, PortMessage& message);
    const std::string& fault() const { return fault_; }

private:
    struct Packet {
        std::span<const std::byte> bytes;
        FileDescriptor memory; // the first of the descriptors
        std::size_t descriptorCount = 0;
    };

    Outcome receive(int socket, Packet& packet);
    Outcome decode(const Packet& packet, PortMessage& message);
    Outcome malformed(std::string fault);

    std::unique_ptr<std::byte[]> buffer_; // empty between two calls: handlers may read from inside handlers
    std::string fault_;
};

} // namespace kitwell::platform
