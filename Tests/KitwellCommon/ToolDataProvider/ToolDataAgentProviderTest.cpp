#include "KitwellCommon/KitwellCommon.h"
#include "KitwellPlatform/Files/AtomicFile.h"
#include "KitwellPlatform/Images/BitmapFile.h"
#include "KitwellPlatform/Ports/PortNameServer.h"
#include "Support/Harness.h"

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

Data png(std::string_view pixel) {
    return *platform::bitmapData(dot(pixel).representations().front(), platform::BitmapFileType::PNG);
}

void receive(std::uint32_t msgid, std::vector<Data> components) {
    ToolDataServerProvider::sharedInstance().handlePortMessage({msgid, std::move(components)});
}

void persist(const platform::Dictionary& entry) {
    platform::UserDefaults(kAppGroupIdentifier)
        .setObjectForKey(platform::Dictionary{{"com.corvalen.kitwell.Sample_Sample.app", entry}},
                         kToolPersistentData);
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
    ToolDataServerProvider& service = ToolDataServerProvider::sharedInstance();
};

TEST_F(Agent, MessagesSetExactlyWhatTheySayAndMalformedOnesAreIgnoredWhole) {
    const Data id(kPath);
    struct State {
        const char* toolIcon = "tool"; // the pixel, empty for none
        const char* menuIcon = "menu";
        bool isTemplate = true;
        const char* text = "text";
        ToolStatus status = ToolStatusPermanent;
        bool wasLaunched = false;
    };
    struct Case {
        const char* name;
        std::uint32_t msgid;
        std::vector<Data> components;
        State after;
    };
    const Data shortStatus(std::string_view("\2\0\0\0\0\0\0", 7));
    const Case cases[] = {
        {"no components", 101, {}, {}},
        {"icon", 101, {id, picture("TOOL")}, {.toolIcon = "TOOL"}},
        {"icon cleared", 101, {id}, {.toolIcon = ""}},
        {"what is no picture is none", 101, {id, Data("x")}, {.toolIcon = ""}},
        {"a picture other than TIFF is none", 101, {id, png("TOOL")}, {.toolIcon = ""}},
        {"a document is none", 101, {id, Data("%PDF-1.4")}, {.toolIcon = ""}},
        {"menu icon without flag", 102, {id, picture("MENU")}, {.menuIcon = "MENU", .isTemplate = false}},
        {"menu icon, template", 102, {id, picture("MENU"), Data("\7")}, {.menuIcon = "MENU"}},
        {"menu icon, flag of no bytes", 102, {id, picture("MENU"), Data()}, {}},
        {"menu icon missing", 102, {id}, {}},
        {"text", 108, {id, Data("new")}, {.text = "new"}},
        {"empty text is a text", 108, {id, Data()}, {.text = ""}},
        {"text missing", 108, {id}, {}},
        {"status", 100, {id, status(0)}, {.status = 0, .wasLaunched = true}},
        {"status on, out of reach, is off", 100, {id, status(1)}, {.status = 0, .wasLaunched = true}},
        {"unknown status is kept", 100, {id, status(77)}, {.status = 77, .wasLaunched = true}},
        {"status missing", 100, {id}, {}},
        {"status too short", 100, {id, shortStatus}, {}},
        {"not UTF-8", 108, {Data("\xff\xfe"), Data("new")}, {}},
        {"letter case", 108, {Data("/tools/sample.app"), Data("new")}, {}},
        {"a message for tools", 103, {id, status(1)}, {}},
        {"unknown", 109, {id, status(1)}, {}}};
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
        EXPECT_EQ(pixel(tool->toolIcon()), one.after.toolIcon);
        EXPECT_EQ(pixel(tool->menuIcon()), one.after.menuIcon);
        EXPECT_EQ(tool->menuIcon()->isTemplate(), one.after.isTemplate);
        EXPECT_EQ(tool->menuText(), one.after.text);
        EXPECT_EQ(tool->status(), one.after.status);
        EXPECT_EQ(tool->wasLaunched(), one.after.wasLaunched);
    }
}

TEST_F(Agent, TheRegistryKeepsDuplicatesReachesEachProxyAndForgetsAllOfThem) {
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

TEST_F(Agent, AKilledToolIsForgottenAtOnceAndItsStatusRevised) {
    struct Case {
        ToolStatus before, after;
        const char* textAfter;
    };
    persist({{kToolPermanent, true}, {kMenuText, "stored"}});
    for (const Case& one :
         {Case{ToolStatusOn, ToolStatusOff, "live"}, Case{ToolStatusPermanent, ToolStatusPermanent, "stored"},
          Case{ToolStatusOff, ToolStatusOff, "live"}}) {
        ChildProcess process = ChildProcess::started("sampleToolPort");
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
    ChildProcess process = ChildProcess::started("sampleToolPort");
    tool->setStatus(ToolStatusOn);
    const auto before = tool->toolPort();
    process.kill();
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
    const LogLines log;
    ChildProcess process = ChildProcess::started("sampleToolPort");
    ASSERT_TRUE(tool->ensureToolPortOpen());
    process.kill();
    EXPECT_FALSE(tool->sendCommand(ToolMessageTurnOff, std::nullopt)); // its death has not been told yet
    EXPECT_FALSE(tool->toolPort());
    EXPECT_FALSE(tool->sendCommand(ToolMessageTurnOff, std::nullopt))
        << "a port that cannot be found is not logged";
    ASSERT_EQ(log.lines.size(), 1U);
    EXPECT_TRUE(log.lines[0].starts_with(
        "Failed to send Command to Agent port. Exception: InvalidSendPortException Reason: "))
        << log.lines[0];
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

TEST(ToolPortName, IsTheHashOfThePathInLowerCaseHexadecimalWithoutLeadingZeros) {
    EXPECT_EQ(toolPortName(""), "7QW2LM9B5R.com.corvalen.kitwell.tool.cbf29ce484222325");
    EXPECT_EQ(toolPortName("a"), "7QW2LM9B5R.com.corvalen.kitwell.tool.af63dc4c8601ec8c");
}
