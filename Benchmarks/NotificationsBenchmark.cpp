// A notification to every process that observes it, beside bare datagrams to as many sockets.

#include <algorithm>
#include <csignal>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>
#include <vector>

#include "KitwellPlatform/RunLoop/DistributedNotificationCenter.h"
#include "KitwellPlatform/RunLoop/RunLoop.h"
#include "Support/Comparison.h"
#include "Support/Partner.h"

namespace {

using namespace kitwell;
using namespace kitwell::benchmarks;

constexpr int kObservers = 10;
constexpr int kPostings = 200;
constexpr int kRounds = 9;
constexpr char kName[] = "news";

platform::DistributedNotificationCenter& center() {
    return platform::DistributedNotificationCenter::defaultCenter();
}

void playObserver() {
    const auto subscription = center().observe(kName, [](std::string_view) { report(now()); });
    report(now());
    platform::RunLoop::current().run();
}

platform::FileDescriptor datagramSocket() {
    return platform::FileDescriptor(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
}

sockaddr_un addressOf(const std::string& path) {
    sockaddr_un address{AF_UNIX, {}};
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    return address;
}

void playListener(const std::string& path) {
    const platform::FileDescriptor socket = datagramSocket();
    const sockaddr_un address = addressOf(path);
    if (::bind(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
        fail("cannot bind " + path);
    const platform::FileDescriptor epoll(::epoll_create1(EPOLL_CLOEXEC));
    epoll_event event{EPOLLIN, {}};
    ::epoll_ctl(epoll.get(), EPOLL_CTL_ADD, socket.get(), &event);
    report(now());
    while (::epoll_wait(epoll.get(), &event, 1, -1) == 1) {
        while (::recv(socket.get(), nullptr, 0, MSG_DONTWAIT) >= 0) {
        }
        report(now());
    }
}

// From the beginning of a posting until the last of them was told.
template <class Post>
double timeToTell(std::vector<Partner>& partners, Post post) {
    double total = 0;
    for (int posting = 0; posting < kPostings; ++posting) {
        const double start = now();
        post();
        double last = 0;
        for (Partner& partner : partners)
            last = std::max(last, partner.hear());
        total += last - start;
    }
    return total / kPostings;
}

// The paths are known and the sending socket is open: nothing is left but the datagrams.
double bareDatagrams(const PrivateFolder& folder) {
    std::vector<Partner> partners;
    std::vector<sockaddr_un> addresses;
    for (int count = 0; count < kObservers; ++count) {
        const std::string path = folder.path("listener-" + std::to_string(count));
        ::unlink(path.c_str());
        addresses.push_back(addressOf(path));
        partners.emplace_back("listener", std::vector{path}).hear();
    }
    const platform::FileDescriptor socket = datagramSocket();
    return timeToTell(partners, [&] {
        for (const sockaddr_un& address : addresses)
            ::sendto(socket.get(), nullptr, 0, MSG_DONTWAIT, reinterpret_cast<const sockaddr*>(&address),
                     sizeof address);
    });
}

double notifications() {
    std::vector<Partner> partners;
    for (int count = 0; count < kObservers; ++count)
        partners.emplace_back("observer", std::vector<std::string>()).hear();
    return timeToTell(partners, [] { center().post(kName); });
}

bool play(const std::string& role, const std::vector<std::string>& arguments) {
    if (role == "observer")
        playObserver();
    else if (role == "listener" && arguments.size() == 1)
        playListener(arguments[0]);
    else
        return false;
    return true;
}

} // namespace

int main(int argc, char** argv) {
    ::signal(SIGPIPE, SIG_IGN);
    if (argc > 2 && std::string(argv[1]) == "--role")
        return play(argv[2], {argv + 3, argv + argc}) ? 0 : 1;
    const PrivateFolder folder;
    printHeading("Distributed notifications");
    const auto compareOn = [&](const std::string& processors) {
        return compare(
            {"post until the last of 10 processes was told, " + processors, "bare datagrams + epoll", "us",
             1e6, Better::Less, 1.5},
            kRounds, [&] { return bareDatagrams(folder); }, notifications);
    };
    pinTo(0);
    bool kept = compareOn("one CPU");
    unpin();
    kept &= compareOn("all CPUs");
    return kept ? 0 : 1;
}
