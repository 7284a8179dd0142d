#include "KitwellPlatform/Ports/PortFrame.h"

#include <algorithm>
#include <numeric>

namespace kitwell::platform {

namespace {

Error portError(std::string description) {
    return {"ports", 0, std::move(description)};
}

bool isPlace(ContentPlace place) {
    return place == ContentPlace::Inline || place == ContentPlace::SharedMemory;
}

// One form for each size: nothing small may come as shared memory, where each message costs a mapping.
ContentPlace placeFor(std::size_t contentBytes) {
    return contentBytes <= kMaxInlineBytes ? ContentPlace::Inline : ContentPlace::SharedMemory;
}

Result<void> checkContent(const PortFrame& frame, std::size_t bytesBehindHeader,
                          std::size_t descriptorCount) {
    const std::size_t content = frame.contentBytes();
    if (content > kMaxMessageBytes)
        return portError("the components are longer than a message may be");
    if (frame.place != placeFor(content))
        return portError("the content is in the wrong place for its size");
    const bool isInline = frame.place == ContentPlace::Inline;
    if (bytesBehindHeader != (isInline ? content : 0))
        return portError("the packet's size does not match the lengths of the components");
    if (descriptorCount != (isInline ? 0 : 1))
        return portError("the packet came with the wrong number of descriptors");
    return {};
}

} // namespace

Result<PortFrame> PortFrame::forMessage(const PortMessage& message) {
    if (message.components.size() > kMaxMessageComponents)
        return portError("the message has more components than a port carries");
    PortFrame frame;
    frame.msgid = message.msgid;
    std::size_t total = 0;
    for (const Data& component : message.components) {
        if (component.size() > kMaxMessageBytes - total)
            return portError("the message is larger than a port carries");
        total += component.size();
        frame.lengths[frame.count++] = static_cast<std::uint32_t>(component.size());
    }
    frame.place = placeFor(total);
    return frame;
}

Result<PortFrame> PortFrame::decode(std::span<const std::byte> packet, std::size_t descriptorCount) {
    if (packet.size() < kFixedBytes)
        return portError("the packet is shorter than its header");
    PortFrame frame;
    const auto head = std::as_writable_bytes(std::span(&frame, 1));
    std::ranges::copy(packet.first(kFixedBytes), head.begin());
    if (frame.mark != kMark)
        return portError("the packet does not begin with the mark of this version");
    if (frame.count > kMaxMessageComponents)
        return portError("the packet claims too many components");
    if (!isPlace(frame.place))
        return portError("the packet's content is in no known place");
    if (packet.size() < frame.headerBytes())
        return portError("the packet ends within the lengths of the components");
    std::ranges::copy(packet.first(frame.headerBytes()), head.begin());
    if (auto checked = checkContent(frame, packet.size() - frame.headerBytes(), descriptorCount); !checked)
        return checked.error();
    return frame;
}

// Cannot overflow: sixteen times 32 bits.
std::size_t PortFrame::contentBytes() const {
    return std::accumulate(lengths.begin(), lengths.begin() + count, std::size_t{0});
}

PortMessage PortFrame::messageFrom(const std::shared_ptr<const void>& owner,
                                   std::span<const std::byte> content) const {
    PortMessage message{msgid, {}};
    message.components.reserve(count);
    for (std::uint32_t index = 0; index < count; ++index) {
        message.components.push_back(Data::sharing(owner, content.first(lengths[index])));
        content = content.subspan(lengths[index]);
    }
    return message;
}

} // namespace kitwell::platform
