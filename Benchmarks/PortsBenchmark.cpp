// Ports beside what bare sockets do in the same run, and beside a message bus.

#include <csignal>
#include <string_view>

#include "Ports/BusPeer.h"
#include "Ports/PortContender.h"
#include "Ports/RawFloor.h"
#include "Support/Comparison.h"

namespace {

using namespace kitwell::benchmarks;

constexpr int kRounds = 15;
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

bool compareLookUp(const PrivateFolder& folder) {
    pinTo(0);
    const bool kept = compare(
        {"look-up of a name until its first message is handled", "raw connect + first message", "us", 1e6,
         Better::Less, 1.5},
        kRounds, [&] { return raw::connectAndFirstMessage(folder); }, ports::lookUpAndFirstMessage);
    unpin();
    return kept;
}

bool compareDeath(const PrivateFolder& folder) {
    return compare(
        {"kill -9 of the receiver until the notification", "raw HUP in epoll", "us", 1e6, Better::Less, 1.5},
        5 * kRounds, [&] { return raw::death(folder); }, ports::death);
}

bool printBus(const PrivateFolder& folder) {
    if (const auto reason = bus::missing()) {
        printUnavailable(kSmall.work + ", bus", *reason);
        return true;
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
    return true;
}

// The parts of the table; a first argument chooses one of them.
struct Part {
    std::string_view name;
    bool (*run)(const PrivateFolder& folder);
};
constexpr Part kParts[] = {
    {"small", compareSmall},    {"floods", compareFloods}, {"blocks", compareBlocks},
    {"look-up", compareLookUp}, {"death", compareDeath},   {"bus", printBus},
};

} // namespace

int main(int argc, char** argv) {
    ::signal(SIGPIPE, SIG_IGN);
    const std::vector<std::string> arguments(argv + 1, argv + argc);
    if (arguments.size() > 1 && arguments[0] == "--role") {
        const std::vector<std::string> rest(arguments.begin() + 2, arguments.end());
        return raw::play(arguments[1], rest) || ports::play(arguments[1], rest) ||
                       bus::play(arguments[1], rest)
                   ? 0
                   : 1;
    }
    const PrivateFolder folder;
    printHeading("Ports");
    bool kept = true;
    for (const Part& part : kParts)
        if (arguments.empty() || arguments[0] == part.name)
            kept &= part.run(folder);
    return kept ? 0 : 1;
}
