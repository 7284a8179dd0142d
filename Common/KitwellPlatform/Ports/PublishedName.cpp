#include "KitwellPlatform/Ports/PublishedName.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>

#include "KitwellPlatform/Files/FileUrl.h"

namespace kitwell::platform {

namespace {

constexpr char kPortFolder[] = "ports";
constexpr std::size_t kMaxNameBytes = 80;
constexpr int kBacklog = 4096;
constexpr timeval kConnectLimit{1, 0};

std::string socketName(std::string_view name) {
    return std::string(name) + ".port";
}

FileDescriptor newSocket() {
    return FileDescriptor(::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
}

// The socket gets its final name only when it listens: whoever finds the name is served. What a dead owner
// left is replaced, so that the name is never missing in between.
Result<FileDescriptor> listenIn(const SocketFolder& folder, std::string_view name) {
    FileDescriptor socket = newSocket();
    const std::string temporary = std::string(name) + ".new";
    folder.remove(temporary);
    const bool listens = socket && ::fchmod(socket.get(), 0600) == 0 && folder.bind(socket, temporary) &&
                         ::listen(socket.get(), kBacklog) == 0 && folder.rename(temporary, socketName(name));
    if (!listens)
        return systemError("publish the port name " + std::string(name), errno);
    return socket;
}

// A full backlog gives nothing to wait on but a blocking connect. One that stays full belongs to a process
// that hangs.
bool connectIn(const SocketFolder& folder, const std::string& name, const FileDescriptor& socket) {
    if (folder.connect(socket, name))
        return true;
    return errno == EAGAIN && ::fcntl(socket.get(), F_SETFL, 0) == 0 &&
           ::setsockopt(socket.get(), SOL_SOCKET, SO_SNDTIMEO, &kConnectLimit, sizeof kConnectLimit) == 0 &&
           // cppcheck-suppress identicalConditionAfterEarlyExit; // the socket waits now
           folder.connect(socket, name);
}

} // namespace

bool isPortName(std::string_view name) {
    return isPlainFileName(name) && name.size() <= kMaxNameBytes;
}

Result<PublishedName> PublishedName::claim(std::string_view name) {
    auto folder = SocketFolder::open(kPortFolder, SocketFolder::Missing::Create);
    if (!folder)
        return folder.error();
    auto lock = LockedFile::lockFile(folder->pathOf(std::string(name) + ".lock"), LockedFile::Wait::Briefly);
    if (!lock)
        return lock.error();
    auto listener = listenIn(*folder, name);
    if (!listener)
        return listener.error();
    return PublishedName(*std::move(folder), std::string(name), *std::move(lock), *std::move(listener));
}

PublishedName::PublishedName(SocketFolder folder, std::string name, LockedFile lock, FileDescriptor listener)
    : folder_(std::move(folder)), name_(std::move(name)), lock_(std::move(lock)),
      listener_(std::move(listener)) {}

// The name goes while the lock is still held: what is removed is certainly our own.
PublishedName::~PublishedName() {
    if (listener_)
        folder_.remove(socketName(name_));
}

Result<FileDescriptor> connectToPublishedName(std::string_view name) {
    const auto folder = SocketFolder::open(kPortFolder, SocketFolder::Missing::Refuse);
    if (!folder)
        return folder.error();
    FileDescriptor socket = newSocket();
    if (!socket || !connectIn(*folder, socketName(name), socket))
        return systemError("reach the port " + std::string(name), errno);
    return socket;
}

} // namespace kitwell::platform
