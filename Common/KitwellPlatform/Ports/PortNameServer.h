#pragma once

#include <memory>
#include <string_view>

#include "KitwellPlatform/Export.h"
#include "KitwellPlatform/Ports/Port.h"

namespace kitwell::platform {

// Publishes ports of this user's processes under names and finds them. A name is one plain path component of
// at most 80 bytes; any other name is never registered and never found. Only processes of the same user reach
// each other.
class PLATFORM_API PortNameServer {
public:
    static PortNameServer& systemDefault();

    // False when the name is taken by a living port, of this or another process, or cannot be published. A
    // name whose owner died is free.
    bool registerPort(const std::shared_ptr<Port>& port, std::string_view name);
    // Withdraws a name that this thread registered; anything else is left alone. The port stays valid, and
    // peers that have found it go on.
    bool removePortForName(std::string_view name);
    // A send port to the living owner of the name, or null. Each call makes a port of its own.
    std::shared_ptr<Port> portForName(std::string_view name);

private:
    PortNameServer() = default;
};

} // namespace kitwell::platform
