#include <gtest/gtest.h>

#include "KitwellCommon/SharedState/AppGroup.h"
#include "KitwellCommon/ToolDataProvider/ToolDataAgentProvider.h"
#include "KitwellPlatform/Files/AtomicFile.h"
#include "KitwellPlatform/Logging/Log.h"
#include "KitwellPlatform/Ports/PortNameServer.h"
#include "Support/ChildProcess.h"
#include "Support/TestHome.h"
#include "Support/Traffic.h"

using namespace kitwell;
using namespace kitwell::test;
using platform::Data;
using platform::PortMessage;

namespace {

constexpr char kPath[] = "/tools/Sample.app";
using Identifiers = std::vector<std::uint32_t>;

Data status(std::uint64_t value) {
    return Data::copying(std::as_bytes(std::span(&value, 1)));
}

platform::Image dot(std::string_view pixel) {
    return *platform::Image::fromRepresentations({{1, 1, Data(pixel)}});
}

Data picture(std::string_view pixel) {
    return *dot(pixel).tiffRepresentation();
}

void receive(std::uint32_t msgid, std::vector<Data> components) {
    ToolDataServerProvider::sharedInstance().handlePortMessage({msgid, std::move(components)});
}

void persist(const platform::Dictionary& entry) {
    accessAppGroupPlist([&](platform::UserDefaults& preferences) {
        preferences.setObjectForKey(platform::Dictionary{{"com.corvalen.kitwell.Sample_Sample.app", entry}},
                                    kToolPersistentData);
        preferences.synchronize();
    });
}

} // namespace

// Is the sample tool's process: publishes its port and lives until it is killed.
CHILD_BODY(sampleToolPort) {
    const RecordingPort port(toolPortName(kPath));
    say("published");
    turnLoopUntil([] { return false; });
    return 0;
}

class Agent : public testing::Test {
protected:
    Agent() { tool->setupWithToolURL(platform::FileUrl(kPath), "com.corvalen.kitwell.Sample"); }
    ~Agent() override { ToolDataServerProvider::sharedInstance().removeTool(tool.get()); }

    const TestHome home;
    const std::shared_ptr<ToolDataAgentProvider> tool = ToolDataAgentProvider::create();
};

TEST_F(Agent, MessagesSetExactlyWhatTheySayAndMalformedOnesAreIgnoredWhole) {
    const Data id(kPath);
    struct Case {
        const char* name;
        std::uint32_t msgid;
        std::vector<Data> components;
        const char* toolIcon; // the pixel after the message, empty for none
        const char* menuIcon;
        bool isTemplate;
        const char* text;
        ToolStatus status;
        bool wasLaunched;
    };
    const std::string_view shortStatus("\2\0\0\0\0\0\0", 7);
    const Case cases[] = {
        {"nothing changes without components", 101, {}, "tool", "menu", true, "text", 2, false},
        {"icon", 101, {id, picture("TOOL")}, "TOOL", "menu", true, "text", 2, false},
        {"icon cleared", 101, {id}, "", "menu", true, "text", 2, false},
        {"what is no picture is none", 101, {id, Data("x")}, "", "menu", true, "text", 2, false},
        {"menu icon without flag", 102, {id, picture("MENU")}, "tool", "MENU", false, "text", 2, false},
        {"menu icon, template",
         102,
         {id, picture("MENU"), Data("\7")},
         "tool",
         "MENU",
         true,
         "text",
         2,
         false},
        {"menu icon, flag of no bytes",
         102,
         {id, picture("MENU"), Data()},
         "tool",
         "menu",
         true,
         "text",
         2,
         false},
        {"menu icon missing", 102, {id}, "tool", "menu", true, "text", 2, false},
        {"text", 108, {id, Data("new")}, "tool", "menu", true, "new", 2, false},
        {"empty text is a text", 108, {id, Data()}, "tool", "menu", true, "", 2, false},
        {"text missing", 108, {id}, "tool", "menu", true, "text", 2, false},
        {"status", 100, {id, status(0)}, "tool", "menu", true, "text", 0, true},
        {"status on, out of reach, is off", 100, {id, status(1)}, "tool", "menu", true, "text", 0, true},
        {"unknown status is kept", 100, {id, status(77)}, "tool", "menu", true, "text", 77, true},
        {"status missing", 100, {id}, "tool", "menu", true, "text", 2, false},
        {"status too short", 100, {id, Data(shortStatus)}, "tool", "menu", true, "text", 2, false},
        {"not UTF-8", 108, {Data("\xff\xfe"), Data("new")}, "tool", "menu", true, "text", 2, false},
        {"letter case",
         108,
         {Data("/tools/sample.app"), Data("new")},
         "tool",
         "menu",
         true,
         "text",
         2,
         false},
        {"a message for tools", 103, {id, status(1)}, "tool", "menu", true, "text", 2, false},
        {"unknown", 109, {id, status(1)}, "tool", "menu", true, "text", 2, false},
    };
    for (const Case& one : cases) {
        SCOPED_TRACE(one.name);
        platform::Image menuIcon = dot("menu");
        menuIcon.setTemplate(true);
        tool->setToolIcon(dot("tool"));
        tool->setMenuIcon(menuIcon);
        tool->setMenuText("text");
        tool->setStatus(ToolStatusPermanent);
        tool->setWasLaunched(false);
        receive(one.msgid, one.components);
        const auto pixel = [](const std::optional<platform::Image>& image) {
            return image ? std::string(image->representations().at(0).pixels.text()) : std::string();
        };
        EXPECT_EQ(pixel(tool->toolIcon()), one.toolIcon);
        EXPECT_EQ(pixel(tool->menuIcon()), one.menuIcon);
        EXPECT_EQ(tool->menuIcon()->isTemplate(), one.isTemplate);
        EXPECT_EQ(tool->menuText(), one.text);
        EXPECT_EQ(tool->status(), one.status);
        EXPECT_EQ(tool->wasLaunched(), one.wasLaunched);
    }
}

