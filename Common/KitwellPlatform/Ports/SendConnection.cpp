#include "KitwellPlatform/Ports/SendConnection.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <linux/sockios.h>
#include <poll.h>
#include <sys/epoll.h>
#include <sys/ioctl.h>

#include "KitwellPlatform/Logging/Log.h"
#include "KitwellPlatform/Ports/SealedMemory.h"
#include "KitwellPlatform/RunLoop/EventWait.h"

namespace kitwell::platform {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t kMaxGatheredBytes = 1024;
constexpr double kLongestWait = 10 * 365 * 86400.0;

// Waiting must not follow the wall clock when that is set.
Clock::time_point steadyTimeOf(Date deadline) {
    const double seconds = Date::now().secondsUntil(deadline);
    const double bounded = seconds > 0 ? std::min(seconds, kLongestWait) : 0; // not a number: no time left
    return Clock::now() + std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(bounded));
}

timespec timeLeftUntil(Clock::time_point deadline) {
    const auto left = std::max(deadline - Clock::now(), Clock::duration::zero()).count();
    return {static_cast<time_t>(left / 1'000'000'000), static_cast<long>(left % 1'000'000'000)};
}

// True also when the peer is gone: the next attempt tells.
bool waitUntilWritable(int socket, Clock::time_point deadline) {
    for (;;) {
        const timespec left = timeLeftUntil(deadline);
        pollfd entry{socket, POLLOUT, 0};
        const int count = ::ppoll(&entry, 1, &left, nullptr);
        if (count >= 0 || errno != EINTR)
            return count > 0;
    }
}

iovec partOf(const void* bytes, std::size_t size) {
    return {const_cast<void*>(bytes), size};
}

// Copies the parts behind each other into `place`, which must be large enough; answers how much there was.
std::size_t gather(std::span<const iovec> parts, std::span<std::byte> place) {
    std::size_t total = 0;
    for (const iovec& part : parts) {
        std::copy_n(static_cast<const std::byte*>(part.iov_base), part.iov_len, place.data() + total);
        total += part.iov_len;
    }
    return total;
}

SendConnection::Outcome refused(const std::string& reason) {
    writeLogLine("a message was not sent: " + reason);
    return SendConnection::Outcome::Refused;
}

} // namespace

SendConnection::Outcome SendConnection::send(const PortFrame& frame, std::span<const Data> components,
                                             Date deadline) {
    return frame.place == ContentPlace::Inline ? sendInline(frame, components, deadline)
                                               : sendShared(frame, components, deadline);
}

SendConnection::Outcome SendConnection::sendInline(const PortFrame& frame, std::span<const Data> components,
                                                   Date deadline) {
    std::array<iovec, 1 + kMaxMessageComponents> parts;
    parts[0] = partOf(&frame, frame.headerBytes());
    std::ranges::transform(components, parts.begin() + 1,
                           [](const Data& component) { return partOf(component.data(), component.size()); });
    std::span<iovec> used(parts.data(), 1 + components.size());
    // The system takes one short block faster than several: 4 % of a small message's whole way.
    std::array<std::byte, kMaxGatheredBytes> gathered;
    if (frame.headerBytes() + frame.contentBytes() <= gathered.size()) {
        parts[0] = partOf(gathered.data(), gather(used, gathered));
        used = used.first(1);
    }
    msghdr packet{};
    packet.msg_iov = used.data();
    packet.msg_iovlen = used.size();
    return sendPacket(packet, deadline);
}

SendConnection::Outcome SendConnection::sendShared(const PortFrame& frame, std::span<const Data> components,
                                                   Date deadline) {
    const std::size_t size = frame.contentBytes();
    if (const auto failure = waitForRoom(size, deadline))
        return *failure;
    const auto memory = sealedMemoryOf(components);
    if (!memory)
        return refused(memory.error().description);
    iovec head = partOf(&frame, frame.headerBytes());
    alignas(cmsghdr) std::array<std::byte, CMSG_SPACE(sizeof(int))> control{};
    msghdr packet{};
    packet.msg_iov = &head;
    packet.msg_iovlen = 1;
    packet.msg_control = control.data();
    packet.msg_controllen = control.size();
    cmsghdr* const part = CMSG_FIRSTHDR(&packet);
    part->cmsg_level = SOL_SOCKET;
    part->cmsg_type = SCM_RIGHTS;
    part->cmsg_len = CMSG_LEN(sizeof(int));
    const int descriptor = memory->get();
    std::memcpy(CMSG_DATA(part), &descriptor, sizeof descriptor);
    const Outcome outcome = sendPacket(packet, deadline);
    if (outcome == Outcome::Queued)
        unreadSharedBytes_ += size;
    return outcome;
}

SendConnection::Outcome SendConnection::sendPacket(const msghdr& packet, Date deadline) {
    auto outcome = tryToSend(packet);
    if (outcome)
        return *outcome;
    const TimePoint until = steadyTimeOf(deadline);
    while (!outcome && waitUntilWritable(socket_.get(), until))
        outcome = tryToSend(packet);
    return outcome.value_or(Outcome::TooLate);
}

// Nothing when the peer's queue is full.
std::optional<SendConnection::Outcome> SendConnection::tryToSend(const msghdr& packet) {
    while (::sendmsg(socket_.get(), &packet, MSG_DONTWAIT | MSG_NOSIGNAL) < 0) {
        switch (errno) {
        case EINTR:
            break;
        case EAGAIN:
            return std::nullopt;
        case EPIPE:
        case ECONNRESET:
        case ENOTCONN:
            return Outcome::PeerGone;
        default:
            return refused(systemError("send", errno).description);
        }
    }
    return Outcome::Queued;
}

// Nothing when there is room now.
std::optional<SendConnection::Outcome> SendConnection::waitForRoom(std::size_t bytes, Date deadline) {
    if (allIsRead())
        unreadSharedBytes_ = 0;
    if (unreadSharedBytes_ == 0 || unreadSharedBytes_ + bytes <= kMaxUnreadSharedBytes)
        return std::nullopt;
    const auto failure = waitUntilAllIsRead(steadyTimeOf(deadline));
    if (!failure)
        unreadSharedBytes_ = 0;
    return failure;
}

// The socket is writable all the while, since shared memory does not count against its queue. What it does
// tell is each packet that is taken: as an edge. Nothing when all of them were.
std::optional<SendConnection::Outcome> SendConnection::waitUntilAllIsRead(TimePoint deadline) {
    const FileDescriptor epoll(::epoll_create1(EPOLL_CLOEXEC));
    epoll_event event{EPOLLOUT | EPOLLET, {}};
    if (!epoll || ::epoll_ctl(epoll.get(), EPOLL_CTL_ADD, socket_.get(), &event) != 0)
        return refused(systemError("wait for its receiver", errno).description);
    while (!allIsRead()) {
        const timespec left = timeLeftUntil(deadline);
        const int count = waitForEvents(epoll.get(), {&event, 1}, &left);
        if ((count == 0 || (count < 0 && errno != EINTR)) && !allIsRead())
            return Outcome::TooLate;
    }
    return std::nullopt;
}

bool SendConnection::allIsRead() const {
    constexpr int kLessThanAnyPacket = 64; // a packet that is just being freed still counts one byte
    int unread = 0;
    return ::ioctl(socket_.get(), SIOCOUTQ, &unread) == 0 && unread < kLessThanAnyPacket;
}

} // namespace kitwell::platform
