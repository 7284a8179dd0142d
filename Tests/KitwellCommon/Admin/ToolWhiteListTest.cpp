#include <set>

#include "KitwellCommon/Admin/MachineLibrary.h"
#include "KitwellPlatform/Applications/RunningApplication.h"

using namespace kitwell;
using namespace kitwell::test;
using platform::Array;

namespace {

constexpr std::string_view kForbidden = "The next tools are forbidden due to white-list settings: (";
const std::string kClock = "com.corvalen.kitwell.Clock";
const std::string kNotes = "com.corvalen.kitwell.Notes";

} // namespace

TEST(WhiteListText, IsSplitAndTrimmedButKeepsEveryPart) {
    const std::pair<std::string, Array> rows[] = {
        {"Alpha , Beta", {"Alpha", "Beta"}},
        {"Alpha,,Beta", {"Alpha", "", "Beta"}},
        {",", {"", ""}},
        {"\u3000\t\u00A0Clock\u2003 ,two words", {"Clock", "two words"}},
        {"\nClock\n", {"\nClock\n"}},
        {"business-toolset-only", {"business-toolset-only"}},
        {"Business-Toolset-Only,Clock", {"Business-Toolset-Only", "Clock"}},
    };
    for (const auto& [text, expected] : rows) {
        std::optional<Array> list;
        std::int64_t errorCode = 7;
        EXPECT_TRUE(KWSKeyValueHelper::arrayFromWhiteListString(text, &list, &errorCode)) << text;
        EXPECT_EQ(list, expected) << text;
        EXPECT_EQ(errorCode, 0);
    }
    LogLines log;
    std::optional<Array> list = Array{"kept"};
    std::int64_t errorCode = 7;
    EXPECT_FALSE(KWSKeyValueHelper::arrayFromWhiteListString("Clock", nullptr, &errorCode));
    EXPECT_FALSE(KWSKeyValueHelper::arrayFromWhiteListString("Clock", &list, nullptr));
    EXPECT_TRUE(list && errorCode == 7) << "a place was touched";
    EXPECT_TRUE(KWSKeyValueHelper::arrayFromWhiteListString(" \t", &list, &errorCode));
    EXPECT_TRUE(!list && errorCode == 0) << "a blank text is no white list";
    for (const std::optional<std::string_view> text :
         {std::optional<std::string_view>(),
          std::optional<std::string_view>("Clock, business-toolset-only")}) {
        list = Array{"old"};
        EXPECT_FALSE(KWSKeyValueHelper::arrayFromWhiteListString(text, &list, &errorCode));
        EXPECT_TRUE(!list && errorCode == KWS_ERR_COMMON);
    }
    EXPECT_EQ(log.lines, (std::vector<std::string>{"Ambigius white-tools-list parameters. Value "
                                                   "'business-toolset-only' must be used singly."}));
}

class WhiteList : public InMachineLibrary {};

TEST_F(WhiteList, ResolvesEachStoredFormToTheToolsThatMayBeUsed) {
    using List = std::optional<std::vector<std::string>>;
    const auto business = ToolWhiteList::businessPredefinedSet();
    const std::pair<std::string, List> rows[] = {
        {"{}", std::nullopt},
        {"no JSON", std::nullopt},
        {R"({"WhiteToolsList": ["nOTES", "Clock", "Notes"]})", List({kNotes, kClock, kNotes})},
        {R"({"WhiteToolsList": ["Clok", "", "Clock ", "%@"]})", List(std::in_place)},
        {R"({"WhiteToolsList": []})", List(std::in_place)},
        {R"({"WhiteToolsList": ["Clock", "business-toolset-only", "Nonsense"]})", business},
        {R"({"WhiteToolsList": ["Business-toolset-only"]})", List(std::in_place)},
        {R"({"WhiteToolsList": [1, "Clock", null, ["Notes"], {}]})", List({kClock})},
        {R"({"WhiteToolsList": "Clock"})", List(std::in_place)},
        {R"({"WhiteToolsList": null})", List(std::in_place)},
        {R"({"WhiteToolsList": {"Clock": true}})", List(std::in_place)},
    };
    EXPECT_EQ(ToolWhiteList::loadWhiteList(), std::nullopt) << "without a file";
    for (const auto& [text, expected] : rows) {
        writeSettings(text);
        EXPECT_EQ(ToolWhiteList::loadWhiteList(), expected) << text;
    }
}

