#include "Support/Harness.h"

namespace kitwell::platform {

namespace {

using namespace std::chrono_literals;
using Clock = RunLoop::Clock;

RunLoop& loop() {
    return RunLoop::current();
}

} // namespace

TEST(Timer, NeverFiresEarlyAndFiresInTheOrderOfItsTimes) {
    const auto start = Clock::now();
    const auto endless = Timer::once(loop(), RunLoop::Duration::max(), RunLoopModes::Common, [] { FAIL(); });
    std::string order;
    std::vector<Timer> timers;
    for (const auto& [delay, letter] : {std::pair{150ms, 'c'}, std::pair{50ms, 'a'}, std::pair{100ms, 'b'}})
        timers.push_back(
            Timer::once(loop(), delay, RunLoopModes::Common, [&, delay = delay, letter = letter] {
                EXPECT_GE(Clock::now() - start, delay);
                order += letter;
            }));
    while (order.size() < 3)
        ASSERT_TRUE(loop().runOnce(5s));
    EXPECT_EQ(order, "abc");
}

// The handler outlasts several intervals: one firing makes up for them, and later ones stay on the grid.
TEST(Timer, MakesUpMissedFiringsByOneAndDoesNotDrift) {
    constexpr auto kInterval = 4ms;
    const auto start = Clock::now();
    std::vector<Clock::duration::rep> cells;
    const auto timer = Timer::repeating(loop(), kInterval, RunLoopModes::Common, [&] {
        cells.push_back((Clock::now() - start) / kInterval);
        if (cells.size() == 1)
            loop().runFor(18ms); // the timer is passed over meanwhile
    });
    while (cells.size() < 8)
        ASSERT_TRUE(loop().runOnce(5s));
    EXPECT_GE(cells[1], 5) << "fired again while its handler ran";
    EXPECT_GE(cells.back(), 11) << "the firings that were missed were made up one by one";
}

TEST(Timer, ATimerThatWasEndedByAnotherOneDueWithItIsSilent) {
    Timer timers[2];
    int calls = 0;
    for (int own : {0, 1})
        timers[own] = Timer::once(loop(), 0ms, RunLoopModes::Common, [&, own] {
            ++calls;
            timers[1 - own].end();
        });
    loop().runOnce(1s);
    EXPECT_FALSE(loop().runOnce(5ms));
    EXPECT_EQ(calls, 1);
}

} // namespace kitwell::platform
