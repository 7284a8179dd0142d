#include "KitwellCommon/KitwellCommon.h"
#include "KitwellPlatform/Applications/Application.h"
#include "KitwellPlatform/Applications/Bundle.h"
#include "KitwellPlatform/Ports/PortNameServer.h"
#include "Support/Harness.h"

using namespace kitwell;
using namespace kitwell::test;
using platform::Data;
using platform::PortMessage;

namespace {

using Identifiers = std::vector<std::uint32_t>;

platform::Image dot(bool isTemplate = false) {
    auto image = platform::Image::fromRepresentations({{1, 1, Data("rgba")}});
    image->setTemplate(isTemplate);
    return *image;
}

Data flag(char value) {
    return Data(std::string_view(&value, 1));
}

const std::string ownPath = platform::Bundle::main().bundleUrl().path();

} // namespace

// A client in this process, with an agent that only records what it is told.
class Client : public testing::Test {
protected:
    // A message that always goes out tells when all before it has arrived.
    Identifiers heard() {
        client.setToolStatus(ToolStatusOff);
        turnLoopUntil(
            [&] { return !agent.received.empty() && agent.received.back().msgid == ToolMessageStatus; });
        Identifiers identifiers;
        for (const PortMessage& message : agent.received)
            identifiers.push_back(message.msgid);
        identifiers.pop_back();
        agent.received.clear();
        return identifiers;
    }

    const TestHome home;
    RecordingPort agent{"7QW2LM9B5R.com.corvalen.kitwell.agent.port"};
    ToolDataClientProvider client;
};

TEST_F(Client, EachValueIsSentExactlyWhileItsFlagIsSet) {
    struct Case {
        const char* name;
        bool toolIconNeeded, menuIconNeeded;
        std::function<void(ToolDataClientProvider&)> change;
        Identifiers sent;
    };
    const Case cases[] = {
        {"icon, wanted", true, false, [](auto& c) { c.setToolIcon(dot()); }, {101}},
        {"no icon, wanted", true, false, [](auto& c) { c.setToolIcon(std::nullopt); }, {101}},
        {"icon, not wanted", false, true, [](auto& c) { c.setToolIcon(dot()); }, {}},
        {"menu icon, wanted", false, true, [](auto& c) { c.setMenuIcon(dot()); }, {102}},
        {"no menu icon, wanted", false, true, [](auto& c) { c.setMenuIcon(std::nullopt); }, {}},
        {"menu icon, not wanted", true, false, [](auto& c) { c.setMenuIcon(dot()); }, {}},
        {"text, wanted", false, true, [](auto& c) { c.setMenuText("t"); }, {108}},
        {"no text, wanted", false, true, [](auto& c) { c.setMenuText(std::nullopt); }, {}},
        {"status held already", false, false, [](auto& c) { c.setToolStatus(c.toolStatus()); }, {100}},
    };
    for (const Case& one : cases) {
        client.setToolIconNeeded(one.toolIconNeeded);
        client.setMenuIconNeeded(one.menuIconNeeded);
        one.change(client);
        EXPECT_EQ(heard(), one.sent) << one.name;
    }
}

TEST_F(Client, TheComponentsStandInTheirOrderOnTheWire) {
    client.setToolIcon(dot());
    client.setMenuIcon(dot(true));
    client.setMenuText("");
    client.sendToolIcon();
    client.sendMenuIcon();
    client.sendMenuText();
    client.setToolStatus(ToolStatusPermanent);
    agent.waitFor(4);
    const Data id(ownPath);
    const Data tiff = *dot().tiffRepresentation();
    const std::vector<std::vector<Data>> expected = {
        {id, tiff}, {id, tiff, flag(1)}, {id, Data()}, {id, Data(std::string_view("\2\0\0\0\0\0\0\0", 8))}};
    ASSERT_EQ(agent.received.size(), expected.size());
    for (std::size_t at = 0; at < expected.size(); ++at)
        EXPECT_EQ(agent.received[at].components, expected[at]) << agent.received[at].msgid;
}

TEST_F(Client, CommandsAnswerAndChangeTheFlagsAsTold) {
    client.setMenuIcon(dot());
    client.setMenuText("t");
    struct Case {
        const char* name;
        PortMessage command;
        bool toolFlag, menuFlag; // before
        Identifiers sent;
        bool toolFlagAfter, menuFlagAfter;
    };
    const Case cases[] = {
        {"status", {100, {}}, false, false, {100}, false, false},
        {"icon yes, by any value but 0", {101, {flag(7)}}, false, false, {101}, true, false},
        {"icon no", {101, {flag(0)}}, true, false, {}, false, false},
        {"icon without flag, set", {101, {}}, true, false, {101}, true, false},
        {"icon, flag of no bytes", {101, {Data()}}, true, false, {}, true, false},
        {"menu yes", {102, {flag(1)}}, false, false, {102, 108}, false, true},
        {"menu without flag, set", {102, {}}, false, true, {102, 108}, false, true},
        {"menu text is no command", {108, {flag(1)}}, true, true, {}, true, true},
        {"unknown and huge", {0xFFFFFFFF, {}}, true, true, {}, true, true},
    };
    for (const Case& one : cases) {
        client.setToolIconNeeded(one.toolFlag);
        client.setMenuIconNeeded(one.menuFlag);
        client.handlePortMessage(one.command);
        EXPECT_EQ(heard(), one.sent) << one.name;
        EXPECT_EQ(client.toolIconNeeded(), one.toolFlagAfter) << one.name;
        EXPECT_EQ(client.menuIconNeeded(), one.menuFlagAfter) << one.name;
    }
}

