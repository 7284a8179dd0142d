#include "KitwellPlatform/RunLoop/DistributedNotificationCenter.h"
#include "KitwellPlatform/RunLoop/RunLoop.h"
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
    const std::string path = home.path("run/kitwell/" + folder);
    return std::filesystem::exists(path)
               ? static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator(path), {}))
               : 0;
}

} // namespace

CHILD_BODY(observer) {
    const auto subscription =
        center().observe("news", [](std::string_view name) { say("told " + std::string(name)); });
    say("ready");
    RunLoop::current().run();
    return 0;
}

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

TEST_F(DistributedNotificationCenterTest, EveryLivingObserverIsToldAndTheKilledOnesLeftoverGoes) {
    std::vector<ChildProcess> children;
    for (int count = 0; count < 10; ++count)
        children.push_back(ChildProcess::started("observer"));
    ChildProcess victim = ChildProcess::started("observer");
    victim.kill();
    ASSERT_EQ(leftIn(home, "notifications/news"), 11U);
    center().post("other");
    center().post("news");
    EXPECT_EQ(leftIn(home, "notifications/news"), 10U);
    for (ChildProcess& child : children)
        EXPECT_EQ(child.readLine(), "told news");
}

// A queue holds no more than some hundreds, and what the hanging one does not read must not stop the other.
TEST_F(DistributedNotificationCenterTest, AnObserverThatDoesNotReadNeverHoldsUpThePosterAndIsToldInTheEnd) {
    ChildProcess hanging = ChildProcess::started("lateReader");
    int told = 0;
    const auto subscription = counting(told);
    for (int count = 0; count < 10'000; ++count)
        center().post("news");
    hanging.writeLine("read");
    EXPECT_EQ(hanging.readLine(), "told 1") << "what was waiting was not told as one";
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

TEST_F(DistributedNotificationCenterTest, AnObserverMayPostAndEndItselfWhileItIsTold) {
    int told = 0;
    int others = 0;
    Subscription own;
    own = center().observe("news", [&](std::string_view name) {
        center().post(name);
        if (++told == 3)
            own = Subscription();
    });
    const auto other = counting(others);
    center().post("news");
    handleWhatWaits();
    EXPECT_EQ(told, 3);
    EXPECT_GE(others, 1);
    EXPECT_EQ(leftIn(home, "notifications/news"), 1U);
}

TEST_F(DistributedNotificationCenterTest, TellsInTheModalModeAndInPassesFromInsideAnotherHandler) {
    int inner = 0;
    const auto first = counting(inner, "inner");
    bool isToldInside = false;
    int deepest = 0;
    int depth = 0;
    const auto outer = center().observe("outer", [&](std::string_view) {
        deepest = std::max(deepest, ++depth);
        center().post("inner");
        center().post("outer"); // waits until this handler has returned
        isToldInside = turnLoopUntil([&] { return inner > 0; }, RunLoopMode::Modal);
        --depth;
    });
    center().post("outer");
    EXPECT_TRUE(turnLoopUntil([&] { return isToldInside; }, RunLoopMode::Modal));
    EXPECT_EQ(deepest, 1);
}

TEST_F(DistributedNotificationCenterTest, NamesThatAreNoPlainFileNamesReachNobodyAndCreateNothing) {
    int told = 0;
    for (const std::string& name : {std::string(), std::string("../ports"), std::string(81, 'n')}) {
        EXPECT_FALSE(counting(told, name)) << name;
        center().post(name);
    }
    center().post("nobody");
    EXPECT_EQ(leftIn(home, ""), 0U);
    EXPECT_TRUE(counting(told, std::string(80, 'n')));
}

TEST_F(DistributedNotificationCenterTest, AFolderThatOthersMayEnterIsRefusedWithOneLineAndNoSubscription) {
    std::filesystem::create_directory(home.path("run/kitwell"));
    std::filesystem::permissions(home.path("run/kitwell"), std::filesystem::perms(0755));
    const LogLines log;
    int told = 0;
    EXPECT_FALSE(counting(told));
    EXPECT_EQ(log.lines.size(), 1U);
    for (int count = 0; count < 3; ++count)
        center().post("news");
    EXPECT_EQ(log.lines.size(), 2U) << "a poster logs each time";
}

} // namespace kitwell::platform
