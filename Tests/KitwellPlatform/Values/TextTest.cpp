#include "KitwellPlatform/Values/Text.h"
#include "Support/Harness.h"

using namespace kitwell::platform;

TEST(FormatText, FillsPlaceHoldersAndLeavesStandingWhatDoesNotFit) {
    EXPECT_EQ(formatText("%ld.%ld.%ld (%ld)", 1, 2L, -3LL, 4U), "1.2.-3 (4)");
    EXPECT_EQ(formatText("%lu %d", UINT64_MAX, UINT64_MAX), "18446744073709551615 18446744073709551615");
    EXPECT_EQ(formatText("%g|%.1f|%-6.2f|", 0.1, 2.25, 1.0), "0.1|2.2|1.00  |");
    EXPECT_EQ(formatText("%@ %@ %@", 1, 2.5, std::string_view("x\0y", 3)), std::string("1 2.5 x\0y", 9));
    EXPECT_EQ(formatText("100%% %@"), "100% %@");
    EXPECT_EQ(formatText("%d %@ %", "text", 1), "%d 1 %");
    EXPECT_EQ(formatText("%n%p%*d %9999999d %d", 1, 2, 3, 4), "%n%p%*d %9999999d 4")
        << "a format can misuse its arguments";
    EXPECT_EQ(formatText("%f", 1e300).size(), 308U) << "a long number is cut";
}

TEST(Utf8, WhatIsNotWellFormedIsNoText) {
    for (const char* bad :
         {"\x80", "\xC1\xBF", "\xC2", "\xE0\x9F\xBF", "\xED\xA0\x80", "\xE2\x82", "\xE2\x28\xA1",
          "\xF0\x8F\xBF\xBF", "\xF4\x90\x80\x80", "\xF5\x80\x80\x80", "\xF0\x90\x80\x41", "a\xFF"})
        EXPECT_FALSE(textFromUtf8(bad)) << bad;
}
