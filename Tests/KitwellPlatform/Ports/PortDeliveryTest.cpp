#include "KitwellPlatform/Ports/PortTestSupport.h"

namespace kitwell::platform::test {

namespace {

using namespace std::chrono_literals;

constexpr std::size_t kInline = 128U << 10;

// Bytes in which a shifted or repeated piece shows.
Data block(std::size_t size) {
    std::vector<std::byte> bytes(size);
    for (std::size_t index = 0; index < size; ++index)
        bytes[index] = static_cast<std::byte>((index * 2654435761U) >> 11);
    return Data::adopting(std::move(bytes));
}

} // namespace

class PortDelivery : public InTestHome {};

TEST_F(PortDelivery, EverySizeArrivesIntactAndInOrder) {
    RecordingPort inbox("sizes");
    const auto port = names().portForName("sizes");
    ASSERT_TRUE(port);
    const std::vector<std::vector<std::size_t>> cases = {{},
                                                         {0},
                                                         {0, 1, 0},
                                                         std::vector<std::size_t>(kMaxMessageComponents, 7),
                                                         {kInline - 1},
                                                         {kInline},
                                                         {kInline + 1},
                                                         {kInline - 1, 1, 1},
                                                         {3, 20U << 20, 0, 5}};
    for (std::uint32_t index = 0; index < cases.size(); ++index) {
        PortMessage sent = message(index);
        for (const std::size_t size : cases[index])
            sent.components.push_back(block(size));
        // Small and large messages travel in different ways; neither may overtake the other.
        for (const PortMessage& each : {message(100), sent, message(101)})
            ASSERT_TRUE(each.sendBeforeDate(*port, soon())) << index;
        ASSERT_EQ(inbox.waitFor(3).size(), 3U) << index;
        EXPECT_EQ(inbox.received[0].msgid, 100U);
        EXPECT_EQ(inbox.received[1].msgid, index);
        EXPECT_TRUE(inbox.received[1].components == sent.components) << index;
        inbox.received.clear();
    }
}

TEST_F(PortDelivery, AMessageBeyondTheBoundsIsRefusedAndThePortGoesOn) {
    RecordingPort inbox("bounds");
    const auto port = names().portForName("bounds");
    const Data half = block(kMaxMessageBytes / 2 + 1);
    EXPECT_THROW(message(1, {half, half}).sendBeforeDate(*port, soon()), PortException);
    const PortMessage many = message(2, std::vector<Data>(kMaxMessageComponents + 1));
    EXPECT_THROW(many.sendBeforeDate(*port, soon()), PortException);
    EXPECT_TRUE(message(3).sendBeforeDate(*port, soon()));
    ASSERT_EQ(inbox.waitFor(1).size(), 1U);
    EXPECT_EQ(inbox.received[0].msgid, 3U);
}

TEST_F(PortDelivery, ABusySenderDoesNotStarveAnother) {
    RecordingPort inbox("fair");
    const auto busy = names().portForName("fair");
    const auto modest = names().portForName("fair");
    ASSERT_TRUE(message(0).sendBeforeDate(*busy, soon()));
    ASSERT_TRUE(message(0).sendBeforeDate(*modest, soon()));
    ASSERT_EQ(inbox.waitFor(2).size(), 2U);
    for (int count = 0; count < 150; ++count)
        ASSERT_TRUE(message(1).sendBeforeDate(*busy, soon()));
    ASSERT_TRUE(message(2).sendBeforeDate(*modest, soon()));
    const auto isModest = [](const PortMessage& received) { return received.msgid == 2; };
    ASSERT_TRUE(turnLoopUntil([&] { return std::ranges::any_of(inbox.received, isModest); }));
    EXPECT_LT(std::ranges::find_if(inbox.received, isModest) - inbox.received.begin(), 40);
}

TEST_F(PortDelivery, AHandlerMayDropOrInvalidateItsPort) {
    for (const bool drops : {true, false}) {
        std::shared_ptr<Port> receiving;
        int received = 0;
        receiving = Port::receivePort([&, held = std::string(100, 'x')](const PortMessage&) {
            ++received;
            drops ? receiving.reset() : receiving->invalidate();
            EXPECT_EQ(held.size(), 100U);
        });
        ASSERT_TRUE(names().registerPort(receiving, "ending"));
        receiving->addToRunLoop(RunLoop::current());
        const auto port = names().portForName("ending");
        for (int count = 0; count < 3; ++count)
            ASSERT_TRUE(message(1).sendBeforeDate(*port, soon()));
        EXPECT_TRUE(turnLoopUntil([&] { return !port->isValid(); })) << "the sender was not told";
        EXPECT_EQ(received, 1);
        EXPECT_FALSE(names().portForName("ending"));
    }
}

CHILD_BODY(lateReader) {
    RecordingPort inbox("late");
    say("ready");
    const std::size_t count = std::stoul(hear());
    return inbox.waitFor(count).size() == count ? 0 : 1;
}

// While the receiver does not read, the sender gives up at its deadline, neither earlier nor much later,
// whether the queue is full of small messages or of shared memory, and other ports are reached as ever. When
// it reads, the room that comes free is noticed at once, not when the deadline passes.
TEST_F(PortDelivery, AReceiverThatDoesNotReadCostsTheDeadlineAndOneThatReadsAgainNoMore) {
    RecordingPort other("other");
    for (const std::size_t size : {std::size_t{1000}, std::size_t{20} << 20}) {
        ChildProcess child = ChildProcess::started("lateReader");
        const auto port = names().portForName("late");
        const PortMessage sent = message(1, {block(size)});
        std::size_t queued = 0;
        auto start = RunLoop::Clock::now();
        for (; sent.sendBeforeDate(*port, soon(0.05)) && queued < 1000; ++queued)
            start = RunLoop::Clock::now();
        const auto waited = RunLoop::Clock::now() - start;
        EXPECT_LT(queued, 1000U) << size;
        EXPECT_GE(waited, 49ms) << size;
        EXPECT_LT(waited, 2s) << size;
        EXPECT_TRUE(message(2).sendBeforeDate(*names().portForName("other"), soon()));
        EXPECT_EQ(other.waitFor(1).size(), 1U);
        other.received.clear();
        child.writeLine(std::to_string(queued + 8));
        const auto resumed = RunLoop::Clock::now();
        for (int count = 0; count < 8; ++count)
            ASSERT_TRUE(sent.sendBeforeDate(*port, soon(60)));
        EXPECT_LT(RunLoop::Clock::now() - resumed, 30s);
        EXPECT_EQ(child.wait(), 0);
    }
}

} // namespace kitwell::platform::test
