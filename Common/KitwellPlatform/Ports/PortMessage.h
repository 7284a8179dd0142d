#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "KitwellPlatform/Export.h"
#include "KitwellPlatform/Values/Data.h"
#include "KitwellPlatform/Values/Date.h"

namespace kitwell::platform {

class Port;

// What a message may carry at most. A sender that breaks these bounds gets an exception; a peer that does is
// cut off.
inline constexpr std::size_t kMaxMessageComponents = 16;
inline constexpr std::size_t kMaxMessageBytes = 64U << 20;

// A one-way message: an identifier and an ordered list of byte blocks.
struct PLATFORM_API PortMessage {
    std::uint32_t msgid = 0;
    std::vector<Data> components;

    // Queues the message at the peer, as a whole or not at all. True when it was queued, false when
    // `deadline` passed first or the system has no memory or descriptor for it (which is logged). Throws
    // PortException when the port is invalid (its process died, its owner invalidated it) or the message is
    // beyond the bounds above. Blocks its thread until the deadline at most; the loop does not run meanwhile.
    bool sendBeforeDate(Port& port, Date deadline) const;
};

} // namespace kitwell::platform
