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

std::string repeated(const std::string& text, std::size_t count) {
    std::string all;
    while (count-- > 0)
        all += text;
    return all;
}

Event withManyItems() {
    Dictionary items;
    std::string expected;
    for (int number = 0; number < 10000; ++number) {
        items.set("i" + std::to_string(number), number);
        expected += " i" + std::to_string(number) + "=\"" + std::to_string(number) + "\"";
    }
    return {"Many", {}, items, {}, ">\n\t<options" + expected + "/>\n</event>\n"};
}

Event nestedDeeply() {
    constexpr std::size_t kDepth = 1000;
    Value nested = Dictionary{{"x", 1}};
    std::string start;
    std::string end;
    for (std::size_t depth = 2; depth <= kDepth; ++depth) {
        nested = Dictionary{{"d", nested}};
        const std::string tabs(std::min<std::size_t>(depth, 7), '\t');
        start += tabs + (depth == kDepth ? "<d x=\"1\"/>\n" : "<d>\n");
        end = (depth == kDepth ? "" : tabs + "</d>\n") + end;
    }
    return {"Deep", {}, {}, nested, ">\n\t<details>\n" + start + end + "\t</details>\n</event>\n"};
}

std::vector<Event> wellFormedEvents() {
    const Value list = Dictionary{{"list", Array{"x", {}, "y"}}};
    return {
        {"Capture",
         {},
         Dictionary{{"format", "png"}, {"delay", 3}, {"sound", true}},
         Dictionary{{"duration", 1.5},
                    {"area", Dictionary{{"width", 800}, {"height", 600}}},
                    {"files", Array{"a.png", "b&c.png"}}},
         ">\n\t<options format=\"png\" delay=\"3\" sound=\"true\"/>\n\t<details duration=\"1.5\">\n"
         "\t\t<area width=\"800\" height=\"600\"/>\n\t\t<files _0=\"a.png\" _1=\"b&amp;c.png\"/>\n"
         "\t</details>\n</event>\n"},
        {"Capture", {}, {}, {}, "/>\n"},
        {"Empty", Dictionary(), Dictionary(), Array(), "/>\n"},
        {"NoContainers", {}, "text", 7, "/>\n"},
        {"Nulls",
         {},
         Dictionary{{"gone", {}}},
         Array{Data::copying({})},
         ">\n\t<options/>\n\t<details/>\n</event>\n"},
        {"Array", {}, list, {}, ">\n\t<options>\n\t\t<list _0=\"x\" _2=\"y\"/>\n\t</options>\n</event>\n"},
        {"Attributes", Dictionary{{"a", "1"}}, {}, {}, " a=\"1\"/>\n"},
        {"Child",
         Dictionary{{"c", Dictionary{{"b", false}}}, {"a", 1}},
         {},
         Array{Array{"z"}},
         " a=\"1\">\n\t<c b=\"false\"/>\n\t<details>\n\t\t<_0 _0=\"z\"/>\n\t</details>\n</event>\n"},
        {"Escapes",
         {},
         Array{"&<>\"'", "&amp;\xC3\xA9\xF0\x9F\x98\x80", "]]>", "\t\n\r\x7F"},
         {},
         ">\n\t<options _0=\"&amp;&lt;&gt;&quot;'\" _1=\"&amp;amp;&#xE9;&#x1F600;\" _2=\"]]&gt;\""
         " _3=\"&#x9;&#xA;&#xD;&#x7F;\"/>\n</event>\n"},
        {"NoText",
         {},
         Array{"\xFF", "a\xC3", "\xED\xA0\x80", std::string("\0\x01", 2), "\xEF\xBF\xBF"},
         {},
         ">\n\t<options _0=\"&#xFFFD;\" _1=\"a&#xFFFD;\" _2=\"&#xFFFD;&#xFFFD;&#xFFFD;\""
         " _3=\"&#xFFFD;&#xFFFD;\" _4=\"&#xFFFD;\"/>\n</event>\n"},
        {"Bad\xFF\x01", {}, {}, {}, "/>\n"},
        {"Whole",
         {},
         Array{INT64_MAX, INT64_MIN, UINT64_MAX, 0},
         {},
         ">\n\t<options _0=\"9223372036854775807\" _1=\"-9223372036854775808\" _2=\"-1\" "
         "_3=\"0\"/>\n</event>\n"},
        {"Real",
         {},
         Array{kNan, -kNan, kInfinity, -kInfinity, 1e6, 999999.0, 0.0001, 1e-5, 1e308, -0.0, 3.0, 0.1 + 0.2,
               123456.7},
         {},
         ">\n\t<options _0=\"nan\" _1=\"-nan\" _2=\"inf\" _3=\"-inf\" _4=\"1e+06\" _5=\"999999\""
         " _6=\"0.0001\" _7=\"1e-05\" _8=\"1e+308\" _9=\"-0\" _10=\"3\" _11=\"0.3\" "
         "_12=\"123457\"/>\n</event>\n"},
        {"Dates",
         {},
         Array{*Date::fromCalendar({1, 1, 1, 0, 0, 0}), Date{0.25},
               *Date::fromCalendar({9999, 12, 31, 22, 59, 59.5}), Date{1e300}},
         {},
         ">\n\t<options _0=\"0001-01-01 01:00:00.000 +0100\" _1=\"2001-01-01 01:00:00.250 +0100\""
         " _2=\"9999-12-31 23:59:59.500 +0100\"/>\n</event>\n"},
        {"Long",
         {},
         {},
         Array{std::string(1U << 20U, '<')},
         ">\n\t<details _0=\"" + repeated("&lt;", 1U << 20U) + "\"/>\n</event>\n"},
        withManyItems(),
        nestedDeeply(),
    };
}

