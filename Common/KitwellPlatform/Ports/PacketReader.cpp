#include "KitwellPlatform/Ports/PacketReader.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <sys/socket.h>

#include "KitwellPlatform/Ports/PortFrame.h"
#include "KitwellPlatform/Ports/SealedMemory.h"

namespace kitwell::platform {

namespace {

// Hands each descriptor that came with the packet to `take`, as its owner.
template <class Take>
void forEachDescriptor(msghdr& header, Take take) {
    for (cmsghdr* part = CMSG_FIRSTHDR(&header); part; part = CMSG_NXTHDR(&header, part)) {
        if (part->cmsg_level != SOL_SOCKET || part->cmsg_type != SCM_RIGHTS)
            continue;
        const std::size_t count = (part->cmsg_len - CMSG_LEN(0)) / sizeof(int);
        for (std::size_t index = 0; index < count; ++index) {
            int descriptor = -1;
            std::memcpy(&descriptor, CMSG_DATA(part) + index * sizeof(int), sizeof(int));
            take(FileDescriptor(descriptor));
        }
    }
}

std::shared_ptr<const void> copyOf(std::span<const std::byte> bytes) {
    if (bytes.empty())
        return nullptr;
    std::shared_ptr<std::byte[]> copy = std::make_shared_for_overwrite<std::byte[]>(bytes.size());
    std::memcpy(copy.get(), bytes.data(), bytes.size());
    return copy;
}

PortMessage messageIn(const PortFrame& frame, const std::shared_ptr<const void>& owner) {
    const std::span content(static_cast<const std::byte*>(owner.get()), frame.contentBytes());
    return frame.messageFrom(owner, content);
}

} // namespace

PacketReader::PacketReader() : buffer_(std::make_unique_for_overwrite<std::byte[]>(kMaxPacketBytes)) {}

PacketReader::Outcome PacketReader::read(int socket, PortMessage& message) {
    Packet packet;
    const Outcome received = receive(socket, packet);
    return received == Outcome::Message ? decode(packet, message) : received;
}

PacketReader::Outcome PacketReader::receive(int socket, Packet& packet) {
    iovec place{buffer_.get(), kMaxPacketBytes};
    alignas(cmsghdr) std::array<std::byte, CMSG_SPACE(sizeof(int))> control;
    msghdr header{};
    header.msg_iov = &place;
    header.msg_iovlen = 1;
    header.msg_control = control.data();
    header.msg_controllen = control.size();
    ssize_t count = -1;
    // A reset is told before the last packets of a peer that died: they are still there.
    while ((count = ::recvmsg(socket, &header, MSG_DONTWAIT | MSG_CMSG_CLOEXEC)) < 0 &&
           (errno == EINTR || errno == ECONNRESET)) {
    }
    if (count < 0)
        return errno == EAGAIN ? Outcome::Nothing : Outcome::End;
    // Before anything is judged: even an empty packet, which looks like the end, may have brought some.
    forEachDescriptor(header, [&](FileDescriptor descriptor) {
        if (packet.descriptorCount++ == 0)
            packet.memory = std::move(descriptor);
    });
    if ((header.msg_flags & (MSG_TRUNC | MSG_CTRUNC)) != 0)
        return malformed("the packet or its list of descriptors was cut short");
    if (count == 0)
        return packet.descriptorCount == 0 ? Outcome::End
                                           : malformed("descriptors came with an empty packet");
    packet.bytes = {buffer_.get(), static_cast<std::size_t>(count)};
    return Outcome::Message;
}

PacketReader::Outcome PacketReader::decode(const Packet& packet, PortMessage& message) {
    const Result<PortFrame> frame = PortFrame::decode(packet.bytes, packet.descriptorCount);
    if (!frame)
        return malformed(frame.error().description);
    if (frame->place == ContentPlace::Inline) {
        message = messageIn(*frame, copyOf(packet.bytes.subspan(frame->headerBytes())));
        return Outcome::Message;
    }
    auto memory = mapSealedMemory(packet.memory.get(), frame->contentBytes());
    if (!memory)
        return malformed(memory.error().description);
    message = messageIn(*frame, *memory);
    return Outcome::Message;
}

PacketReader::Outcome PacketReader::malformed(std::string fault) {
    fault_ = std::move(fault);
    return Outcome::Malformed;
}

} // namespace kitwell::platform