TEST_F(Agent, TheRegistryKeepsDuplicatesReachesEachProxyAndForgetsAllOfThem) {
    ToolDataServerProvider& service = ToolDataServerProvider::sharedInstance();
    const auto twin = ToolDataAgentProvider::create();
    twin->setupWithToolURL(platform::FileUrl(std::string(kPath) + "/"), "com.corvalen.kitwell.Sample");
    service.addTool(twin);
    EXPECT_EQ(service.tools().size(), 3U);
    receive(100, {Data(kPath), status(0)});
    EXPECT_TRUE(tool->wasLaunched());
    EXPECT_TRUE(twin->wasLaunched());
    service.removeTool(twin.get());
    EXPECT_EQ(service.tools(), ToolDataServerProvider::Tools{tool});
    service.removeTool(twin.get());
    EXPECT_EQ(twin.use_count(), 1);
    EXPECT_TRUE(service.permanentTools().empty());
}

TEST_F(Agent, AHandlerMayEmptyTheRegistryWhileAMessageIsHandedOut) {
    const auto twin = ToolDataAgentProvider::create();
    twin->setupWithToolURL(platform::FileUrl(kPath), "com.corvalen.kitwell.Sample");
    ToolDataServerProvider& service = ToolDataServerProvider::sharedInstance();
    const auto removeAll = platform::NotificationCenter::defaultCenter().observe(
        kToolDataAgentProviderDidChangeNotification, tool.get(), [&](const platform::Notification&) {
            service.removeTool(tool.get());
            service.removeTool(twin.get());
        });
    receive(108, {Data(kPath), Data("said to both")});
    EXPECT_TRUE(service.tools().empty());
    EXPECT_EQ(tool->menuText(), "said to both");
    EXPECT_EQ(twin->menuText(), "said to both");
}

TEST_F(Agent, AToolPortThatOpensIsToldTheFlagsBeforeTheCommand) {
    tool->setMenuIconNeeded(true); // the tool does not run yet: nobody is told
    EXPECT_FALSE(tool->sendCommand(ToolMessageClickMenuIcon, std::nullopt));
    RecordingPort port(toolPortName(kPath));
    EXPECT_TRUE(tool->sendCommand(ToolMessageClickMenuIcon, Data("params")));
    tool->setMenuIconNeeded(true);
    tool->setToolIconNeeded(true);
    tool->setToolIconNeeded(false);
    tool->setStatus(ToolStatusOn);
    EXPECT_EQ(tool->status(), ToolStatusOn);
    tool->requestStatus();
    EXPECT_EQ(port.waitFor(6), (Identifiers{101, 102, 107, 101, 101, 100}));
    const auto component = [&](std::size_t at) { return port.received.at(at).components.at(0); };
    EXPECT_EQ(component(0), flagData(false));
    EXPECT_EQ(component(1), flagData(true));
    EXPECT_EQ(component(2), Data("params"));
    EXPECT_EQ(component(3), flagData(true));
    EXPECT_EQ(component(4), flagData(false));
    EXPECT_TRUE(port.received.at(5).components.empty());
}

TEST_F(Agent, AStatusMessageOpensTheToolPort) {
    RecordingPort port(toolPortName(kPath));
    receive(100, {Data(kPath), status(ToolStatusOn)});
    EXPECT_EQ(tool->status(), ToolStatusOn);
    EXPECT_EQ(port.waitFor(2), (Identifiers{101, 102}));
}

TEST_F(Agent, AKilledToolIsForgottenAtOnceAndItsStatusRevised) {
    struct Case {
        ToolStatus before, after;
        const char* textAfter;
    };
    persist({{kToolPermanent, true}, {kMenuText, "stored"}});
    for (const Case& one :
         {Case{ToolStatusOn, ToolStatusOff, "live"}, Case{ToolStatusPermanent, ToolStatusPermanent, "stored"},
          Case{ToolStatusOff, ToolStatusOff, "live"}}) {
        ChildProcess process = ChildProcess::body("sampleToolPort");
        ASSERT_TRUE(process.waitForLine("published"));
        tool->setMenuIcon(dot("live"));
        tool->setMenuText("live");
        tool->setStatus(one.before);
        ASSERT_EQ(tool->status(), one.before);
        ASSERT_TRUE(tool->toolPort());
        process.signal(SIGKILL);
        EXPECT_TRUE(turnLoopUntil([&] { return !tool->toolPort(); }));
        EXPECT_EQ(tool->status(), one.after);
        EXPECT_EQ(tool->menuText(), one.textAfter);
        EXPECT_EQ(tool->menuIcon()->representations(), dot("live").representations())
            << "a value that was not persisted is kept";
    }
}

