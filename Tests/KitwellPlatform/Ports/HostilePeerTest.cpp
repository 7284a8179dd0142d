#include <array>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/socket.h>

#include "KitwellPlatform/Ports/PortFrame.h"
#include "KitwellPlatform/Ports/PortTestSupport.h"

namespace kitwell::platform::test {

namespace {

constexpr std::uint32_t kLarge = (128U << 10) + 1;
constexpr int kAllSeals = F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_WRITE;

using Bytes = std::vector<std::byte>;

// A packet with this head and so many bytes of content behind it.
Bytes packet(std::vector<std::uint32_t> lengths, std::size_t content,
             ContentPlace place = ContentPlace::Inline) {
    PortFrame frame;
    frame.place = place;
    for (const std::uint32_t length : lengths)
        frame.lengths[frame.count++] = length;
    const auto head = std::as_bytes(std::span(&frame, 1)).first(frame.headerBytes());
    Bytes bytes(head.begin(), head.end());
    bytes.resize(bytes.size() + content);
    return bytes;
}

Bytes patched(Bytes bytes, std::size_t offset, std::uint32_t value) {
    std::memcpy(bytes.data() + offset, &value, sizeof value);
    return bytes;
}

Bytes cutTo(Bytes bytes, std::size_t size) {
    bytes.resize(size);
    return bytes;
}

// What a peer sends: a packet, and the descriptors of so many memory files with it.
struct Packet {
    const char* what;
    Bytes bytes;
    std::size_t files = 0;
    std::size_t fileSize = kLarge;
    int seals = kAllSeals;
};

std::vector<Packet> hostilePackets() {
    const Bytes small = packet({4}, 4);
    const Bytes shared = packet({kLarge}, 0, ContentPlace::SharedMemory);
    return {
        {"empty", {}},
        {"empty, with a descriptor", {}, 1},
        {"empty, with many descriptors", {}, 200},
        {"header cut short", cutTo(small, 15)},
        {"lengths cut short", cutTo(small, 18)},
        {"content too long", packet({4}, 5)},
        {"another mark", patched(small, 0, 0x3250574B)},
        {"too many components", patched(small, 8, kMaxMessageComponents + 1)},
        {"unknown place", patched(small, 12, 7)},
        {"lengths whose sum wraps 32 bits", packet({0xFFFFFFFF, 5}, 4)},
        {"larger than an inline packet", packet({kLarge}, kLarge)},
        {"descriptor without use", small, 1},
        {"shared memory missing", shared},
        {"many descriptors", shared, 200},
        {"shared memory too short", shared, 1, kLarge - 1},
        {"shared memory that may shrink", shared, 1, kLarge, F_SEAL_GROW | F_SEAL_WRITE},
        {"shared memory that may change", shared, 1, kLarge, F_SEAL_GROW | F_SEAL_SHRINK},
        {"small content in shared memory", packet({4}, 0, ContentPlace::SharedMemory), 1, 4},
        {"shared memory beyond the bound", packet({(64U << 20) + 1}, 0, ContentPlace::SharedMemory), 1,
         (64U << 20) + 1},
    };
}

bool sendRaw(int socket, const Packet& what) {
    const FileDescriptor file(::memfd_create("hostile", MFD_CLOEXEC | MFD_ALLOW_SEALING));
    EXPECT_EQ(::ftruncate(file.get(), static_cast<off_t>(what.fileSize)), 0);
    EXPECT_EQ(::fcntl(file.get(), F_ADD_SEALS, what.seals), 0);
    const std::vector<int> descriptors(what.files, file.get());
    iovec part{const_cast<std::byte*>(what.bytes.data()), what.bytes.size()};
    alignas(cmsghdr) std::array<std::byte, CMSG_SPACE(253 * sizeof(int))> control{};
    msghdr header{};
    header.msg_iov = &part;
    header.msg_iovlen = 1;
    if (!descriptors.empty()) {
        header.msg_control = control.data();
        header.msg_controllen = CMSG_SPACE(descriptors.size() * sizeof(int));
        *CMSG_FIRSTHDR(&header) = {CMSG_LEN(descriptors.size() * sizeof(int)), SOL_SOCKET, SCM_RIGHTS};
        std::memcpy(CMSG_DATA(CMSG_FIRSTHDR(&header)), descriptors.data(), descriptors.size() * sizeof(int));
    }
    return ::sendmsg(socket, &header, MSG_NOSIGNAL) >= 0;
}

bool isCutOff(int socket) {
    char byte = 0;
    return ::recv(socket, &byte, 1, MSG_DONTWAIT) == 0 || errno == ECONNRESET;
}

} // namespace

// Each of these peers is cut off without a message of its own or of its later packets, while a decent one is
// served all along; nothing that came along stays open.
TEST(HostilePeer, IsCutOffWhileADecentPeerIsServed) {
    const TestHome home;
    RecordingPort inbox("open");
    const auto decent = names().portForName("open");
    ASSERT_TRUE(message(0).sendBeforeDate(*decent, soon()));
    ASSERT_EQ(inbox.waitFor(1).size(), 1U);
    const std::size_t before = FileManager::namesInFolder("/proc/self/fd").size();
    for (const Packet& hostile : hostilePackets()) {
        const FileDescriptor socket = rawConnection(socketPath(home, "open"));
        ASSERT_TRUE(sendRaw(socket.get(), hostile)) << hostile.what;
        sendRaw(socket.get(), {"a good packet behind it", packet({4}, 4)});
        EXPECT_TRUE(turnLoopUntil([&] { return isCutOff(socket.get()); })) << hostile.what;
        inbox.received.clear();
        ASSERT_TRUE(message(77).sendBeforeDate(*decent, soon())) << hostile.what;
        ASSERT_EQ(inbox.waitFor(1).size(), 1U) << hostile.what;
        EXPECT_EQ(inbox.received[0].msgid, 77U) << hostile.what;
    }
    EXPECT_EQ(FileManager::namesInFolder("/proc/self/fd").size(), before);
    // The same road with nothing wrong is open.
    const FileDescriptor socket = rawConnection(socketPath(home, "open"));
    ASSERT_TRUE(sendRaw(socket.get(), {"good", packet({kLarge}, 0, ContentPlace::SharedMemory), 1}));
    ASSERT_EQ(inbox.waitFor(2).size(), 2U);
}

CHILD_BODY(scarceReceiver) {
    RecordingPort inbox("scarce");
    say("ready");
    if (inbox.waitFor(1).size() != 1)
        return 1;
    const rlimit limit{64, 64};
    ::setrlimit(RLIMIT_NOFILE, &limit);
    std::vector<FileDescriptor> fillers;
    do
        fillers.emplace_back(::open("/dev/null", O_RDONLY | O_CLOEXEC));
    while (fillers.back());
    say("full");
    const std::clock_t start = std::clock();
    const bool served = inbox.waitFor(2).size() == 2;
    return served && std::clock() - start < CLOCKS_PER_SEC / 5 ? 0 : 2;
}

// The clients that no descriptor is left for are dropped, none is left waiting, and the port neither dies nor
// spins.
TEST(HostilePeer, ThatTakesAllDescriptorsStopsNeitherThePortNorItsPeers) {
    const TestHome home;
    ChildProcess child = ChildProcess::started("scarceReceiver");
    const auto early = names().portForName("scarce");
    ASSERT_TRUE(message(1).sendBeforeDate(*early, soon()));
    ASSERT_TRUE(child.waitForLine("full"));
    for (int client = 0; client < 5; ++client) {
        const FileDescriptor late = rawConnection(socketPath(home, "scarce"));
        EXPECT_TRUE(waitUntil([&] { return isCutOff(late.get()); }));
    }
    ASSERT_TRUE(message(2).sendBeforeDate(*early, soon()));
    EXPECT_EQ(child.wait(), 0);
}

} // namespace kitwell::platform::test
