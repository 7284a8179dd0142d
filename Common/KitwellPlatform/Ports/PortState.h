#pragma once

#include <memory>
#include <optional>
#include <sys/types.h>

#include "KitwellPlatform/Ports/Port.h"
#include "KitwellPlatform/Ports/ReceivePort.h"
#include "KitwellPlatform/Ports/SendConnection.h"

namespace kitwell::platform {

// A port has one of the two sides.
struct Port::State {
    std::shared_ptr<ReceivePort> receiving;
    std::optional<SendConnection> sending;
    pid_t owner = 0; // of the port that is sent to
    RunLoop::Source death;
    bool isValid = true;
};

} // namespace kitwell::platform
