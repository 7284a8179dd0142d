#include <gtest/gtest.h>

#include <cmath>

#include "KitwellPlatform/RunLoop/DateTimer.h"

using namespace kitwell::platform;
using namespace std::chrono_literals;

TEST(DateTimer, APastDateIsToldAtOnceAFarOneIsNotAndWaitingCanStop) {
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
}
