// Ports beside what bare sockets do in the same run, and beside a message bus.

#include <csignal>

#include "Ports/BusPeer.h"
#include "Ports/PortContender.h"
#include "Ports/RawFloor.h"
#include "Support/Comparison.h"

namespace {

using namespace kitwell::benchmarks;

constexpr int kRounds = 9;
constexpr std::size_t kManySenders = 32;

const Comparison kSmall{
    "small message one way, one processor", "raw SEQPACKET + epoll", "us", 1e6, Better::Less, 1.3};
const Comparison kRate{
    "small messages a second, 1 sender", "raw SEQPACKET + epoll", "msg/s", 1, Better::More, 0.75};

bool compareSmall(const PrivateFolder& folder) {
    pinTo(0);
    const bool kept = compare(
        kSmall, kRounds, [&] { return raw::smallOneWay(folder); }, ports::smallOneWay);
    unpin();
    return kept;
}

bool compareFloods(const PrivateFolder& folder) {
    bool kept = compare(
        kRate, kRounds, [&] { return raw::flood(folder, 1).messagesPerSecond; },
        [] { return ports::flood(1).messagesPerSecond; });
    kept &= compare(
        {"small messages a second, 32 senders", kRate.floorName, kRate.unit, 1, Better::More, 0.8}, kRounds,
        [&] { return raw::flood(folder, kManySenders).messagesPerSecond; },
        [] { return ports::flood(kManySenders).messagesPerSecond; });
    kept &= compare(
        {"least to greatest share, 32 senders", "equal shares", "", 1, Better::More, 0.9}, kRounds,
        [] { return 1.0; }, [] { return ports::flood(kManySenders).leastToGreatest; });
    return kept;
}

bool compareBlocks(const PrivateFolder& folder) {
    pinTo(0);
    bool kept = true;
    for (const std::size_t mebibytes : {1U, 4U}) {
        const std::size_t size = mebibytes << 20;
        kept &= compare(
            {std::to_string(mebibytes) + " MiB block one way, every page read, one processor",
             "raw sealed memory file", "us", 1e6, Better::Less, 1.2},
            kRounds, [&] { return raw::blockOneWay(folder, size); },
            [&] { return ports::blockOneWay(size); });
    }
    unpin();
    return kept;
}

bool compareBeginningAndEnd(const PrivateFolder& folder) {
    pinTo(0);
    bool kept = compare(
        {"look-up of a name until its first message is handled", "raw connect + first message", "us", 1e6,
         Better::Less, 1.5},
        kRounds, [&] { return raw::connectAndFirstMessage(folder); }, ports::lookUpAndFirstMessage);
    unpin();
    kept &= compare(
        {"kill -9 of the receiver until the notification", "raw HUP in epoll", "us", 1e6, Better::Less, 1.5},
        5 * kRounds, [&] { return raw::death(folder); }, ports::death);
    return kept;
}

void printBus(const PrivateFolder& folder) {
    if (const auto reason = bus::missing()) {
        printUnavailable(kSmall.work + ", bus", *reason);
        return;
    }
    Comparison small = kSmall;
    Comparison rate = kRate;
    small.floorName = rate.floorName = "sd-bus, own dbus-daemon";
    pinTo(0);
    printPeer(
        small, kRounds, [&] { return bus::smallOneWay(folder); }, ports::smallOneWay);
    unpin();
    printPeer(
        rate, kRounds, [&] { return bus::messagesPerSecond(folder); },
        [] { return ports::flood(1).messagesPerSecond; });
}

} // namespace

int main(int argc, char** argv) {
    ::signal(SIGPIPE, SIG_IGN);
    if (argc > 2 && std::string(argv[1]) == "--role") {
        const std::vector<std::string> arguments(argv + 3, argv + argc);
        return raw::play(argv[2], arguments) || ports::play(argv[2], arguments) ||
                       bus::play(argv[2], arguments)
                   ? 0
                   : 1;
    }
    const PrivateFolder folder;
    printHeading("Ports");
    bool kept = compareSmall(folder);
    kept &= compareFloods(folder);
    kept &= compareBlocks(folder);
    kept &= compareBeginningAndEnd(folder);
    printBus(folder);
    return kept ? 0 : 1;
}