// What is written as it comes is the program's own words, so that it can spoil a document.
std::vector<Event> markupEvents() {
    return {{"&<>\"",
             {},
             Dictionary{{"&<>\"", "&<>\""}},
             {},
             ">\n\t<options &<>\"=\"&amp;&lt;&gt;&quot;\"/>\n</event>\n"}};
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
    const std::string tool = testBundlePath(home.path("data"), "Example Tool");

    // The document that the events make, without the time of each.
    std::string recorded(const std::string& events) {
        const auto program =
            makeTestBundle(home.path("data"), "Example Tool", "com.corvalen.kitwell.ExampleTool");
        addVersions(tool, "2.4.1", "918");
        EXPECT_EQ(ChildProcess::program(program, {"--child", "recordsEvents", events}).wait(), 0);
        static const std::regex time(
            "timestamp=\"[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2}\\.[0-9]{3}\"");
        return std::regex_replace(contentOf(active), time, "timestamp=\"T\"");
    }
    static void addVersions(const std::string& bundle, const std::string& shortVersion,
                            const std::string& version) {
        const std::string path = bundle + "/Contents/Info.plist";
        const std::string list = contentOf(path);
        writeFile(path, std::regex_replace(list, std::regex("<dict>"),
                                           "<dict><key>CFBundleShortVersionString</key><string>" +
                                               shortVersion + "</string><key>CFBundleVersion</key><string>" +
                                               version + "</string>"));
    }
    std::string expected(const std::vector<Event>& events) const {
        std::string text;
        for (const Event& event : events)
            text += "<event timestamp=\"T\" tool=\"com.corvalen.kitwell.ExampleTool\" toollocation=\"" +
                    tool + "\" toolversion=\"2.4.1-918\" action=\"" +
                    std::regex_replace(event.action, std::regex("\xFF\x01"), "\xEF\xBF\xBD\xEF\xBF\xBD") +
                    "\"" + event.expected;
        return text;
    }
    static std::string header(const std::string& browser, const std::string& doNotDisturb,
                              const std::string& notifications, const std::string& info) {
        const auto os = Machine::osVersion();
        return platform::formatText(
                   "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<CorvalenProblemReport>\n<Type>9</Type>\n"
                   "<ReportReason>0</ReportReason>\n<ProductName>Corvalen Kitwell</ProductName>\n"
                   "<HardwareUUID>%@</HardwareUUID>\n<OSVersion>%ld.%ld.%ld</OSVersion>\n"
                   "<ComputerModel>%@</ComputerModel>\n<Locale>de_DE</Locale>\n"
                   "<ClientVersion>2.4.1-918</ClientVersion>\n<SafariVersion>%@</"
                   "SafariVersion>\n<MoreHostInfo>\n"
                   "<SystemDoNotDisturb>%@</SystemDoNotDisturb>\n",
                   Machine::platformUUID(), os.majorVersion, os.minorVersion, os.patchVersion,
                   Machine::model(), browser, doNotDisturb) +
               "<Notifications>\n" + notifications + "</Notifications>\n<HasBattery>" +
               (Machine::hasInternalBattery() ? "yes" : "no") +
               "</HasBattery>\n</MoreHostInfo>\n<KitwellInfo>\n" + info + "</KitwellInfo>\n<CepCustomData>\n";
    }
};