TEST_F(Client, AClickWithoutABlockReachesTheDelegate) {
    struct Delegate : platform::ApplicationDelegate {
        bool applicationShouldHandleReopen(platform::Application&, bool hasVisibleWindows) override {
            reopened += hasVisibleWindows ? 1 : 100;
            return true;
        }
        int reopened = 0;
    } delegate;
    platform::Application& application = platform::Application::shared();
    client.handlePortMessage({ToolMessageClickMenuIcon, {}}); // without a delegate there is nobody to ask
    client.handlePortMessage({ToolMessageDateSchedule, {}});
    application.setDelegate(&delegate);
    application.setVisibleWindows(2);
    client.handlePortMessage({ToolMessageClickMenuIcon, {}});
    EXPECT_TRUE(application.isActive());
    EXPECT_EQ(delegate.reopened, 1);
    application.setDelegate(nullptr);
}

TEST_F(Client, TurningOffTerminatesAndSendsEverythingOnceMoreWhateverTheFlags) {
    bool wasTerminating = true;
    client.setTurnToolOffBlock([&] { wasTerminating = platform::Application::shared().isTerminating(); });
    client.setMenuIcon(dot());
    client.setMenuText("last");
    platform::RunLoop& loop = platform::RunLoop::current();
    const auto launched = platform::NotificationCenter::defaultCenter().observe(
        platform::kApplicationDidFinishLaunchingNotification, nullptr, [&](const platform::Notification&) {
            loop.post([&] { client.handlePortMessage({ToolMessageTurnOff, {}}); });
        });
    EXPECT_EQ(platform::Application::shared().run(), 0);
    EXPECT_FALSE(wasTerminating) << "the block ran too late or not at all";
    loop.restart();
    EXPECT_EQ(agent.waitFor(3), (Identifiers{101, 102, 108}));
    EXPECT_EQ(agent.received[0].components.size(), 1U) << "without an icon the identifier goes alone";
}

TEST_F(Client, ASandboxReplyThatIsNoBookmarkIsNothing) {
    for (const std::vector<Data>& components : {std::vector<Data>{}, {Data("no bookmark")}, {Data()}}) {
        client.setSandboxReplyDir("before");
        client.handlePortMessage({ToolMessageSandboxAccess, components});
        EXPECT_EQ(client.sandboxReplyDir(), std::nullopt);
    }
}

class ClientAlone : public InTestHome {};

TEST_F(ClientAlone, StartsFromThePersistedPermanenceWithoutAMessageOrAWrite) {
    const platform::Bundle& tool = platform::Bundle::main();
    const std::string key = tool.identifier() + "_" + tool.bundleUrl().lastPathComponent();
    const platform::Dictionary entry{{kToolPermanent, true}, {kMenuText, "stored"}};
    platform::UserDefaults(kAppGroupIdentifier)
        .setObjectForKey(platform::Dictionary{{key, entry}}, kToolPersistentData);
    RecordingPort agent(kAgentPortName);
    ToolDataClientProvider client;
    EXPECT_EQ(client.toolStatus(), ToolStatusPermanent);
    EXPECT_EQ(client.menuText(), "stored");
    client.sendMenuText();
    EXPECT_EQ(agent.waitFor(1), Identifiers{108}) << "creation itself sent something";
}

// Is the agent's process: publishes its port, reads nothing, and lives until it is killed.
CHILD_BODY(deafAgent) {
    const auto port = platform::Port::receivePort([](const PortMessage&) {});
    platform::PortNameServer::systemDefault().registerPort(port, kAgentPortName);
    say("published");
    hear();
    return 0;
}

TEST_F(ClientAlone, ASendToADeadAgentIsLoggedWithItsOwnTextAndNotRepeated) {
    ToolDataClientProvider client;
    client.setMenuIcon(dot());
    client.setMenuText("t");
    for (const auto& [send, text] :
         {std::pair{&ToolDataClientProvider::sendStatus, "Failed to send Status to Agent port. Exception: "},
          {&ToolDataClientProvider::sendToolIcon, "Failed to send Icon to Agent port. Exception: "},
          {&ToolDataClientProvider::sendMenuIcon, "Failed to send Menu Icon to Agent port. Exception: "},
          {&ToolDataClientProvider::sendMenuText, "Failed to send Menu text to Agent port. Exception: "}}) {
        ChildProcess agent = ChildProcess::started("deafAgent");
        ASSERT_TRUE(client.checkAgentPort());
        agent.kill();
        const LogLines log;
        (client.*send)();
        (client.*send)();
        ASSERT_EQ(log.lines.size(), 1U) << text;
        EXPECT_TRUE(log.lines[0].starts_with(text)) << log.lines[0];
        EXPECT_FALSE(client.isAgentConnected());
    }
}

TEST_F(ClientAlone, AnAgentThatDoesNotReadHoldsAToolUpForHalfASecondAtMost) {
    ChildProcess agent = ChildProcess::started("deafAgent");
    ToolDataClientProvider client;
    client.setMenuText(std::string(60000, 't'));
    std::chrono::duration<double> longest{0};
    for (int send = 0; send < 10 && longest.count() < 0.4; ++send) {
        const auto start = std::chrono::steady_clock::now();
        client.sendMenuText();
        longest = std::chrono::steady_clock::now() - start;
    }
    EXPECT_GT(longest.count(), 0.4) << "a full queue is not waited for";
    EXPECT_LT(longest.count(), 5) << "the deadline of another message is used";
    EXPECT_FALSE(client.requestSandboxAccessCommand({}));
    EXPECT_EQ(client.sandboxReplyDir(), std::nullopt) << "it is no longer waited for";
    EXPECT_TRUE(client.isAgentConnected());
}
