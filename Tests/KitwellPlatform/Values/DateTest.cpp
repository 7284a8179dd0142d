#include <cstdlib>
#include <ctime>
#include <gtest/gtest.h>

#include "KitwellPlatform/Values/Date.h"

using namespace kitwell::platform;

TEST(Date, TextAndCalendarAgreeFromTheFirstYearToTheLast) {
    struct Case {
        const char* text;
        double seconds;
    };
    for (const Case& one :
         {Case{"2001-01-01T00:00:00Z", 0}, Case{"1970-01-01T00:00:00Z", -978307200},
          Case{"2000-02-29T23:59:59Z", -26438401}, Case{"0001-01-01T00:00:00Z", -63113904000},
          Case{"9999-12-31T23:59:59Z", 252423993599}, Case{"1900-03-01T12:30:45Z", -3182153355}}) {
        ASSERT_TRUE(Date::fromIso8601(one.text)) << one.text;
        EXPECT_EQ(Date::fromIso8601(one.text)->secondsSinceReference, one.seconds) << one.text;
        EXPECT_EQ(Date{one.seconds}.iso8601(), one.text);
    }
    EXPECT_EQ(Date{-0.25}.iso8601(), "2000-12-31T23:59:59Z");
    EXPECT_DOUBLE_EQ(Date{-0.25}.calendar()->second, 59.75);
}

TEST(Date, WhatIsNoDateIsRefused) {
    for (const char* text :
         {"", "2001-01-01", "2001-01-01T00:00:00", "2001-02-29T00:00:00Z", "1900-02-29T00:00:00Z",
          "2001-13-01T00:00:00Z", "2001-00-01T00:00:00Z", "2001-01-00T00:00:00Z", "0000-01-01T00:00:00Z",
          "2001-01-01T24:00:00Z", "2001-01-01T00:60:00Z", "2001-01-01T00:00:60Z", "+001-01-01T00:00:00Z",
          "2001-01-01 00:00:00Z", "2001-01-01T00:00:00ZZ", "200a-01-01T00:00:00Z"})
        EXPECT_FALSE(Date::fromIso8601(text)) << text;
    for (const double seconds : {252423993600.0, -63113904000.5, 1e300, -1e300})
        EXPECT_FALSE(Date{seconds}.iso8601()) << seconds;
    EXPECT_FALSE(Date{0.0 / 0.0 * 1}.calendar());
}

TEST(Date, LocalTextTellsTheZone) {
    const Date last = *Date::fromCalendar({9999, 12, 31, 23, 0, 0});
    const Date first = *Date::fromCalendar({1, 1, 1, 0, 0, 0});
    for (const auto& [zone, date, text] :
         {std::tuple{"UTC", Date{0}, "2001-01-01 00:00:00.000 +0000"},
          {"CET-1CEST,M3.5.0,M10.5.0/3", Date{15638400.9999}, "2001-07-01 02:00:00.999 +0200"},
          {"XXX3:30", Date{-0.25}, "2000-12-31 20:29:59.750 -0330"},
          {"XXX0:30", Date{0}, "2000-12-31 23:30:00.000 -0030"},
          {"XXX-1", first, "0001-01-01 01:00:00.000 +0100"},
          {"XXX1", last, "9999-12-31 22:00:00.000 -0100"}}) {
        ::setenv("TZ", zone, 1);
        ::tzset();
        EXPECT_EQ(date.localText(), text) << zone;
    }
    EXPECT_FALSE(first.localText()) << "the year before the first, in this zone";
    for (const double seconds : {1e300, -1e300, 0.0 / 0.0 * 1})
        EXPECT_FALSE(Date{seconds}.localText());
    ::unsetenv("TZ");
    ::tzset();
}
