#include "KitwellPlatform/RunLoop/DistributedNotificationCenter.h"

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <mutex>
#include <string>
#include <sys/socket.h>
#include <sys/stat.h>

#include "KitwellPlatform/Files/FileDescriptor.h"
#include "KitwellPlatform/Files/FileUrl.h"
#include "KitwellPlatform/Files/SocketFolder.h"
#include "KitwellPlatform/Logging/Log.h"
#include "KitwellPlatform/Machine/ProcessName.h"
#include "KitwellPlatform/RunLoop/RunLoop.h"

// One folder for each name, with one datagram socket for each subscription. A notification is an empty
// datagram to every socket of the folder. The folders are the user's own, 0700: no other user reaches a
// socket.

namespace kitwell::platform {

namespace {

constexpr std::size_t kMaxNameBytes = 80;
// So many datagrams are taken before their observer is told: a poster that never stops must not hold up the
// loop.
constexpr int kDatagramsInTurn = 1024;

bool isNotificationName(std::string_view name) {
    return isPlainFileName(name) && name.size() <= kMaxNameBytes;
}

Result<SocketFolder> folderOf(std::string_view name, SocketFolder::Missing missing) {
    return SocketFolder::open("notifications/" + std::string(name), missing);
}

FileDescriptor newSocket() {
    return FileDescriptor(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
}

// Never used twice on this machine, so that whoever removes the name of a dead observer removes that one.
std::string newSocketName() {
    static std::atomic<std::uint64_t> count = 0;
    return uniqueProcessName() + "-" + std::to_string(++count);
}

bool isHidden(std::string_view name) {
    return name.starts_with('.');
}

// A socket has its name a moment before it can receive, and a poster in that moment would take it for dead:
// it is bound under a hidden name, which posters pass over.
Result<FileDescriptor> bindIn(const SocketFolder& folder, const std::string& name) {
    FileDescriptor socket = newSocket();
    const std::string hidden = "." + name;
    if (!socket || ::fchmod(socket.get(), 0600) != 0 || !folder.bind(socket, hidden) ||
        !folder.rename(hidden, name))
        return systemError("bind the notification socket " + name, errno);
    return socket;
}

void drain(int socket) {
    for (int taken = 0; taken < kDatagramsInTurn; ++taken) {
        if (::recv(socket, nullptr, 0, MSG_DONTWAIT) < 0)
            return;
    }
}

// A full queue is a success: what waits in it has not been told yet, and will be after this. But the room of
// the sending socket counts, too, until its datagrams are read, and only a new socket is known to have room.
bool deliver(FileDescriptor& socket, const SocketFolder& folder, const std::string& name) {
    if (folder.sendEmpty(socket, name))
        return true;
    if (errno != EAGAIN)
        return false;
    socket = newSocket();
    return folder.sendEmpty(socket, name) || errno == EAGAIN;
}

Result<void> deliverToAll(const SocketFolder& folder) {
    FileDescriptor socket = newSocket();
    if (!socket)
        return systemError("open a socket to notify with", errno);
    Result<void> outcome;
    for (const std::string& name : folder.names()) {
        if (isHidden(name) || deliver(socket, folder, name))
            continue;
        if (errno == ECONNREFUSED)
            folder.remove(name);
        else if (errno != ENOENT)
            outcome = systemError("notify " + name, errno);
    }
    return outcome;
}

Result<void> deliverToAll(std::string_view name) {
    const auto folder = folderOf(name, SocketFolder::Missing::Refuse);
    if (folder)
        return deliverToAll(*folder);
    return folder.error().code == ENOENT ? Result<void>() : folder.error();
}

} // namespace

struct DistributedNotificationCenter::Subscription::State {
    State(SocketFolder folderOfName, std::string nameOfSocket, FileDescriptor boundSocket)
        : folder(std::move(folderOfName)), socketName(std::move(nameOfSocket)),
          socket(std::move(boundSocket)) {}
    State(const State&) = delete;
    State& operator=(const State&) = delete;
    ~State() { folder.remove(socketName); }

    static Result<std::unique_ptr<State>> make(std::string_view name, Handler handler);

    SocketFolder folder;
    std::string socketName;
    FileDescriptor socket;
    RunLoop::Source source; // ends before its descriptor closes
};

using Subscription = DistributedNotificationCenter::Subscription;

Result<std::unique_ptr<Subscription::State>> Subscription::State::make(std::string_view name,
                                                                       Handler handler) {
    auto folder = folderOf(name, SocketFolder::Missing::Create);
    if (!folder)
        return folder.error();
    std::string socketName = newSocketName();
    auto bound = bindIn(*folder, socketName);
    if (!bound)
        return bound.error();
    const int descriptor = bound->get();
    auto state = std::make_unique<State>(*std::move(folder), std::move(socketName), *std::move(bound));
    state->source = RunLoop::current().watch(
        descriptor, RunLoop::Interest::Readable, RunLoopModes::Common,
        [descriptor, name = std::string(name), handler = std::move(handler)](RunLoop::Events) {
            drain(descriptor);
            handler(name); // may end the subscription: nothing of it is used from here on
        });
    if (!state->source)
        return systemError("watch for the notification " + std::string(name), errno);
    return state;
}

Subscription::Subscription() = default;
Subscription::Subscription(Subscription&&) noexcept = default;
Subscription& Subscription::operator=(Subscription&&) noexcept = default;
Subscription::~Subscription() = default;

DistributedNotificationCenter& DistributedNotificationCenter::defaultCenter() {
    static DistributedNotificationCenter center;
    return center;
}

Subscription DistributedNotificationCenter::observe(std::string_view name, Handler handler) {
    Subscription subscription;
    if (!isNotificationName(name))
        return subscription;
    if (auto state = Subscription::State::make(name, std::move(handler)))
        subscription.state_ = *std::move(state);
    else
        writeLogLine(state.error().description);
    return subscription;
}

void DistributedNotificationCenter::post(std::string_view name) {
    if (!isNotificationName(name))
        return;
    const auto delivered = deliverToAll(name);
    static std::once_flag isLogged; // the reason lasts, and posting is frequent
    if (!delivered)
        std::call_once(isLogged, writeLogLine, delivered.error().description);
}

} // namespace kitwell::platform
