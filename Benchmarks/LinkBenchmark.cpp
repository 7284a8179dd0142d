// The link between a tool and the agent, beside bare sockets and an empty program.

#include <csignal>
#include <optional>

#include "KitwellCommon/KitwellCommon.h"
#include "KitwellPlatform/Applications/Bundle.h"
#include "KitwellPlatform/RunLoop/RunLoop.h"
#include "Ports/RawFloor.h"
#include "Support/Comparison.h"

namespace {

using namespace kitwell;
using namespace kitwell::benchmarks;

constexpr int kRounds = 9;
constexpr int kStarts = 21;

// Tool and agent are this very program, so both have its path.
const platform::FileUrl& toolUrl() {
    return platform::Bundle::main().bundleUrl();
}

// A tool that answers each command with a new menu text.
void playTool() {
    ToolDataClientProvider client;
    std::string text(kFirstBlock, 'a');
    client.setDateScheduleBlock([&] {
        text.front() = text.front() == 'a' ? 'b' : 'a';
        client.setMenuText(text);
    });
    report(now());
    platform::RunLoop::current().run();
}

// From a tool's new menu text to the proxy that holds it, and back with a command: half of the way there and
// back.
double menuTextOneWay() {
    const Partner tool("tool", {});
    const auto proxy = ToolDataAgentProvider::create();
    proxy->setupWithToolURL(toolUrl(), "");
    int arrived = 0;
    const auto changes = platform::NotificationCenter::defaultCenter().observe(
        kToolDataAgentProviderDidChangeNotification, proxy.get(),
        [&](const platform::Notification&) { ++arrived; });
    proxy->setMenuIconNeeded(true);
    while (!proxy->ensureToolPortOpen())
        platform::RunLoop::current().runOnce(std::chrono::milliseconds(1));
    const double start = now();
    for (int echo = 0; echo < kEchoes; ++echo) {
        proxy->sendCommand(ToolMessageDateSchedule, std::nullopt);
        const int before = arrived;
        while (arrived == before)
            platform::RunLoop::current().runOnce(std::chrono::seconds(60));
    }
    const double elapsed = now() - start;
    ToolDataServerProvider::sharedInstance().removeTool(proxy.get());
    return elapsed / (2.0 * kEchoes);
}

double startOf(const std::string& role) {
    const double start = now();
    Partner partner(role, {});
    return partner.hear() - start;
}

bool play(const std::string& role) {
    if (role == "tool")
        playTool();
    else if (role == "empty")
        report(now());
    else
        return false;
    return true;
}

} // namespace

int main(int argc, char** argv) {
    ::signal(SIGPIPE, SIG_IGN);
    if (argc > 2 && std::string(argv[1]) == "--role")
        return play(argv[2]) || raw::play(argv[2], std::vector<std::string>(argv + 3, argv + argc)) ? 0 : 1;
    const PrivateFolder folder;
    printHeading("Link between tool and agent");
    pinTo(0);
    bool kept = compare(
        {"setMenuText until the proxy holds it, one processor", "raw SEQPACKET + epoll", "us", 1e6,
         Better::Less, 2},
        kRounds, [&] { return raw::smallOneWay(folder); }, menuTextOneWay);
    kept &= compare(
        {"start of a tool until its port is published", "empty program, same libraries", "ms", 1e3,
         Better::Less, 1.5},
        kStarts, [] { return startOf("empty"); }, [] { return startOf("tool"); });
    unpin();
    return kept ? 0 : 1;
}