TEST_F(Agent, AToolThatWasRestartedAtOnceIsFoundAgainWhenItsOldPortDies) {
    ChildProcess process = ChildProcess::body("sampleToolPort");
    ASSERT_TRUE(process.waitForLine("published"));
    tool->setStatus(ToolStatusOn);
    const auto before = tool->toolPort();
    process.signal(SIGKILL);
    process.wait();
    RecordingPort restarted(toolPortName(kPath));
    ASSERT_TRUE(turnLoopUntil([&] { return tool->toolPort() != before; }));
    EXPECT_TRUE(tool->toolPort());
    EXPECT_EQ(tool->status(), ToolStatusOff);
    EXPECT_EQ(restarted.waitFor(2), (Identifiers{101, 102}));
}

TEST_F(Agent, AProxyThatIsRemovedWhileItTellsOfAChangeLivesUntilItHasDone) {
    persist({{kToolPermanent, true}, {kMenuText, "stored"}});
    auto other = ToolDataAgentProvider::create();
    other->setupWithToolURL(platform::FileUrl(kPath), "com.corvalen.kitwell.Sample");
    ToolDataAgentProvider& proxy = *other;
    other.reset(); // the registry has the last hold
    const auto removal = platform::NotificationCenter::defaultCenter().observe(
        kToolDataAgentProviderDidChangeNotification, &proxy,
        [&](const platform::Notification&) { ToolDataServerProvider::sharedInstance().removeTool(&proxy); });
    proxy.requestStatus();
}

TEST_F(Agent, ASendToADeadToolIsLoggedOnceAndAnswersNo) {
    std::vector<std::string> lines;
    platform::setLogSink([&](std::string_view line) { lines.emplace_back(line); });
    ChildProcess process = ChildProcess::body("sampleToolPort");
    ASSERT_TRUE(process.waitForLine("published"));
    ASSERT_TRUE(tool->ensureToolPortOpen());
    process.signal(SIGKILL);
    process.wait();
    EXPECT_FALSE(tool->sendCommand(ToolMessageTurnOff, std::nullopt)); // its death has not been told yet
    EXPECT_FALSE(tool->toolPort());
    EXPECT_FALSE(tool->sendCommand(ToolMessageTurnOff, std::nullopt))
        << "a port that cannot be found is not logged";
    platform::setLogSink(nullptr);
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_TRUE(lines[0].starts_with(
        "Failed to send Command to Agent port. Exception: InvalidSendPortException Reason: "))
        << lines[0];
}

TEST_F(Agent, AToolThatDoesNotRunIsShownFromItsPersistedDataOnlyWhenItIsPermanent) {
    persist({{kMenuText, "stored"}});
    tool->requestStatus();
    EXPECT_EQ(tool->status(), ToolStatusOff);
    EXPECT_FALSE(tool->menuText());
    persist({{kToolPermanent, true}, {kMenuText, "stored"}});
    ASSERT_TRUE(platform::replaceFile(tool->persist()->getToolIconPath(), picture("TOOL").bytes()));
    tool->setMenuIcon(dot("kept"));
    tool->requestStatus();
    EXPECT_EQ(tool->status(), ToolStatusPermanent);
    EXPECT_EQ(tool->menuText(), "stored");
    EXPECT_EQ(tool->toolIcon()->representations(), dot("TOOL").representations());
    EXPECT_EQ(tool->menuIcon()->representations(), dot("kept").representations());
    ASSERT_TRUE(platform::replaceFile(tool->persist()->getMenuIconPath(), picture("MENU").bytes()));
    tool->setPermanentIcons();
    EXPECT_EQ(tool->menuIcon()->representations(), dot("MENU").representations());
    EXPECT_FALSE(tool->wasLaunched());
}

TEST_F(Agent, ARequestForAccessIsAlwaysAnswered) {
    RecordingPort port(toolPortName(kPath));
    receive(106, {Data(kPath), Data("/root"), Data("why")});
    EXPECT_EQ(port.waitFor(3), (Identifiers{101, 102, 106}));
    EXPECT_TRUE(port.received.at(2).components.empty());
}

TEST(ToolPortName, IsTheHashOfThePathInLowerCaseHexadecimalWithoutLeadingZeros) {
    EXPECT_EQ(toolPortName(""), "7QW2LM9B5R.com.corvalen.kitwell.tool.cbf29ce484222325");
    EXPECT_EQ(toolPortName("a"), "7QW2LM9B5R.com.corvalen.kitwell.tool.af63dc4c8601ec8c");
}
