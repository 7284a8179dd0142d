#include "KitwellPlatform/Ports/PublishedName.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <optional>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include "KitwellPlatform/Files/FileUrl.h"
#include "KitwellPlatform/Files/SearchPaths.h"

namespace kitwell::platform {

namespace {

constexpr std::size_t kMaxNameBytes = 80;
constexpr int kBacklog = 4096;
constexpr timeval kConnectLimit{1, 0};

Result<std::string> portFolder() {
    auto runtime = SearchPaths::runtimeFolder();
    return runtime ? *std::move(runtime) + "/ports" : std::move(runtime);
}

// Made when missing. Nobody else can have planted it: its parent is this user's alone.
Result<FileDescriptor> openPortFolder(const std::string& path) {
    constexpr int kFlags = O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;
    FileDescriptor folder(::open(path.c_str(), kFlags));
    if (!folder && errno == ENOENT && (::mkdir(path.c_str(), 0700) == 0 || errno == EEXIST))
        folder.reset(::open(path.c_str(), kFlags));
    if (!folder)
        return systemError("open " + path, errno);
    return folder;
}

std::string socketName(std::string_view name) {
    return std::string(name) + ".port";
}

// A path that is short however deep the folder lies: a socket's address holds 107 bytes.
std::string pathIn(const FileDescriptor& folder, const std::string& name) {
    return "/proc/self/fd/" + std::to_string(folder.get()) + "/" + name;
}

std::optional<sockaddr_un> addressFor(const std::string& path) {
    sockaddr_un address{};
    if (path.size() >= sizeof address.sun_path) {
        errno = ENAMETOOLONG;
        return std::nullopt;
    }
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, path.data(), path.size());
    return address;
}

FileDescriptor newSocket() {
    return FileDescriptor(::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
}

bool bindTo(const FileDescriptor& socket, const std::string& path) {
    const auto address = addressFor(path);
    return address &&
           ::bind(socket.get(), reinterpret_cast<const sockaddr*>(&*address), sizeof *address) == 0;
}

// The socket gets its final name only when it listens: whoever finds the name is served. What a dead owner
// left is replaced, so that the name is never missing in between.
Result<FileDescriptor> listenIn(const FileDescriptor& folder, std::string_view name) {
    FileDescriptor socket = newSocket();
    const std::string temporary = std::string(name) + ".new";
    ::unlinkat(folder.get(), temporary.c_str(), 0);
    const bool listens =
        socket && ::fchmod(socket.get(), 0600) == 0 && bindTo(socket, pathIn(folder, temporary)) &&
        ::listen(socket.get(), kBacklog) == 0 &&
        ::renameat(folder.get(), temporary.c_str(), folder.get(), socketName(name).c_str()) == 0;
    if (!listens)
        return systemError("publish the port name " + std::string(name), errno);
    return socket;
}

bool tryToConnect(const FileDescriptor& socket, const sockaddr_un& address) {
    int result = -1;
    while ((result = ::connect(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address)) !=
               0 &&
           errno == EINTR) {
    }
    return result == 0;
}

// A full backlog gives nothing to wait on but a blocking connect. One that stays full belongs to a process
// that hangs.
bool connectTo(const FileDescriptor& socket, const sockaddr_un& address) {
    if (tryToConnect(socket, address))
        return true;
    return errno == EAGAIN && ::fcntl(socket.get(), F_SETFL, 0) == 0 &&
           ::setsockopt(socket.get(), SOL_SOCKET, SO_SNDTIMEO, &kConnectLimit, sizeof kConnectLimit) == 0 &&
           tryToConnect(socket, address);
}

bool connectIn(const std::string& folder, const std::string& name, const FileDescriptor& socket) {
    if (const auto address = addressFor(folder + "/" + name))
        return connectTo(socket, *address);
    const auto opened = openPortFolder(folder);
    const auto address = opened ? addressFor(pathIn(*opened, name)) : std::nullopt;
    return address && connectTo(socket, *address);
}

} // namespace

bool isPortName(std::string_view name) {
    return isPlainFileName(name) && name.size() <= kMaxNameBytes;
}

Result<PublishedName> PublishedName::claim(std::string_view name) {
    const auto path = portFolder();
    if (!path)
        return path.error();
    auto folder = openPortFolder(*path);
    if (!folder)
        return folder.error();
    auto lock = LockedFile::lockFile(pathIn(*folder, std::string(name) + ".lock"), LockedFile::Wait::Briefly);
    if (!lock)
        return lock.error();
    auto listener = listenIn(*folder, name);
    if (!listener)
        return listener.error();
    return PublishedName(*std::move(folder), std::string(name), *std::move(lock), *std::move(listener));
}

PublishedName::PublishedName(FileDescriptor folder, std::string name, LockedFile lock,
                             FileDescriptor listener)
    : folder_(std::move(folder)), name_(std::move(name)), lock_(std::move(lock)),
      listener_(std::move(listener)) {}

// The name goes while the lock is still held: what is removed is certainly our own.
PublishedName::~PublishedName() {
    if (listener_)
        ::unlinkat(folder_.get(), socketName(name_).c_str(), 0);
}

Result<FileDescriptor> connectToPublishedName(std::string_view name) {
    const auto folder = portFolder();
    if (!folder)
        return folder.error();
    FileDescriptor socket = newSocket();
    if (!socket || !connectIn(*folder, socketName(name), socket))
        return systemError("reach the port " + std::string(name), errno);
    return socket;
}

} // namespace kitwell::platform
