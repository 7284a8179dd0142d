#include "KitwellPlatform/RunLoop/DistributedNotificationCenter.h"
#include "Support/Harness.h"

namespace kitwell::platform {

namespace {

using namespace kitwell::test;
using namespace std::chrono_literals;
using Subscription = DistributedNotificationCenter::Subscription;

DistributedNotificationCenter& center() {
    return DistributedNotificationCenter::defaultCenter();
}

Subscription counting(int& told, std::string_view name = "news") {
    return center().observe(name, [&](std::string_view) { ++told; });
}

void handleWhatWaits() {
    while (RunLoop::current().runOnce(0ms)) {
    }
}

std::size_t leftIn(const TestHome& home, const std::string& folder) {
    return FileManager::namesInFolder(home.path("run/kitwell/" + folder)).size();
}

} // namespace

// Subscribes, but runs its loop only when it is asked to.
CHILD_BODY(lateReader) {
    int told = 0;
    const auto subscription = counting(told);
    say("ready");
    hear();
    handleWhatWaits();
    say("told " + std::to_string(told));
    return 0;
}

class DistributedNotificationCenterTest : public InTestHome {};

// A queue holds no more than some hundreds, and what the hanging ones do not read must not stop the other.
TEST_F(DistributedNotificationCenterTest,
       ObserversThatDoNotReadNeverHoldUpThePosterAndTheKilledOnesLeftoverGoes) {
    ChildProcess hanging[] = {ChildProcess::started("lateReader"), ChildProcess::started("lateReader")};
    ChildProcess::started("lateReader").kill();
    int told = 0;
    const auto subscription = counting(told);
    ASSERT_EQ(leftIn(home, "notifications/news"), 4U);
    for (int count = 0; count < 10'000; ++count)
        center().post("news");
    EXPECT_EQ(leftIn(home, "notifications/news"), 3U);
    for (ChildProcess& one : hanging) {
        one.writeLine("read");
        EXPECT_EQ(one.readLine(), "told 1") << "what was waiting was not told as one";
    }
    handleWhatWaits();
    EXPECT_EQ(told, 1);
}

// The sending socket has room for less than so many datagrams that nobody reads.
TEST_F(DistributedNotificationCenterTest, OnePostingReachesMoreObserversThanOneSocketCanSendTo) {
    constexpr int kObservers = 350;
    int told = 0;
    std::vector<Subscription> subscriptions;
    for (int count = 0; count < kObservers; ++count)
        subscriptions.push_back(counting(told));
    center().post("news");
    handleWhatWaits();
    EXPECT_EQ(told, kObservers);
    subscriptions.clear();
    EXPECT_EQ(leftIn(home, "notifications/news"), 0U);
}

TEST_F(DistributedNotificationCenterTest, AnObserverMayPostRunTheLoopInAnotherModeAndEndItselfWhileItIsTold) {
    int told = 0, inner = 0, depth = 0;
    const auto first = counting(inner, "inner");
    Subscription own;
    own = center().observe("news", [&](std::string_view name) {
        EXPECT_EQ(++depth, 1);
        center().post(name); // waits until this handler has returned
        center().post("inner");
        EXPECT_TRUE(turnLoopUntil([&] { return inner > told; }, RunLoopMode::Modal));
        --depth;
        if (++told == 3)
            own = Subscription();
    });
    center().post("news");
    handleWhatWaits();
    EXPECT_EQ(told, 3);
    EXPECT_EQ(leftIn(home, "notifications/news"), 0U);
}

} // namespace kitwell::platform
