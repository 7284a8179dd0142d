#include <gtest/gtest.h>

#include <limits>

#include "Shared/Repetition.h"

using kitwell::applications::nextRepetition;
using kitwell::platform::Date;

TEST(Repetition, TheNextDateIsOnTheGridAndNeverNow) {
    struct Case {
        double date, interval, now, next;
    };
    for (const Case& one : {Case{100, 60, 100, 160}, Case{100, 60, 100.5, 160}, Case{100, 60, 159.999, 160},
                            Case{100, 60, 160, 220}, Case{100, 60, 1e6, 1000060}, Case{100, 1, 100.01, 101},
                            Case{100, 1, 103.99, 104}, Case{100, 60, 50, 160}, Case{0, 0.25, 0, 1.25}}) {
        const auto next = nextRepetition(Date{one.date}, one.interval, Date{one.now});
        ASSERT_TRUE(next);
        EXPECT_DOUBLE_EQ(next->secondsSinceReference, one.next) << one.interval << " at " << one.now;
    }
    const auto tiny = nextRepetition(Date{-63113904000}, 1e-9, Date{8e8});
    EXPECT_GE(tiny->secondsSinceReference, 8e8 + 1);
    for (const double interval :
         {0.0, -1.0, std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity()})
        EXPECT_FALSE(nextRepetition(Date{0}, interval, Date{0})) << interval;
}
