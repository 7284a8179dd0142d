#include "KitwellPlatform/Values/PropertyList.h"

#include "Support/Harness.h"
#include <bit>
#include <tuple>

namespace kitwell::platform {
namespace {

constexpr auto kLeastSigned = std::numeric_limits<std::int64_t>::min();
constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr auto kMostUnsigned = std::numeric_limits<std::uint64_t>::max();

Result<Value> parse(std::string_view bytes) {
    return parsePropertyList(std::as_bytes(std::span(bytes)));
}

std::string written(const Value& value) {
    const auto data = writeBinaryPropertyList(value);
    return data ? std::string(data->text()) : "error: " + data.error().description;
}

Value readBack(const Value& value) {
    auto read = parse(written(value));
    return read ? *std::move(read) : Value(NumberText{read.error().description});
}

std::string bytesOfHex(std::string_view hex) {
    std::string bytes;
    for (std::size_t at = 0; at < hex.size(); at += 2)
        bytes += static_cast<char>(std::stoi(std::string(hex.substr(at, 2)), nullptr, 16));
    return bytes;
}

// A file of these objects (in hexadecimal), the first of them the root, with offsets and references of one
// byte.
std::string fileOf(const std::vector<std::string>& objects) {
    std::string file = "bplist00";
    std::string offsets;
    for (const std::string& object : objects) {
        offsets += static_cast<char>(file.size());
        file += bytesOfHex(object);
    }
    const auto table = static_cast<char>(file.size());
    const auto count = static_cast<char>(objects.size());
    return file + offsets + std::string(6, '\0') + "\1\1" + std::string(7, '\0') + count +
           std::string(15, '\0') + table;
}

std::string xml(std::string_view content) {
    return "<plist version=\"1.0\">" + std::string(content) + "</plist>";
}

Value nested(std::size_t depth) {
    Value value("leaf");
    for (std::size_t level = 0; level < depth; ++level)
        value = Array{std::move(value)};
    return value;
}

// Arrays one inside the other, each of which holds the next one 14 times; the last holds the leaf.
std::string bomb(int levels, const std::string& leaf) {
    std::vector<std::string> objects;
    for (int level = 1; level <= levels; ++level) {
        objects.emplace_back("ae");
        for (int member = 0; member < 14; ++member)
            objects.back() += "0" + std::to_string(level);
    }
    objects.push_back(leaf);
    return fileOf(objects);
}

Dictionary everyKind() {
    return {{"true", true},
            {"small", 200},
            {"negative", -2},
            {"large", (std::uint64_t{1} << 63) + 5},
            {"real", -0.5},
            {"date", *Date::fromIso8601("1969-07-20T20:17:40Z")},
            {"data", Data(std::string_view("\0\xff", 2))},
            {"text", "Gr\u00fc\u00dfe \U0001F388"},
            {"list", Array{1, "text", Array(), Dictionary()}},
            {"long", "abcdefghijklmnop"}};
}

TEST(BinaryPropertyList, ReadsEveryKindAsAnotherProgramWroteIt) {
    const auto read = parse(bytesOfHex(
        "62706c6973743030da0102030405060708090a0b0c0d0e0f1011121317547472756555736d616c6c586e6567617469766555"
        "6c61726765547265616c546461746554646174615474657874546c697374546c6f6e670910c813fffffffffffffffe140000"
        "000000000000800000000000000523bfe000000000000033c1cd94194e0000004200ff680047007200fc00df00650020d83c"
        "df88a4140815161001a0d05f10106162636465666768696a6b6c6d6e6f70081d222831373c41464b5055565861727b848798"
        "9d9fa0a100000000000001010000000000000018000000000000000000000000000000b4"));
    ASSERT_TRUE(read) << read.error().description;
    EXPECT_EQ(*read, Value(everyKind()));
    // Written with one object for the two equal texts and one for the two equal numbers.
    EXPECT_EQ(written(Dictionary{{"k", Array{"k", 1, std::uint64_t{1}}}}),
              fileOf({"d10102", "516b", "a3010303", "1001"}));
}

TEST(BinaryPropertyList, KeepsEveryNumberAndDateBitForBit) {
    const auto bits = [](double number) { return std::bit_cast<std::uint64_t>(number); };
    const double nanWithPayload = std::bit_cast<double>(0x7FF80000DEADBEEF);
    for (const double number : {0.0, -0.0, 0.1, -1e308, 5e-324, nanWithPayload, -kInfinity}) {
        EXPECT_EQ(bits(*readBack(number).asDouble()), bits(number));
        EXPECT_EQ(bits(readBack(Date{number}).asDate()->secondsSinceReference), bits(number));
    }
    for (const std::int64_t number : {0L, 255L, 256L, 65536L, 1L << 32, -1L, kLeastSigned + 1, kLeastSigned})
        EXPECT_EQ(*readBack(number).asSigned(), number);
    EXPECT_EQ(readBack(kMostUnsigned), Value(kMostUnsigned));
}

TEST(BinaryPropertyList, KeepsTextsOfEveryWidthAndLength) {
    for (const std::size_t length : {0U, 1U, 14U, 15U, 255U, 256U, 70000U}) {
        const std::string ascii(length, 'a');
        for (const char* last : {"", "\x7F", "\u0080", "\u07FF", "\u0800", "\uD7FF", "\uE000", "\uFFFF",
                                 "\U00010000", "\U0010FFFF"}) {
            const std::string text = ascii + last;
            EXPECT_EQ(readBack(text), Value(text)) << length << " and " << last;
        }
        EXPECT_EQ(readBack(Data(ascii)), Value(Data(ascii)));
    }
    EXPECT_EQ(readBack(std::string("a\0b", 3)), Value(std::string("a\0b", 3)));
}

TEST(BinaryPropertyList, KeepsReferencesAndOffsetsOfEveryWidth) {
    for (const int count : {0, 14, 15, 255, 256, 65536}) {
        Array array;
        Dictionary dictionary;
        for (int number = 0; number < count; ++number) {
            array.emplace_back(number);
            dictionary.set("key " + std::to_string(number), number % 7);
        }
        EXPECT_EQ(readBack(array), Value(array)) << count;
        EXPECT_EQ(readBack(dictionary), Value(dictionary)) << count;
    }
}

TEST(BinaryPropertyList, RefusesToWriteWhatItCouldNotReadAgain) {
    const std::pair<const char*, Value> cases[] = {
        {"null inside", Array{1, Value()}},
        {"a number kept by its text", NumberText{"1e999"}},
        {"a key that is not UTF-8", Dictionary{{"\xFF", 1}}},
        {"nesting beyond the bound", nested(kMaxPropertyListDepth + 1)},
        {"more values than the bound", Array(kMaxPropertyListValues + 1, true)},
        {"the same data too often", Array(1025, Data(std::string(kMaxPropertyListBytes / 1024, 'a')))}};
    for (const auto& [name, value] : cases)
        EXPECT_FALSE(writeBinaryPropertyList(value)) << name;
}

void expectFault(const std::string& file, std::int64_t position) {
    const auto read = parse(file);
    ASSERT_FALSE(read) << position << ": " << file;
    EXPECT_EQ(read.error().code, position) << file << ": " << read.error().description;
}

using FaultsByPosition = std::vector<std::pair<int, std::vector<std::string>>>;

TEST(BinaryPropertyList, AnswersObjectsThatAreNoneWithThePositionOfTheFault) {
    const FaultsByPosition faults{
        // Null, a user identifier, a set, unknown markers, scalars of odd widths;
        {8, {"00", "8001", "c100", "ff", "15", "210000", "3200000000"}},
        // integers beyond 64 bits, scalars and lengths cut by the table;
        {8, {"14000000000000000100000000000000ff", "14ffffffffffffffff00000000000000ff"}},
        {8, {"1300", "2300", "3300", "5361", "5f"}},
        // lengths of 2^62 members, of bytes that wrap around, of no integer, an array inside itself;
        {8, {"af134000000000000000", "6f137fffffffffffffff", "5f5161", "a100"}},
        // a length cut by the table, a negative one, halves of surrogate pairs, a dictionary as its own key;
        {9, {"5f10", "4f13ffffffffffffffff", "62d8000061", "61d800", "d10000"}},
        // ASCII that is none, the other half of a surrogate pair.
        {10, {"5261c3"}},
        {11, {"620061dc00"}}};
    for (const auto& [position, objects] : faults)
        for (const std::string& object : objects)
            expectFault(fileOf({object}), position);
}

// A file of a few hundred bytes must neither crash the reader nor make it fill memory.
TEST(BinaryPropertyList, AnswersHostileReferencesWithThePositionOfTheFault) {
    expectFault(fileOf({"a2010a", "09"}), 10);                  // to no object
    expectFault(fileOf({"a101", "a100"}), 8);                   // two arrays inside each other
    expectFault(bomb(7, "09"), 98);                             // an array used a hundred million times
    expectFault(bomb(5, "5f108c" + std::string(280, '6')), 83); // a text used half a million times
    expectFault(fileOf({"d10101", "1001"}), 9);                 // a key that is a number
}

TEST(BinaryPropertyList, RefusesATrailerThatLies) {
    const std::tuple<std::size_t, char, std::int64_t> changes[] = {{9, 7, 9},   {9, 9, 9},    {16, 0, 16},
                                                                   {17, 9, 17}, {18, 1, 18},  {25, 0, 26},
                                                                   {33, 1, 26}, {34, -1, 34}, {41, 7, 34}};
    for (const auto& [at, byte, position] : changes)
        expectFault(fileOf({"09"}).replace(at, 1, 1, byte), position);
}

TEST(BinaryPropertyList, AFileCutAnywhereIsAnError) {
    const std::string whole = written(everyKind());
    for (std::size_t length = 0; length < whole.size(); ++length)
        EXPECT_FALSE(parse(whole.substr(0, length))) << length;
}

TEST(PropertyList, TheLastOfEqualKeysWins) {
    const Value wanted = Dictionary{{"k", 2}};
    EXPECT_EQ(*parse(fileOf({"d201010203", "516b", "1001", "1002"})), wanted);
    EXPECT_EQ(*parse(xml("<dict><key>k</key><true/><key>k</key><integer>2</integer></dict>")), wanted);
}

TEST(XmlPropertyList, ReadsEveryKind) {
    const std::pair<std::string, Value> cases[] = {
        {"<true/>", true},
        {"<false> </false>", false},
        {"<integer>18446744073709551615</integer>", kMostUnsigned},
        {"<integer>-0x8000000000000000</integer>", kLeastSigned},
        {"<real>+1e3</real>", 1000.0},
        {"<real>-infinity</real>", -kInfinity},
        {"<date>2026-02-28T23:59:59Z</date>", *Date::fromIso8601("2026-02-28T23:59:59Z")},
        {"<data>\n\tSGVs\n\tbG8=\n</data>", Data(std::string_view("Hello"))},
        {"<data>SGVsbA==</data>", Data(std::string_view("Hell"))},
        {"<string/>", ""},
        {"<string> a&amp;&lt;b&#x1F388;<!-- not here --><![CDATA[<c>]]> </string>", " a&<b\U0001F388<c> "},
        {"<array><array/><dict/></array>", Array{Array(), Dictionary()}},
        {"<dict><key/><array><true/></array><key>b</key><string>c</string></dict>",
         Dictionary{{"", Array{true}}, {"b", "c"}}}};
    for (const auto& [content, wanted] : cases) {
        const auto read = parse(xml(content));
        ASSERT_TRUE(read) << content << ": " << read.error().description;
        EXPECT_EQ(*read, wanted) << content;
    }
    EXPECT_TRUE(std::isnan(*parse(xml("<real>nan</real>"))->asDouble()));
}

TEST(XmlPropertyList, ReadsAWholeDocumentWithADeclarationAndADoctype) {
    EXPECT_EQ(*parse("<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>\n<!DOCTYPE plist PUBLIC \"-//x//y\" "
                     "\"http://localhost/nothing.dtd\">\n" +
                     xml("<string>\xE9</string>")),
              Value("\u00e9"));
}

TEST(XmlPropertyList, AnswersHostileDocumentsWithThePositionOfTheFault) {
    const FaultsByPosition contents{
        {7, {"", "<plist/>", "<other/>", "text", "<key>k</key>"}},
        {13, {"<dict><true/></dict>"}},
        {14, {"<true/><true/>", "<array>text</array>", "<array><key>k</key></array>"}},
        {15, {"<string>\xC3(</string>", "<string><true/></string>", "<string>&unknown;</string>"}},
        {25, {"<dict><key>k</key></dict>", "<dict><key>k</key><key>l</key></dict>"}}};
    for (const auto& [position, texts] : contents)
        for (const std::string& text : texts)
            expectFault("<plist>" + text + "</plist>", position);
    const FaultsByPosition documents{
        {0, {"", "bplist01", "<true/>"}},
        {14, {"<plist><true/>"}},
        {16, {"<!DOCTYPE plist [<!ENTITY e \"eeee\">]><plist><string>&e;</string></plist>"}},
        {46, {"<!DOCTYPE plist SYSTEM \"a.dtd\"><plist><string>&later;</string></plist>"}}};
    for (const auto& [position, texts] : documents)
        for (const std::string& text : texts)
            expectFault(text, position);
}

TEST(XmlPropertyList, AnswersScalarsThatAreNoneWithTheirEnd) {
    const std::pair<std::string, std::vector<std::string>> cases[] = {
        {"integer", {"", "1x", "--1", "0x", "1.0", "18446744073709551616", "-9223372036854775809"}},
        {"real", {"", "1,5", "+-1", "1e999", "0x1p3"}},
        {"date", {"", "2026-02-29T00:00:00Z", "2026-01-01"}},
        {"data", {"SGVsb", "SG=s", "S===", "SGV*", "===="}},
        {"true", {"x"}}};
    for (const auto& [kind, texts] : cases)
        for (const std::string& text : texts) {
            const std::string start = "<plist><" + kind + ">" + text;
            const auto read = parse(start + "</" + kind + "></plist>");
            EXPECT_TRUE(!read && read.error().code <= static_cast<std::int64_t>(start.size()))
                << kind << text;
        }
}

TEST(PropertyList, NestingIsReadUpToTheBoundAndNoFurther) {
    EXPECT_EQ(readBack(nested(kMaxPropertyListDepth)), nested(kMaxPropertyListDepth));
    std::string content = "<string>leaf</string>";
    for (std::size_t level = 0; level < kMaxPropertyListDepth; ++level)
        content = "<array>" + content + "</array>";
    EXPECT_EQ(*parse(xml(content)), nested(kMaxPropertyListDepth));
    EXPECT_FALSE(parse(xml("<array>" + content + "</array>")));
}

} // namespace
} // namespace kitwell::platform
