#pragma once

#include <functional>
#include <memory>
#include <set>
#include <string_view>
#include <sys/types.h>
#include <vector>

#include "KitwellPlatform/Files/FileDescriptor.h"
#include "KitwellPlatform/Ports/PacketReader.h"
#include "KitwellPlatform/Ports/Port.h"
#include "KitwellPlatform/Ports/PublishedName.h"
#include "KitwellPlatform/RunLoop/RunLoop.h"

namespace kitwell::platform {

// The receiving side of a port: its published names, the connections that came in through them, and the
// delivery of their messages. A handler may close the port or drop the last hold on it. Belongs to the thread
// that made it.
class ReceivePort : public std::enable_shared_from_this<ReceivePort> {
public:
    explicit ReceivePort(Port::MessageHandler handler);
    ~ReceivePort();
    ReceivePort(const ReceivePort&) = delete;
    ReceivePort& operator=(const ReceivePort&) = delete;

    // False when the system does not let the run loop hear of the name's clients: it is then free again.
    bool publish(PublishedName name);
    void addTo(RunLoop& loop);
    void removeFrom(RunLoop& loop);
    void close();

    // Takes the name from the port of this thread that has it; false when none has. Peers that found it stay.
    static bool withdraw(std::string_view name);
    // Delivers all that a dead process has sent to the ports of this thread, so that its death is told last.
    static void deliverLastWordsOf(pid_t process);

private:
    struct Listener {
        PublishedName name;
        RunLoop::Source source;
    };
    struct Connection {
        FileDescriptor socket;
        pid_t peer = 0;
        RunLoop::Source source;
    };
    using ThreadPorts = std::vector<ReceivePort*>;

    static std::shared_ptr<ThreadPorts> portsOfThisThread();
    void watch(Listener& listener);
    void watchListeners();
    void watch(const std::shared_ptr<Connection>& connection);
    bool acceptFrom(int listener);
    void acceptAllFrom(int listener);
    void admit(FileDescriptor socket);
    void refuseClient(int listener);
    void pause();
    void deliverFrom(const std::shared_ptr<Connection>& connection, int limit);
    void drop(const std::shared_ptr<Connection>& connection);
    bool removeName(std::string_view name);

    Port::MessageHandler handler_;
    PacketReader reader_;
    RunLoop* loop_ = nullptr; // while messages are delivered
    std::vector<std::unique_ptr<Listener>> listeners_;
    std::set<std::shared_ptr<Connection>> connections_;
    FileDescriptor spare_; // given up to refuse a client when no other descriptor is left
    Timer retry_;
    std::shared_ptr<ThreadPorts> siblings_;
};

} // namespace kitwell::platform
