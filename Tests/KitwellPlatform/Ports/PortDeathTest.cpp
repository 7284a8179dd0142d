#include "KitwellPlatform/Ports/PortTestSupport.h"
#include "KitwellPlatform/RunLoop/NotificationCenter.h"

namespace kitwell::platform::test {

namespace {

using namespace std::chrono_literals;

constexpr std::uint32_t kLastWords = 100;

NotificationCenter::Subscription onDeath(const Port* port, NotificationCenter::Handler handler) {
    return NotificationCenter::defaultCenter().observe(kPortDidBecomeInvalidNotification, port,
                                                       std::move(handler));
}

} // namespace

class PortDeath : public InTestHome {};

// The sender hears of the death by sending, before its loop runs; the observer drops the port.
TEST_F(PortDeath, ASenderThatFindsTheOwnerDeadIsToldOnceAsWell) {
    std::optional<RecordingPort> inbox(std::in_place, "withdrawn");
    std::shared_ptr<Port> port = names().portForName("withdrawn");
    int told = 0;
    const auto subscription = onDeath(port.get(), [&](const Notification&) {
        ++told;
        port.reset();
    });
    inbox.reset();
    try {
        message(1).sendBeforeDate(*port, soon());
        ADD_FAILURE() << "a dead port was sent to";
    } catch (const PortException& exception) {
        EXPECT_EQ(exception.name(), std::string(kInvalidSendPortException));
    }
    EXPECT_FALSE(RunLoop::current().runOnce(5ms));
    EXPECT_EQ(told, 1);
}

CHILD_BODY(speaker) {
    RecordingPort mouth("mouth");
    say("ready");
    hear();
    const auto ear = names().portForName("ear");
    for (std::uint32_t id = 0; id < kLastWords; ++id)
        message(id).sendBeforeDate(*ear, soon());
    ::kill(::getpid(), SIGKILL);
    return 0;
}

// All is there before the loop runs: the connection to be accepted, a hundred messages, and the death.
TEST_F(PortDeath, WhatTheDeadHadSentIsDeliveredBeforeItsDeathIsTold) {
    RecordingPort ear("ear");
    ChildProcess child = ChildProcess::started("speaker");
    const auto mouth = names().portForName("mouth");
    ASSERT_TRUE(mouth);
    std::size_t heardAtDeath = 0;
    const auto subscription =
        onDeath(mouth.get(), [&](const Notification&) { heardAtDeath = ear.received.size(); });
    child.writeLine("speak");
    EXPECT_EQ(child.wait(), 128 + SIGKILL);
    EXPECT_TRUE(turnLoopUntil([&] { return !mouth->isValid(); }));
    EXPECT_EQ(heardAtDeath, kLastWords);
    EXPECT_EQ(ear.received.back().msgid, kLastWords - 1);
}

} // namespace kitwell::platform::test
