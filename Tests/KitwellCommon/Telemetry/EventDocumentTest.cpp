#include <cstdlib>
#include <limits>
#include <regex>

#include "KitwellPlatform/Machine/Machine.h"
#include "KitwellPlatform/Preferences/UserDefaults.h"
#include "KitwellPlatform/Values/Text.h"
#include "Support/TestBundle.h"
#include "TelemetryLogs.h"

using namespace kitwell;
using namespace kitwell::test;
using platform::Array;
using platform::Data;
using platform::Date;
using platform::Dictionary;
using platform::Machine;
using platform::UserDefaults;
using platform::Value;

namespace {

struct Event {
    std::string action;
    Value attributes, options, details;
    std::string expected; // behind the action's quote
};

constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

Event withOptions(const char* action, Value options, const std::string& attributes) {
    return {action, {}, std::move(options), {}, ">\n\t<options" + attributes + "/>\n</event>\n"};
}

Event withLongText() {
    constexpr std::size_t kSize = 1U << 20U;
    std::string escaped;
    for (std::size_t count = 0; count < kSize; ++count)
        escaped += "&lt;";
    return withOptions("Long", Array{std::string(kSize, '<')}, " _0=\"" + escaped + "\"");
}

Event withManyItems() {
    Array items;
    std::string attributes;
    for (int number = 0; number < 10000; ++number) {
        items.emplace_back(number);
        attributes += platform::formatText(" _%d=\"%d\"", number, number);
    }
    return withOptions("Many", items, attributes);
}

Event nestedDeeply() {
    constexpr std::size_t kDepth = 1000;
    const std::string tabs(7, '\t');
    Value nested = Dictionary{{"x", 1}};
    std::string text = tabs + "<d x=\"1\"/>\n";
    for (std::size_t depth = kDepth - 1; depth >= 2; --depth) {
        nested = Dictionary{{"d", nested}};
        const std::string here(std::min(depth, tabs.size()), '\t');
        text = here + "<d>\n" + text + here + "</d>\n";
    }
    return {
        "Deep", {}, {}, Dictionary{{"d", nested}}, ">\n\t<details>\n" + text + "\t</details>\n</event>\n"};
}

const Dictionary kExampleOptions{{"format", "png"}, {"delay", 3}, {"sound", true}};
const Dictionary kExampleDetails{{"duration", 1.5},
                                 {"area", Dictionary{{"width", 800}, {"height", 600}}},
                                 {"files", Array{"a.png", "b&c.png"}}};
constexpr char kExample[] = R"(>
	<options format="png" delay="3" sound="true"/>
	<details duration="1.5">
		<area width="800" height="600"/>
		<files _0="a.png" _1="b&amp;c.png"/>
	</details>
</event>
)";
constexpr char kChild[] = R"( a="1">
	<c b="false"/>
	<details>
		<_0 _0="x" _2="y"/>
	</details>
</event>
)";

