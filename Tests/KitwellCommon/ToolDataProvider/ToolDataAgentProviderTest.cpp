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
        {"text", 108, {id, Data("new")}, {.text = "new"}},
        {"empty text is a text", 108, {id, Data()}, {.text = ""}},
        {"status on, out of reach, is off", 100, {id, status(1)}, {.status = 0, .wasLaunched = true}},
        {"unknown status is kept", 100, {id, status(77)}, {.status = 77, .wasLaunched = true}},
        {"status too short", 100, {id, shortStatus}, {}},
        {"not UTF-8", 108, {Data("\xff\xfe"), Data("new")}, {}},
        {"text without a text", 108, {id}, {}},
        {"menu icon without a picture", 102, {id}, {}},
        {"status without a status", 100, {id}, {}},
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

TEST_F(Agent, AMessageReachesEachProxyThoughItsHandlerEmptiesTheRegistry) {
    const auto twin = ToolDataAgentProvider::create();
    twin->setupWithToolURL(platform::FileUrl(std::string(kPath) + "/"), "com.corvalen.kitwell.Sample");
    service.addTool(twin);
    EXPECT_EQ(service.tools().size(), 3U);
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
    tool->requestStatus();
    EXPECT_EQ(port.waitFor(5), (Identifiers{101, 102, 107, 101, 100}));
    const std::vector<Data> sent[] = {
        {flagData(false)}, {flagData(true)}, {Data("params")}, {flagData(true)}, {}};
    for (std::size_t at = 0; at < std::size(sent); ++at)
        EXPECT_EQ(port.received[at].components, sent[at]) << at;
}

TEST_F(Agent, AKilledPermanentToolIsShownAsStored) {
    persist({{kToolPermanent, true}, {kMenuText, "stored"}});
    ChildProcess process = ChildProcess::started("sampleToolPort");
    tool->setMenuText("live");
    tool->setStatus(ToolStatusPermanent);
    process.kill();
    EXPECT_TRUE(turnLoopUntil([&] { return !tool->toolPort(); }));
    EXPECT_EQ(tool->status(), ToolStatusPermanent);
    EXPECT_EQ(tool->menuText(), "stored");
}

TEST_F(Agent, AToolThatWasRestartedAtOnceIsFoundAgainWhenItsOldPortDies) {
    ChildProcess process = ChildProcess::started("sampleToolPort");
    tool->setStatus(ToolStatusOn);
    process.kill();
    RecordingPort restarted(toolPortName(kPath));
    ASSERT_TRUE(turnLoopUntil([&] { return tool->status() == ToolStatusOff; }));
    EXPECT_TRUE(tool->toolPort());
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
    EXPECT_FALSE(tool->sendCommand(ToolMessageTurnOff, std::nullopt)); // nor is a missing port logged
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
    ASSERT_TRUE(platform::replaceFile(tool->persist()->getMenuIconPath(), picture("MENU").bytes()));
    tool->requestStatus();
    EXPECT_EQ(tool->status(), ToolStatusPermanent);
    EXPECT_EQ(tool->menuText(), "stored");
    EXPECT_EQ(tool->toolIcon()->representations(), dot("TOOL").representations());
    EXPECT_EQ(tool->menuIcon()->representations(), dot("MENU").representations());
    EXPECT_FALSE(tool->wasLaunched());
}

TEST(ToolPortName, IsTheHashOfThePathInLowerCaseHexadecimalWithoutLeadingZeros) {
    EXPECT_EQ(toolPortName(""), "7QW2LM9B5R.com.corvalen.kitwell.tool.cbf29ce484222325");
    EXPECT_EQ(toolPortName("a"), "7QW2LM9B5R.com.corvalen.kitwell.tool.af63dc4c8601ec8c");
}
