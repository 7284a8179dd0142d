#include <sys/timex.h>

#include "KitwellPlatform/RunLoop/DateTimer.h"
#include "Support/Harness.h"

using namespace kitwell::platform;
using namespace std::chrono_literals;

TEST(DateTimer, APastDateIsToldAtOnceAFarOneIsNotAndSettingTheClockIs) {
    int told = 0;
    RunLoop& loop = RunLoop::current();
    DateTimer timer(loop, RunLoopModes::Common, [&] { ++told; });
    for (const double past : {-1.0, -1e12, 0.0}) {
        told = 0;
        timer.waitFor(Date::now().adding(past));
        EXPECT_TRUE(loop.runOnce(5s));
        EXPECT_EQ(told, 1);
        EXPECT_FALSE(loop.runOnce(20ms)) << "told twice";
    }
    told = 0;
    for (const double far : {1e12, std::nan(""), 60.0})
        timer.waitFor(Date::now().adding(far));
    EXPECT_FALSE(loop.runOnce(20ms));
    timer.waitFor(Date::now().adding(0.05));
    timer.stopWaiting();
    EXPECT_FALSE(loop.runOnce(100ms));
    EXPECT_EQ(told, 0);

    // The clock is moved by a billionth of a second and back again, which everybody on this machine is told
    // who waits for a date: so this is no test of its own, beside which the above would not be silent.
    const auto move = [](long seconds, long nanoseconds) {
        timex change{};
        change.modes = ADJ_SETOFFSET | ADJ_NANO;
        change.time = {seconds, nanoseconds};
        return ::adjtimex(&change) >= 0;
    };
    const Date date = Date::now().adding(0.5);
    timer.waitFor(date);
    if (!move(0, 1))
        GTEST_SKIP() << "the clock may not be set here";
    EXPECT_TRUE(move(-1, 999'999'999));
    EXPECT_TRUE(loop.runOnce(5s));
    EXPECT_TRUE(told == 1 && Date::now() < date) << "the setting was not told";
    while (Date::now() < date)
        ASSERT_TRUE(loop.runOnce(5s)) << "the waiting ended with the setting";
}
