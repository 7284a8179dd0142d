#include "KitwellPlatform/Ports/ReceivePort.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <fcntl.h>
#include <sys/socket.h>

#include "KitwellPlatform/Logging/Log.h"
#include "KitwellPlatform/Ports/PeerCredentials.h"
#include "KitwellPlatform/Values/Text.h"

namespace kitwell::platform {

namespace {

constexpr int kMessagesInTurn = 16; // of one connection, so that a busy sender does not starve the others
constexpr int kLastWords = 1024;    // more than the queue of a connection holds
constexpr std::chrono::milliseconds kPauseWithoutResources{100};

FileDescriptor spareDescriptor() {
    return FileDescriptor(::open("/dev/null", O_RDONLY | O_CLOEXEC));
}

FileDescriptor acceptClient(int listener) {
    return FileDescriptor(::accept4(listener, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
}

} // namespace

ReceivePort::ReceivePort(Port::MessageHandler handler)
    : handler_(std::move(handler)), spare_(spareDescriptor()), siblings_(portsOfThisThread()) {
    siblings_->push_back(this);
}

ReceivePort::~ReceivePort() {
    std::erase(*siblings_, this);
}

// Shared, since a port may go after its thread's own data.
std::shared_ptr<ReceivePort::ThreadPorts> ReceivePort::portsOfThisThread() {
    thread_local const auto ports = std::make_shared<ThreadPorts>();
    return ports;
}

bool ReceivePort::publish(PublishedName name) {
    auto listener = std::make_unique<Listener>(Listener{std::move(name), {}});
    if (loop_) {
        watch(*listener);
        if (!listener->source)
            return false;
    }
    listeners_.push_back(std::move(listener));
    return true;
}

void ReceivePort::addTo(RunLoop& loop) {
    if (loop_)
        removeFrom(*loop_);
    loop_ = &loop;
    watchListeners();
    for (const auto& connection : connections_)
        watch(connection);
    std::erase_if(connections_, [](const auto& connection) { return !connection->source; });
}

void ReceivePort::removeFrom(RunLoop& loop) {
    if (loop_ != &loop)
        return;
    loop_ = nullptr;
    retry_.end();
    for (const auto& listener : listeners_)
        listener->source.end();
    for (const auto& connection : connections_)
        connection->source.end();
}

void ReceivePort::close() {
    if (loop_)
        removeFrom(*loop_);
    listeners_.clear();
    for (const auto& connection : connections_)
        connection->socket.reset();
    connections_.clear();
}

void ReceivePort::watch(Listener& listener) {
    const int descriptor = listener.name.listener();
    listener.source = loop_->watch(descriptor, RunLoop::Interest::Readable, RunLoopModes::Common,
                                   [this, descriptor](RunLoop::Events) { acceptFrom(descriptor); });
}

void ReceivePort::watchListeners() {
    for (const auto& listener : listeners_)
        watch(*listener);
    if (std::ranges::any_of(listeners_, [](const auto& listener) { return !listener->source; }))
        pause();
}

void ReceivePort::watch(const std::shared_ptr<Connection>& connection) {
    connection->source = loop_->watch(
        connection->socket.get(), RunLoop::Interest::Readable, RunLoopModes::Common,
        [this, weak = std::weak_ptr(connection)](RunLoop::Events) {
            if (const auto held = weak.lock())
                deliverFrom(held, kMessagesInTurn);
        },
        RunLoop::Reentrancy::Allowed);
}

// One at a time: the next turn sees whether there are more. False when there was none to take.
bool ReceivePort::acceptFrom(int listener) {
    FileDescriptor socket = acceptClient(listener);
    if (socket) {
        admit(std::move(socket));
        return true;
    }
    if (errno == EMFILE || errno == ENFILE)
        refuseClient(listener);
    else if (errno != EAGAIN && errno != EINTR && errno != ECONNABORTED)
        pause();
    return false;
}

void ReceivePort::acceptAllFrom(int listener) {
    while (acceptFrom(listener)) {
    }
}

void ReceivePort::admit(FileDescriptor socket) {
    const auto peer = PeerCredentials::of(socket.get());
    if (!peer.isSameUser) {
        writeLogLine(formatText("refused process %d of another user at a port", peer.process));
        return;
    }
    const auto connection =
        std::make_shared<Connection>(Connection{std::move(socket), peer.process, RunLoop::Source()});
    if (loop_) {
        watch(connection);
        if (!connection->source)
            return;
    }
    connections_.insert(connection);
}

// A client that is left in the queue would wake the loop for ever.
void ReceivePort::refuseClient(int listener) {
    spare_.reset();
    const bool refused = static_cast<bool>(acceptClient(listener));
    spare_ = spareDescriptor();
    writeLogLine("refused a client at a port: no descriptor is left");
    if (!refused)
        pause();
}

void ReceivePort::pause() {
    if (!loop_)
        return;
    for (const auto& listener : listeners_)
        listener->source.end();
    retry_ = Timer::once(*loop_, kPauseWithoutResources, RunLoopModes::Common, [this] { watchListeners(); });
}

void ReceivePort::deliverFrom(const std::shared_ptr<Connection>& connection, int limit) {
    const auto self = shared_from_this(); // a handler may drop the port
    for (int count = 0; count < limit && loop_ && connection->socket; ++count) {
        PortMessage message;
        switch (reader_.read(connection->socket.get(), message)) {
        case PacketReader::Outcome::Message:
            handler_(message);
            break;
        case PacketReader::Outcome::Nothing:
            return;
        case PacketReader::Outcome::End:
            drop(connection);
            return;
        case PacketReader::Outcome::Malformed:
            writeLogLine(formatText("cut off process %d at a port: %@", connection->peer, reader_.fault()));
            drop(connection);
            return;
        }
    }
}

void ReceivePort::drop(const std::shared_ptr<Connection>& connection) {
    connection->source.end();
    connection->socket.reset();
    connections_.erase(connection);
}

bool ReceivePort::withdraw(std::string_view name) {
    const auto ports = portsOfThisThread();
    return std::ranges::any_of(*ports, [&](ReceivePort* port) { return port->removeName(name); });
}

bool ReceivePort::removeName(std::string_view name) {
    const auto found =
        std::ranges::find_if(listeners_, [&](const auto& listener) { return listener->name.name() == name; });
    if (found == listeners_.end())
        return false;
    acceptAllFrom((*found)->name.listener());
    listeners_.erase(found);
    return true;
}

void ReceivePort::deliverLastWordsOf(pid_t process) {
    std::vector<std::weak_ptr<ReceivePort>> ports;
    for (ReceivePort* const port : *portsOfThisThread())
        ports.push_back(port->weak_from_this());
    for (const auto& weak : ports) {
        const auto port = weak.lock();
        if (!port || !port->loop_)
            continue;
        for (const auto& listener : port->listeners_)
            port->acceptAllFrom(listener->name.listener());
        const auto connections = port->connections_;
        for (const auto& connection : connections)
            if (connection->peer == process)
                port->deliverFrom(connection, kLastWords);
    }
}

} // namespace kitwell::platform