std::vector<Event> wellFormedEvents() {
    const auto year = [](int number) { return *Date::fromCalendar({number, 12, 31, 22, 59, 59.5}); };
    return {
        {"Capture", {}, kExampleOptions, kExampleDetails, kExample},
        {"Capture", {}, {}, {}, "/>\n"},
        {"Empty", Dictionary(), Dictionary(), Array(), "/>\n"},
        {"Neither", {}, "text", 7, "/>\n"},
        {"Bad\xFF\x01", Dictionary{{"a", "1"}}, {}, {}, " a=\"1\"/>\n"},
        {"Child",
         Dictionary{{"c", Dictionary{{"b", false}}}, {"a", 1}},
         {},
         Array{Array{"x", {}, "y"}},
         kChild},
        withOptions("Skipped", Dictionary{{"null", {}}, {"data", Data::copying({})}}, ""),
        withOptions("Escapes", Array{"&<>\"'", "&amp;\xC3\xA9\xF0\x9F\x98\x80", "]]>", "\t\n\r\x7F"},
                    R"( _0="&amp;&lt;&gt;&quot;'" _1="&amp;amp;&#xE9;&#x1F600;" _2="]]&gt;")"
                    R"( _3="&#x9;&#xA;&#xD;&#x7F;")"),
        withOptions("NoText", Array{"\xFF", "a\xC3", "\xED\xA0\x80", std::string("\0\x01", 2)},
                    R"( _0="&#xFFFD;" _1="a&#xFFFD;" _2="&#xFFFD;&#xFFFD;&#xFFFD;" _3="&#xFFFD;&#xFFFD;")"),
        withOptions("Whole", Array{INT64_MAX, INT64_MIN, UINT64_MAX, 0},
                    R"( _0="9223372036854775807" _1="-9223372036854775808" _2="-1" _3="0")"),
        withOptions("NotFinite", Array{kNan, -kNan, kInfinity, -kInfinity},
                    R"( _0="nan" _1="-nan" _2="inf" _3="-inf")"),
        withOptions("Real", Array{1e6, 999999.0, 0.0001, 1e-5, 1e308, -0.0, 3.0, 0.1 + 0.2},
                    R"( _0="1e+06" _1="999999" _2="0.0001" _3="1e-05" _4="1e+308" _5="-0" _6="3" _7="0.3")"),
        withOptions("Dates", Array{year(1), year(9999), Date{1e300}},
                    R"( _0="0001-12-31 23:59:59.500 +0100" _1="9999-12-31 23:59:59.500 +0100")"),
        withLongText(),
        withManyItems(),
        nestedDeeply(),
    };
}

// What is written as it comes is the program's own words, so that it can spoil a document.
std::vector<Event> markupEvents() {
    return {withOptions("&<>\"", Dictionary{{"&<>\"", "&<>\""}}, R"( &<>"="&amp;&lt;&gt;&quot;")")};
}

} // namespace

CHILD_BODY(recordsEvents) {
    if (CEPLogInit() != 0)
        return 1;
    for (const Event& event : arguments[0] == "markup" ? markupEvents() : wellFormedEvents()) {
        if (CEPLogEvent(event.action, event.attributes, event.options, event.details) != 0)
            return 1;
    }
    return 0;
}

class EventDocument : public TelemetryLogs {
protected:
    EventDocument() { ::setenv("LC_ALL", "de_DE.UTF-8", 1); }

    // The document that the events make, less what all of them begin with.
    std::string recorded(const std::string& events) const {
        const auto program = makeTestBundle(home.path(), "Example Tool", "com.corvalen.kitwell.ExampleTool");
        addVersion(testBundlePath(home.path(), "Example Tool"));
        EXPECT_EQ(ChildProcess::program(program, {"--child", "recordsEvents", events}).wait(), 0);
        const std::regex start("<event timestamp=\"\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d\\.\\d{3}\" "
                               "tool=\"com\\.corvalen\\.kitwell\\.ExampleTool\" toollocation=\"" +
                               home.path() + "/Example Tool\\.app\" toolversion=\"2\\.4\\.1-918\" action=");
        return std::regex_replace(contentOf(active), start, "<event ");
    }
    static void addVersion(const std::string& bundle) {
        const std::string path = bundle + "/Contents/Info.plist";
        writeFile(path, std::regex_replace(contentOf(path), std::regex("<dict>"),
                                           "<dict><key>CFBundleShortVersionString</key><string>2.4.1</string>"
                                           "<key>CFBundleVersion</key><string>918</string>"));
    }
    static std::string expected(const Event& event) {
        const std::string bad = "Bad\xFF\x01";
        return "<event \"" + (event.action == bad ? "Bad\xEF\xBF\xBD\xEF\xBF\xBD" : event.action) + "\"" +
               event.expected;
    }
    static std::string header(const std::string& browser, const std::string& doNotDisturb,
                              const std::string& notifications, const std::string& info) {
        const auto os = Machine::osVersion();
        return platform::formatText(
            R"(<?xml version="1.0" encoding="UTF-8"?>
<CorvalenProblemReport>
<Type>9</Type>
<ReportReason>0</ReportReason>
<ProductName>Corvalen Kitwell</ProductName>
<HardwareUUID>%@</HardwareUUID>
<OSVersion>%ld.%ld.%ld</OSVersion>
<ComputerModel>%@</ComputerModel>
<Locale>de_DE</Locale>
<ClientVersion>2.4.1-918</ClientVersion>
<SafariVersion>%@</SafariVersion>
<MoreHostInfo>
<SystemDoNotDisturb>%@</SystemDoNotDisturb>
<Notifications>
%@</Notifications>
<HasBattery>%@</HasBattery>
</MoreHostInfo>
<KitwellInfo>
%@</KitwellInfo>
<CepCustomData>
)",
            Machine::platformUUID(), os.majorVersion, os.minorVersion, os.patchVersion, Machine::model(),
            browser, doNotDisturb, notifications, Machine::hasInternalBattery() ? "yes" : "no", info);
    }
};

TEST_F(EventDocument, EveryByteIsAsTold) {
    ::setenv("TZ", "CET-1", 1);
    const std::string document = recorded("well-formed");
    const std::string start = header("", "0", "", R"(	<Shortcuts count="0" active_count="0">no</Shortcuts>
	<StartupAtLogin enabled="0">no</StartupAtLogin>
	<AutomaticUpdates enabled="1">yes</AutomaticUpdates>
)");
    ASSERT_EQ(document.substr(0, start.size()), start);
    std::string_view rest = std::string_view(document).substr(start.size());
    for (const Event& event : wellFormedEvents()) {
        const std::string wanted = expected(event);
        ASSERT_TRUE(rest.starts_with(wanted)) << rest.substr(0, 600) << "\n" << wanted.substr(0, 600);
        rest.remove_prefix(wanted.size());
    }
    EXPECT_EQ(rest, "");
    EXPECT_TRUE(areWellFormed(collect()));
}

TEST_F(EventDocument, HeaderTellsOfThePreferencesAndMarkupStays) {
    const auto set = [](UserDefaults preferences, const std::string& key, Value value) {
        preferences.setObjectForKey(std::move(value), key);
        EXPECT_TRUE(preferences.synchronize());
    };
    Array applications{"text", Dictionary()};
    for (const auto& [identifier, flags] : {std::pair{Value("com.corvalen.kitwell"), Value(0x08)},
                                            {"com.corvalen.kitwell.Tool", 0x10},
                                            {"com.corvalen.other", 8},
                                            {"com.corvalen.kitwell.\x01", 7.0},
                                            {8, 8},
                                            {"com.corvalen.kitwell", "8"}})
        applications.push_back(Dictionary{{"bundle-id", identifier}, {"flags", flags}});
    set(UserDefaults::forApplication("com.apple.ncprefs"), "apps", applications);
    set(UserDefaults::forApplicationOnThisHost("com.apple.notificationcenterui"), "doNotDisturb", true);
    set(UserDefaults::forApplication("com.corvalen.kitwell"), "Shortcuts",
        Array{Dictionary{{"active", true}}, Dictionary{{"active", false}}, "text"});
    set(UserDefaults::forApplication("com.corvalen.kitwell.ExampleTool"), "disableAutomaticUpdates", true);
    makeTestBundle(home.path("data/Kitwell/Applications"), "Browser", "com.apple.safari");
    addVersion(testBundlePath(home.path("data/Kitwell/Applications"), "Browser"));
    const std::string notifications =
        "\t<Notification tool=\"com.corvalen.kitwell\" enabled=\"yes\">8</Notification>\n"
        "\t<Notification tool=\"com.corvalen.kitwell.Tool\" enabled=\"yes\">16</Notification>\n"
        "\t<Notification tool=\"com.corvalen.kitwell.\xEF\xBF\xBD\" enabled=\"no\">7</Notification>\n";
    const std::string info = R"(	<Shortcuts count="3" active_count="1">yes</Shortcuts>
	<StartupAtLogin enabled="0">no</StartupAtLogin>
	<AutomaticUpdates enabled="0">no</AutomaticUpdates>
)";
    EXPECT_EQ(recorded("markup"), header("2.4.1", "1", notifications, info) + expected(markupEvents()[0]));
}
