#include <cstdint>
#include <cstdlib>
#include <span>

#include "KitwellPlatform/Ports/PortFrame.h"

// The first byte says how many descriptors came with the packet, the rest is the packet. What the decoder
// lets pass must keep all bounds that its callers rely on.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace kitwell::platform;
    if (size == 0)
        return 0;
    const auto packet = std::as_bytes(std::span(data + 1, size - 1));
    const auto frame = PortFrame::decode(packet, data[0]);
    if (!frame)
        return 0;
    const bool isInline = frame->place == ContentPlace::Inline;
    const std::size_t behindHeader = packet.size() - frame->headerBytes();
    if (frame->count > kMaxMessageComponents || frame->contentBytes() > kMaxMessageBytes ||
        behindHeader != (isInline ? frame->contentBytes() : 0) || data[0] != (isInline ? 0 : 1))
        std::abort();
    return 0;
}
