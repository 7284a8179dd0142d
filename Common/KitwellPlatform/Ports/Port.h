#pragma once

#include <functional>
#include <memory>

#include "KitwellPlatform/Export.h"
#include "KitwellPlatform/Files/FileDescriptor.h"
#include "KitwellPlatform/Ports/PortException.h"
#include "KitwellPlatform/Ports/PortMessage.h"
#include "KitwellPlatform/RunLoop/RunLoop.h"

namespace kitwell::platform {

// Posted to the default notification centre, with the port as its object, when a looked-up port's owner is
// gone: the process died, or it withdrew the port. Also posted by `invalidate`. Once for each port.
inline constexpr char kPortDidBecomeInvalidNotification[] = "PortDidBecomeInvalidNotification";

// One end of the traffic: either a receive port, which this process made and may publish under a name, or a
// send port, which the name server looked up. Belongs to the thread that made it or looked it up, on whose
// run loop messages and deaths are told, in the common modes.
class PLATFORM_API Port : public std::enable_shared_from_this<Port> {
public:
    using MessageHandler = std::function<void(const PortMessage&)>;

    // A new receive port. Messages reach `handler` one at a time in arrival order for each sender, once the
    // port has been added to a run loop; a handler that runs the loop itself is called again from within for
    // later messages.
    static std::shared_ptr<Port> receivePort(MessageHandler handler);

    ~Port();
    Port(const Port&) = delete;
    Port& operator=(const Port&) = delete;

    bool isValid() const;
    // Ends the traffic of this port for good and tells the observers. Peers of a receive port see it die.
    void invalidate();
    // Receive ports: begins or ends the delivery on the calling thread's loop, in the common modes.
    void addToRunLoop(RunLoop& loop);
    void removeFromRunLoop(RunLoop& loop);

    struct State;

private:
    friend class PortNameServer;
    friend struct PortMessage;
    explicit Port(std::unique_ptr<State> state);
    static std::shared_ptr<Port> make(std::unique_ptr<State> state);
    static std::shared_ptr<Port> sendPort(FileDescriptor socket, int owner);
    void ownerDied();
    std::unique_ptr<State> state_;
};

} // namespace kitwell::platform