TEST_F(EventDocument, EveryByteIsAsTold) {
    ::setenv("TZ", "CET-1", 1);
    ::setenv("LC_ALL", "de_DE.UTF-8", 1);
    const std::string document = recorded("well-formed");
    const std::string start = header("", "0", "",
                                     "\t<Shortcuts count=\"0\" active_count=\"0\">no</Shortcuts>\n"
                                     "\t<StartupAtLogin enabled=\"0\">no</StartupAtLogin>\n"
                                     "\t<AutomaticUpdates enabled=\"1\">yes</AutomaticUpdates>\n");
    EXPECT_EQ(document.substr(0, start.size()), start);
    std::string_view rest = std::string_view(document).substr(std::min(start.size(), document.size()));
    for (const Event& event : wellFormedEvents()) {
        const std::string wanted = expected({event});
        ASSERT_TRUE(rest.starts_with(wanted)) << event.action << "\n"
                                              << rest.substr(0, 600) << "\n"
                                              << wanted.substr(0, 600);
        rest.remove_prefix(std::min(wanted.size(), rest.size()));
    }
    EXPECT_EQ(rest, "");
    EXPECT_TRUE(areWellFormed(collect()));
}

TEST_F(EventDocument, HeaderTellsOfThePreferencesAndMarkupStays) {
    ::setenv("LC_ALL", "de_DE.UTF-8", 1);
    const auto application = [](const Value& identifier, const Value& flags) {
        return Dictionary{{"bundle-id", identifier}, {"flags", flags}};
    };
    const auto set = [](UserDefaults preferences, const std::string& key, Value value) {
        preferences.setObjectForKey(std::move(value), key);
        EXPECT_TRUE(preferences.synchronize());
    };
    set(UserDefaults::forApplication("com.apple.ncprefs"), "apps",
        Array{application("com.corvalen.kitwell", 0x08), "text",
              application("com.corvalen.kitwell.Tool", 0x10), application("com.corvalen.other", 8),
              application("com.corvalen.kitwell.\x01", 7.0), application(8, 8),
              application("com.corvalen.kitwell.Text", "8"), Dictionary()});
    set(UserDefaults::forApplicationOnThisHost("com.apple.notificationcenterui"), "doNotDisturb", true);
    set(UserDefaults::forApplication("com.corvalen.kitwell"), "Shortcuts",
        Array{Dictionary{{"active", true}}, Dictionary{{"active", false}}, "text"});
    set(UserDefaults::forApplication("com.corvalen.kitwell.ExampleTool"), "disableAutomaticUpdates", true);
    makeTestBundle(home.path("data/Kitwell/Applications"), "Browser", "com.apple.safari");
    addVersions(testBundlePath(home.path("data/Kitwell/Applications"), "Browser"), "17.1", "1");
    EXPECT_EQ(
        recorded("markup"),
        header("17.1", "1",
               "\t<Notification tool=\"com.corvalen.kitwell\" enabled=\"yes\">8</Notification>\n"
               "\t<Notification tool=\"com.corvalen.kitwell.Tool\" enabled=\"yes\">16</Notification>\n"
               "\t<Notification tool=\"com.corvalen.kitwell.\xEF\xBF\xBD\" enabled=\"no\">7</Notification>\n",
               "\t<Shortcuts count=\"3\" active_count=\"1\">yes</Shortcuts>\n"
               "\t<StartupAtLogin enabled=\"0\">no</StartupAtLogin>\n"
               "\t<AutomaticUpdates enabled=\"0\">no</AutomaticUpdates>\n") +
            expected(markupEvents()));
}
