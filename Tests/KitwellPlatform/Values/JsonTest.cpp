#include "KitwellPlatform/Values/Json.h"
#include "Support/Harness.h"

using namespace kitwell::platform;

namespace {

std::string written(const Value& value, JsonLayout layout = JsonLayout::Compact) {
    const auto data = writeJson(value, layout);
    return data ? std::string(data->text()) : "refused";
}

std::string repeated(std::string_view text, std::size_t count) {
    std::string all;
    for (std::size_t at = 0; at < count; ++at)
        all += text;
    return all;
}

} // namespace

TEST(Json, WhatIsReadIsWrittenWithEveryDigitAndInItsOrder) {
    const std::string longInteger = repeated("7", 300);
    for (const std::string& text : std::vector<std::string>{
             "null", "[true,false,null]", R"({"b":[],"a":{},"":""})", R"("\"\\\b\f\n\r\t\u0000é𝄞")",
             "[0,-0,1,-1,1.0,1e5,1E5,1e+05,0.1,0.10,-1.5e-7,100000000000000000000,1e308,5e-324,1e-400,0e5]",
             "[9223372036854775807,-9223372036854775808,9223372036854775808,18446744073709551615]",
             "[18446744073709551616,0.1234567890123456789012345678901234567890,-123456789012345678901]",
             "[" + longInteger + ",-" + longInteger + "." + longInteger + "]",
             "[\"0e309\\\"\",0e309,0.0e400,-0e999,1" + repeated("0", 400) + "e-399]"}) {
        const auto value = parseJson(text);
        ASSERT_TRUE(value) << text << ": " << value.error().description;
        EXPECT_EQ(written(*value), text);
        EXPECT_EQ(parseJson(written(*value, JsonLayout::Pretty)).value(), *value);
    }
    EXPECT_EQ(parseJson("[1,18446744073709551615,0.5,1.0]").value(),
              Value(Array{1, std::numeric_limits<std::uint64_t>::max(), 0.5, NumberText{"1.0"}}));
    EXPECT_EQ(parseJson("\xEF\xBB\xBF \"a\\u00e9\\ud834\\udd1e\" \r\n").value(), Value("aé𝄞"));
    EXPECT_EQ(written(Dictionary{{"list", Array{1}}}, JsonLayout::Pretty),
              "{\n    \"list\": [\n        1\n    ]\n}\n");
}

TEST(Json, WhatIsNoJsonIsAnErrorWithItsPlace) {
    const struct {
        std::string text;
        JsonFault fault;
        JsonPosition position;
    } rows[] = {
        {"", JsonFault::Empty, {1, 1}},
        {" \n", JsonFault::Empty, {2, 1}},
        {"{}x", JsonFault::Syntax, {1, 3}},
        {std::string("{}\0", 3), JsonFault::Syntax, {1, 3}},
        {"[1,\n 2,\n ]", JsonFault::Syntax, {3, 2}},
        {"{\"é\": 01}", JsonFault::Syntax, {1, 8}},
        {"NaN", JsonFault::Syntax, {1, 1}},
        {"[1e5e5]", JsonFault::Syntax, {1, 5}},
        {"[--1e5]", JsonFault::Syntax, {1, 3}},
        {"[0,1e400]", JsonFault::Number, {1, 4}},
        {"[.5]", JsonFault::Syntax, {1, 2}},
        {"[1.]", JsonFault::Syntax, {1, 4}},
        {"[\"\xC3(\"]", JsonFault::Encoding, {1, 3}},
        {"[\"a\nb\"]", JsonFault::Syntax, {1, 4}},
        {R"(["\ud834"])", JsonFault::Encoding, {1, 3}},
        {R"(["\udd1e"])", JsonFault::Encoding, {1, 10}},
        {"[" + repeated("7", 400) + "]", JsonFault::Number, {1, 2}},
        {"[0.1e310,5e308]", JsonFault::Number, {1, 2}},
        {repeated("[", 100'000), JsonFault::Depth, {1, 513}},
        {repeated("{\"a\":", 100'000), JsonFault::Depth, {1, 2561}},
        {std::string(5000, ' '), JsonFault::Size, {1, 1}},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.text.substr(0, 40));
        JsonReport report;
        const std::size_t limit = row.fault == JsonFault::Size ? 4999 : kMaxJsonBytes;
        const auto value = parseJson(row.text, limit, &report);
        ASSERT_FALSE(value);
        EXPECT_EQ(value.error().code, static_cast<std::int64_t>(row.fault)) << value.error().description;
        EXPECT_EQ(report.fault, row.position) << value.error().description;
    }
}

TEST(Json, ValuesAreCountedBeforeTheyFillTheMemory) {
    EXPECT_TRUE(parseJson("[" + repeated("[],", kMaxJsonValues - 2) + "1]"));
    EXPECT_EQ(parseJson("[" + repeated("[],", kMaxJsonValues) + "1]").error().code,
              static_cast<std::int64_t>(JsonFault::Size));
}

TEST(Json, TheLastOfTwoValuesUnderOneKeyStaysAndTheKeyIsReported) {
    JsonReport report;
    const auto value = parseJson("{\"a\": {\"b\": 1,\n  \"b\": 2}, \"c\\\\\": 3,\n \"c\\\\\" : 4, \"b\": 5}",
                                 kMaxJsonBytes, &report);
    EXPECT_EQ(value.value(), Value(Dictionary{{"a", Dictionary{{"b", 2}}}, {"c\\", 4}, {"b", 5}}));
    ASSERT_EQ(report.duplicates.size(), 2U);
    EXPECT_EQ(report.duplicates[0].position, (JsonPosition{2, 3}));
    EXPECT_EQ(report.duplicates[1].key, "c\\");
    EXPECT_EQ(report.duplicates[1].position, (JsonPosition{3, 2}));
}

TEST(Json, WhatJsonHasNoWordForIsNotWritten) {
    Value deep;
    for (std::size_t level = 0; level <= kMaxJsonDepth; ++level)
        deep = Array{std::move(deep)};
    for (const Value& value :
         Array{Date{0}, Data("x"), std::nan(""), -HUGE_VAL, "\xFF", Dictionary{{"\xFF", 1}}, deep,
               NumberText{"1,2"}, NumberText{""}, NumberText{" 1"}, NumberText{"\"1\""}, NumberText{"1e999"}})
        EXPECT_EQ(written(Array{value}), "refused");
    const auto sizeFault = static_cast<std::int64_t>(JsonFault::Size);
    EXPECT_EQ(writeJson(std::string(100, 'x'), JsonLayout::Pretty, 102).error().code, sizeFault);
    EXPECT_EQ(writeJson(std::string(100, 'x'), JsonLayout::Compact, 102)->size(), 102U);
    EXPECT_EQ(writeJson(Array(kMaxJsonValues), JsonLayout::Compact).error().code, sizeFault);
    EXPECT_TRUE(Value(NumberText{"0.10"}).truth());
    EXPECT_FALSE(Value(NumberText{"0.0e10"}).truth());
}
