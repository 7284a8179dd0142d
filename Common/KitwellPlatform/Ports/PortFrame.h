#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

#include "KitwellPlatform/Export.h"
#include "KitwellPlatform/Ports/PortMessage.h"
#include "KitwellPlatform/Values/Result.h"

namespace kitwell::platform {

// Up to this much, copying the content through the socket is cheaper than handing over shared memory.
inline constexpr std::size_t kMaxInlineBytes = 128U << 10;

// Where the content of a message, its components one after the other, travels: behind the header in the same
// packet, or in one sealed memory file that comes with the packet.
enum class ContentPlace : std::uint32_t { Inline = 0, SharedMemory = 1 };

// The head of every packet, in the byte order of the machine, since both ends are on it. On the wire
// `lengths` has `count` entries. Documentation/ports.md draws it.
struct PortFrame {
    static constexpr std::uint32_t kMark = 0x3150574B; // "KWP1": who speaks, and in which version
    static constexpr std::size_t kFixedBytes = 16;

    std::uint32_t mark = kMark;
    std::uint32_t msgid = 0;
    std::uint32_t count = 0;
    ContentPlace place = ContentPlace::Inline;
    std::array<std::uint32_t, kMaxMessageComponents> lengths{};

    // The frame for a message; an error when the message is beyond the bounds of a message.
    static Result<PortFrame> forMessage(const PortMessage& message);
    // Reads the head of a packet that came with so many descriptors. Whatever is answered without an error
    // keeps all bounds, and its lengths match what came.
    PLATFORM_API static Result<PortFrame> decode(std::span<const std::byte> packet,
                                                 std::size_t descriptorCount);

    std::size_t headerBytes() const { return kFixedBytes + count * sizeof(std::uint32_t); }
    PLATFORM_API std::size_t contentBytes() const;
    // The message whose content these bytes are. Its components share `owner`.
    PortMessage messageFrom(const std::shared_ptr<const void>& owner,
                            std::span<const std::byte> content) const;
};
static_assert(sizeof(PortFrame) == PortFrame::kFixedBytes + kMaxMessageComponents * sizeof(std::uint32_t));

inline constexpr std::size_t kMaxPacketBytes = sizeof(PortFrame) + kMaxInlineBytes;

} // namespace kitwell::platform
