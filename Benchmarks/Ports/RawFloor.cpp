#include "Ports/RawFloor.h"

#include <array>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <sys/epoll.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace kitwell::benchmarks::raw {

namespace {

using platform::FileDescriptor;

struct Packet {
    std::uint32_t job = 0;
    std::uint32_t sender = 0;
    std::array<std::byte, 16 + kFirstBlock + kSecondBlock> rest{}; // as long as a packet of ours
};
static_assert(sizeof(Packet) == 92);

sockaddr_un addressOf(const std::string& path) {
    sockaddr_un address{AF_UNIX, {}};
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    return address;
}

FileDescriptor newSocket() {
    return FileDescriptor(::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0));
}

FileDescriptor listenOn(const std::string& path) {
    FileDescriptor socket = newSocket();
    const sockaddr_un address = addressOf(path);
    ::unlink(path.c_str());
    if (::bind(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
        ::listen(socket.get(), 4096) != 0)
        fail("cannot listen on " + path);
    return socket;
}

FileDescriptor connectTo(const std::string& path) {
    FileDescriptor socket = newSocket();
    const sockaddr_un address = addressOf(path);
    if (::connect(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
        fail("cannot connect to " + path);
    return socket;
}

void watch(int epoll, int descriptor, std::uint32_t events = EPOLLIN) {
    epoll_event event{events, {.fd = descriptor}};
    ::epoll_ctl(epoll, EPOLL_CTL_ADD, descriptor, &event);
}

FileDescriptor newEpoll() {
    return FileDescriptor(::epoll_create1(EPOLL_CLOEXEC));
}

void sendSmall(int socket, Job job, std::uint32_t sender = 0) {
    Packet packet;
    packet.job = static_cast<std::uint32_t>(job);
    packet.sender = sender;
    if (::send(socket, &packet, sizeof packet, MSG_NOSIGNAL) < 0)
        fail("cannot send");
}

void sendBlock(int socket, std::span<const std::byte> block) {
    const FileDescriptor file(::memfd_create("block", MFD_CLOEXEC | MFD_ALLOW_SEALING));
    if (::write(file.get(), block.data(), block.size()) != static_cast<ssize_t>(block.size()))
        fail("cannot fill a memory file");
    ::fcntl(file.get(), F_ADD_SEALS, F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_WRITE | F_SEAL_SEAL);
    Packet packet;
    packet.job = static_cast<std::uint32_t>(Job::Read);
    packet.sender = static_cast<std::uint32_t>(block.size());
    iovec part{&packet, sizeof packet};
    alignas(cmsghdr) std::array<std::byte, CMSG_SPACE(sizeof(int))> control{};
    msghdr header{};
    header.msg_iov = &part;
    header.msg_iovlen = 1;
    header.msg_control = control.data();
    header.msg_controllen = control.size();
    *CMSG_FIRSTHDR(&header) = {CMSG_LEN(sizeof(int)), SOL_SOCKET, SCM_RIGHTS};
    const int descriptor = file.get();
    std::memcpy(CMSG_DATA(CMSG_FIRSTHDR(&header)), &descriptor, sizeof descriptor);
    if (::sendmsg(socket, &header, MSG_NOSIGNAL) < 0)
        fail("cannot send");
}

// Answers false when there is nothing (more).
bool receive(int socket, Packet& packet, FileDescriptor& file) {
    iovec part{&packet, sizeof packet};
    alignas(cmsghdr) std::array<std::byte, CMSG_SPACE(sizeof(int))> control;
    msghdr header{};
    header.msg_iov = &part;
    header.msg_iovlen = 1;
    header.msg_control = control.data();
    header.msg_controllen = control.size();
    if (::recvmsg(socket, &header, MSG_CMSG_CLOEXEC | MSG_DONTWAIT) <= 0)
        return false;
    if (const cmsghdr* const rights = CMSG_FIRSTHDR(&header)) {
        int descriptor = -1;
        std::memcpy(&descriptor, CMSG_DATA(rights), sizeof descriptor);
        file.reset(descriptor);
    }
    return true;
}

void readBlock(const FileDescriptor& file, std::size_t size) {
    void* const address = ::mmap(nullptr, size, PROT_READ, MAP_PRIVATE, file.get(), 0);
    volatile double sink = readEveryPage({static_cast<const std::byte*>(address), size});
    static_cast<void>(sink);
    report(now());
    ::munmap(address, size);
}

// Does what the peer's next packet asks for; false at the end.
bool serve(int socket) {
    Packet packet;
    FileDescriptor file;
    if (!receive(socket, packet, file))
        return false;
    switch (static_cast<Job>(packet.job)) {
    case Job::Echo:
        sendSmall(socket, Job::Echo);
        break;
    case Job::Stamp:
        report(now());
        break;
    case Job::Read:
        readBlock(file, packet.sender);
        break;
    case Job::Count:
        break;
    }
    return true;
}

void playServer(const std::string& path) {
    const FileDescriptor listener = listenOn(path);
    const FileDescriptor epoll = newEpoll();
    watch(epoll.get(), listener.get());
    report(0);
    for (epoll_event event{}; ::epoll_wait(epoll.get(), &event, 1, -1) == 1;) {
        if (event.data.fd == listener.get())
            watch(epoll.get(), ::accept4(listener.get(), nullptr, nullptr, SOCK_CLOEXEC));
        else if (!serve(event.data.fd))
            ::close(event.data.fd);
    }
}

void playSender(const std::string& path, std::uint32_t number) {
    const FileDescriptor socket = connectTo(path);
    report(0);
    waitForGo();
    for (;;)
        sendSmall(socket.get(), Job::Count, number);
}

struct Server {
    explicit Server(const PrivateFolder& folder) : path(folder.path("raw")), partner("rawServer", {path}) {
        partner.hear();
    }
    std::string path;
    Partner partner;
};

// Takes what one connection has, at most sixteen packets, as an agent with many peers would.
void drain(int socket, FloodCounter& counter) {
    Packet packet;
    FileDescriptor file;
    for (int count = 0; count < 16 && receive(socket, packet, file); ++count)
        counter.add(packet.sender);
}

} // namespace

double smallOneWay(const PrivateFolder& folder) {
    Server server(folder);
    const FileDescriptor socket = connectTo(server.path);
    const FileDescriptor epoll = newEpoll();
    watch(epoll.get(), socket.get());
    const double start = now();
    for (int count = 0; count < kEchoes; ++count) {
        sendSmall(socket.get(), Job::Echo);
        epoll_event event{};
        Packet packet;
        ::epoll_wait(epoll.get(), &event, 1, -1);
        if (::recv(socket.get(), &packet, sizeof packet, 0) <= 0)
            fail("no echo");
    }
    return (now() - start) / (2.0 * kEchoes);
}

double blockOneWay(const PrivateFolder& folder, std::size_t size) {
    Server server(folder);
    const FileDescriptor socket = connectTo(server.path);
    const std::vector<std::byte> block(size, std::byte{1});
    std::vector<double> times;
    for (int count = 0; count < kBlocks; ++count) {
        const double start = now();
        sendBlock(socket.get(), block);
        times.push_back(server.partner.hear() - start);
    }
    return medianOf(times);
}

double connectAndFirstMessage(const PrivateFolder& folder) {
    Server server(folder);
    std::vector<FileDescriptor> sockets;
    std::vector<double> times;
    for (int count = 0; count < kLookups; ++count) {
        const double start = now();
        sockets.push_back(connectTo(server.path));
        sendSmall(sockets.back().get(), Job::Stamp);
        times.push_back(server.partner.hear() - start);
    }
    return medianOf(times);
}

double death(const PrivateFolder& folder) {
    Server server(folder);
    const FileDescriptor socket = connectTo(server.path);
    const FileDescriptor epoll = newEpoll();
    watch(epoll.get(), socket.get(), 0);
    sendSmall(socket.get(), Job::Stamp);
    server.partner.hear();
    const double start = now();
    ::kill(server.partner.pid(), SIGKILL);
    epoll_event event{};
    ::epoll_wait(epoll.get(), &event, 1, -1);
    return now() - start;
}

Flood flood(const PrivateFolder& folder, std::size_t senders) {
    const FileDescriptor listener = listenOn(folder.path("flood"));
    const FileDescriptor epoll = newEpoll();
    std::vector<FileDescriptor> sockets;
    std::vector<Partner> partners; // end before the sockets that they send to
    for (std::size_t number = 0; number < senders; ++number) {
        partners.emplace_back("rawSender", std::vector{folder.path("flood"), std::to_string(number)});
        partners.back().hear();
        sockets.emplace_back(::accept4(listener.get(), nullptr, nullptr, SOCK_CLOEXEC));
        watch(epoll.get(), sockets.back().get());
    }
    for (Partner& partner : partners)
        partner.go();
    FloodCounter counter(senders);
    std::array<epoll_event, 64> events;
    while (!counter.isDone()) {
        const int count = ::epoll_wait(epoll.get(), events.data(), static_cast<int>(events.size()), -1);
        for (int index = 0; index < count; ++index)
            drain(events[static_cast<std::size_t>(index)].data.fd, counter);
    }
    return counter.result();
}

bool play(const std::string& role, const std::vector<std::string>& arguments) {
    if (role == "rawServer")
        playServer(arguments.at(0));
    else if (role == "rawSender")
        playSender(arguments.at(0), static_cast<std::uint32_t>(std::stoul(arguments.at(1))));
    else
        return false;
    return true;
}

} // namespace kitwell::benchmarks::raw