TEST_F(WhiteList, DecidesByTheListOfItsTimeAndNamesWhatItForbids) {
    LogLines log;
    const auto forbiddenIn = [&] {
        std::string line;
        for (const std::string& one : log.lines)
            line = one.starts_with(kForbidden) ? one : line;
        log.lines.clear();
        return line;
    };
    EXPECT_EQ(ToolWhiteList::sharedInstance(), nullptr);
    const auto free = ToolWhiteList::createSharedInstance();
    EXPECT_EQ(forbiddenIn(), "");
    EXPECT_TRUE(free->isToolAllowedWithBundleId(kClock));
    for (const char* stranger :
         {"com.corvalen.kitwell.clock", "com.corvalen.kitwell", "com.corvalen.kitwell.Clo", ""})
        EXPECT_FALSE(free->isToolAllowedWithBundleId(stranger)) << stranger;

    writeSettings(R"({"WhiteToolsList": ["CLOCK"]})");
    EXPECT_TRUE(ToolWhiteList::sharedInstance()->isToolAllowedWithBundleId(kNotes)) << "read anew";
    const auto strict = ToolWhiteList::createSharedInstance();
    EXPECT_EQ(strict, ToolWhiteList::sharedInstance());
    EXPECT_TRUE(strict->isToolAllowedWithBundleId(kClock));
    EXPECT_FALSE(strict->isToolAllowedWithBundleId(kNotes));
    EXPECT_FALSE(strict->isToolAllowed(platform::RunningApplication{1, kNotes, ""}));
    const std::string line = forbiddenIn();
    EXPECT_NE(line.find(kNotes), line.npos);
    EXPECT_EQ(line.find(kClock + ","), line.npos);

    writeSettings(R"({"WhiteToolsList": []})");
    ToolWhiteList::createSharedInstance();
    std::string all;
    for (const std::string& tool : ToolWhiteList::fullSet())
        all += (all.empty() ? "" : ", ") + tool;
    EXPECT_EQ(forbiddenIn(), std::string(kForbidden) + all + ")");
}

TEST(ToolCatalogue, HoldsTheSuiteAndTheBusinessSetKeepsItsOrder) {
    const auto all = ToolWhiteList::fullSet();
    EXPECT_GE(all.size(), 24U);
    EXPECT_EQ(std::set(all.begin(), all.end()).size(), all.size());
    for (const std::string name : {"Clock", "DiskSpace", "Counter", "Notes", "PageSnap"})
        EXPECT_TRUE(ToolWhiteList::isFoundCaseInsensitveString("com.corvalen.kitwell." + name, all)) << name;
    std::vector<std::string> expected = all;
    for (const std::string_view excluded : toolsWithoutBusinessUse())
        EXPECT_EQ(std::erase(expected, std::string(excluded)), 1U) << excluded << " is no tool";
    EXPECT_EQ(ToolWhiteList::businessPredefinedSet(), expected);
    std::string found = "untouched";
    EXPECT_FALSE(ToolWhiteList::isFoundCaseInsensitveString("x", {"xy", ""}, &found));
    EXPECT_EQ(found, "untouched");
    EXPECT_TRUE(ToolWhiteList::isFoundCaseInsensitveString("aB", {"b", "Ab", "ab"}, &found));
    EXPECT_EQ(found, "Ab");
}

CHILD_BODY(loadsABadName) {
    platform::setMachineLibraryForTests(arguments[0]);
    LogLines log;
    ToolWhiteList::loadWhiteList();
    for (const std::string& line : log.lines)
        say(line);
    return 0;
}

TEST_F(WhiteList, UnknownNamesAreLoggedOnlyToThoseWhoLookClosely) {
    writeSettings(R"({"WhiteToolsList": ["Clok"]})");
    const auto linesWith = [this](const char* extended) {
        ::setenv("KITWELL_EXTENDED_LOGGING", extended, 1);
        auto child = ChildProcess::body("loadsABadName", {home.path("Library")});
        return child.waitForLine("Wrong toolname in white-list - 'Clok'. Will be ignored");
    };
    EXPECT_TRUE(linesWith("1"));
    EXPECT_FALSE(linesWith("0"));
    ::unsetenv("KITWELL_EXTENDED_LOGGING");
}
