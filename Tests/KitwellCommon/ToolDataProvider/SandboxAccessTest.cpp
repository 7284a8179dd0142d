#include "KitwellCommon/KitwellCommon.h"
#include "KitwellPlatform/Applications/Application.h"
#include "KitwellPlatform/Applications/Bundle.h"
#include "KitwellPlatform/Files/Bookmark.h"
#include "Support/Harness.h"

using namespace kitwell;
using namespace kitwell::test;
using platform::Data;
using platform::FileUrl;

namespace {

const std::string toolPath = platform::Bundle::main().bundleUrl().path();

// A place that nobody can write to, root neither, since it is not there.
std::string outOfReach(const TestHome& home) {
    return home.path("not/there");
}

std::optional<std::string> placeOf(const std::optional<Data>& bookmark) {
    const auto url = bookmark ? platform::resolveBookmark(*bookmark) : std::nullopt;
    return url ? std::optional(url->path()) : std::nullopt;
}

ToolDataServerProvider& service() {
    return ToolDataServerProvider::sharedInstance();
}

} // namespace

// A tool in a process of its own that asks for a folder and prints what it was granted.
CHILD_BODY(askingTool) {
    ToolDataClientProvider client;
    const bool isConnected =
        client.requestSandboxAccessCommand(sandboxFolderRequest(client.toolId(), arguments[0], "please", 0));
    say(isConnected ? client.sandboxReplyDir().value_or("nothing") : "no agent");
    return 0;
}

// A tool that changes its schedule while the agent's panel is up.
CHILD_BODY(schedulingTool) {
    updateSchedulerPlist("id", "Sample",
                         [](platform::Dictionary& entry) { entry.set(kScheduleAtLogin, true); });
    return 0;
}

class SandboxAccess : public testing::Test {
protected:
    std::string folder(const std::string& name) const {
        std::filesystem::create_directories(home.path(name));
        return home.path(name);
    }
    const TestHome home;
    ScriptedDialogs dialogs;
};

TEST_F(SandboxAccess, ARequestIsAnsweredInEveryShapeItCanHave) {
    const auto tool = ToolDataAgentProvider::create();
    tool->setupWithToolURL(FileUrl(toolPath), "id");
    RecordingPort port(toolPortName(toolPath));
    ASSERT_TRUE(tool->ensureToolPortOpen());
    const Data id(toolPath), options(std::string(8, '\0'));
    const std::string granted = folder("granted");
    struct Case {
        const char* name;
        std::vector<Data> components;
        std::optional<std::string> answer;
        std::size_t panels;
    };
    dialogs.answerPanel = [&](const auto&) { return FileUrl(granted); };
    const Case cases[] = {
        {"writable already", {id, Data(home.path()), Data("m"), options}, home.path(), 0},
        {"asked", {id, Data(outOfReach(home)), Data("m"), options}, granted, 1},
        {"the Desktop", {id, options}, granted, 1},
        {"another special folder", {id, Data(std::string(8, '\1'))}, std::nullopt, 0},
        {"three components", {id, Data(home.path()), Data("m")}, std::nullopt, 0},
        {"path not UTF-8", {id, Data("/\xff"), Data("m"), options}, std::nullopt, 0},
        {"path too long", {id, Data("/" + std::string(4096, 'p')), Data("m"), options}, std::nullopt, 0},
        {"text too long",
         {id, Data(outOfReach(home)), Data(std::string(4097, 'm')), options},
         std::nullopt,
         0},
        {"relative path", {id, Data("tmp"), Data("m"), options}, std::nullopt, 0},
        {"options too short", {id, Data(home.path()), Data("m"), Data("1234567")}, std::nullopt, 0},
        {"code too short", {id, Data("1234567")}, std::nullopt, 0},
    };
    for (const Case& one : cases) {
        SCOPED_TRACE(one.name);
        dialogs.panels.clear();
        port.received.clear();
        // The remembered Desktop is whatever the account's home holds: out of reach makes the agent ask.
        platform::UserDefaults(kAppGroupIdentifier).setObjectForKey(outOfReach(home), "ToolSpecialDir_0");
        service().handlePortMessage({ToolMessageSandboxAccess, one.components});
        ASSERT_TRUE(
            turnLoopUntil([&] { return !port.received.empty() && port.received.back().msgid == 106; }));
        const auto& reply = port.received.back().components;
        EXPECT_EQ(placeOf(reply.empty() ? std::nullopt : std::optional(reply[0])), one.answer);
        EXPECT_EQ(dialogs.panels.size(), one.panels);
    }
    service().removeTool(tool.get());
}

TEST_F(SandboxAccess, AToolHasOneRequestOpenAndTheRestIsAnsweredWithNothingAtOnce) {
    const auto tool = ToolDataAgentProvider::create();
    tool->setupWithToolURL(FileUrl(toolPath), "id");
    RecordingPort port(toolPortName(toolPath));
    ASSERT_TRUE(tool->ensureToolPortOpen());
    port.waitFor(2);
    const platform::PortMessage request{ToolMessageSandboxAccess,
                                        sandboxFolderRequest(Data(toolPath), outOfReach(home), "m", 0)};
    dialogs.answerPanel = [&](const auto&) {
        service().handlePortMessage(request);
        return FileUrl(home.path());
    };
    for (std::size_t panels = 1; panels <= 2; ++panels) {
        port.received.clear();
        service().handlePortMessage(request);
        EXPECT_EQ(dialogs.panels.size(), panels);
        port.waitFor(2);
    }
    ASSERT_EQ(port.received.size(), 2U);
    EXPECT_TRUE(port.received[0].components.empty());
    EXPECT_EQ(placeOf(port.received[1].components[0]), home.path());
    service().removeTool(tool.get());
}

TEST_F(SandboxAccess, ThePanelProposesExplainsAndIsRestrictedOnlyByBitZero) {
    const std::string proposed = outOfReach(home) + "/";
    platform::Application& agent = platform::Application::shared();
    dialogs.answerPanel = [&](const auto&) {
        EXPECT_TRUE(agent.isActive());
        return std::nullopt;
    };
    for (const bool wasInFront : {false, true}) {
        agent.activateIgnoringOtherApps(wasInFront);
        EXPECT_FALSE(service().bookmarkForSandboxAccessForPath(
            proposed, "why", wasInFront ? ToolSandboxRestrictToDirectory : ~ToolSandboxRestrictToDirectory));
        EXPECT_EQ(agent.isActive(), wasInFront) << "the front was not given back";
    }
    agent.activateIgnoringOtherApps(false);
    ASSERT_EQ(dialogs.panels.size(), 2U);
    const platform::OpenPanelContent& panel = dialogs.panels[0];
    EXPECT_EQ(panel.prompt, "Allow");
    EXPECT_EQ(panel.accessoryText, "why");
    EXPECT_EQ(panel.folder, FileUrl(outOfReach(home)));
    EXPECT_TRUE(panel.canChooseFolders && !panel.canChooseFiles);
    EXPECT_TRUE(!panel.isEnabled && dialogs.panels[1].isEnabled);
    EXPECT_TRUE(service().sandboxBookmarks().empty()) << "a declined panel left a grant";
    SandboxDialogDelegate delegate{FileUrl(outOfReach(home))};
    EXPECT_TRUE(delegate.panelShouldEnableURL(platform::OpenPanel(), FileUrl(proposed)));
    EXPECT_FALSE(delegate.panelShouldEnableURL(platform::OpenPanel(), FileUrl("/")));
}

TEST_F(SandboxAccess, GrantsAccumulateAreStoredAndTheFirstWhosePathBeginsTheTextCovers) {
    for (const char* name : {"gone", "b/below", "b"}) {
        dialogs.answerPanel = [&](const auto&) { return FileUrl(folder(name)); };
        EXPECT_EQ(placeOf(service().bookmarkForSandboxAccessForPath(outOfReach(home), "", 0)),
                  home.path(name));
    }
    std::filesystem::remove(home.path("gone"));
    service().saveSandboxAccess(FileUrl(home.path("gone"))); // logged, not stored
    const auto& grants = service().sandboxBookmarks();
    EXPECT_EQ(platform::UserDefaults::standard().arrayForKey("ToolDataProviderSandboxBookmarks"),
              platform::Array(grants.begin(), grants.end()));
    EXPECT_EQ(grants.size(), 3U);
    const auto covering = [&](const char* path) {
        return placeOf(service().grantCovering(home.path(path))).value_or("none");
    };
    EXPECT_EQ(covering("b/below/more"), home.path("b/below"));
    EXPECT_EQ(covering("bc"), home.path("b")) << "no boundary of components is asked for";
    EXPECT_EQ(covering("gone/below"), "none");
    EXPECT_TRUE(service().restoreSandboxAccess(folder("bc")));
    EXPECT_FALSE(service().restoreSandboxAccess(home.path("gone/below")));
}

TEST_F(SandboxAccess, TheChosenDesktopIsProposedNextAndUndoesNoChangeOfAnotherProcess) {
    const std::string chosen = folder("chosen");
    platform::UserDefaults(kAppGroupIdentifier).setObjectForKey(outOfReach(home), "ToolSpecialDir_0");
    dialogs.answerPanel = [&](const auto&) { // while the person thinks
        EXPECT_EQ(ChildProcess::body("schedulingTool").wait(), 0) << "the preferences are locked";
        return FileUrl(chosen);
    };
    const auto reply = service().bookmarkForSandboxAccessForSpecialDir(ToolDesktopDirectory);
    ASSERT_EQ(placeOf(reply), chosen);
    EXPECT_FALSE(platform::startAccessingSecurityScopedResource(*reply)) << "the reply is plain";
    EXPECT_TRUE(platform::startAccessingSecurityScopedResource(service().sandboxBookmarks().back()));
    const platform::UserDefaults after(kAppGroupIdentifier);
    EXPECT_EQ(after.stringForKey("ToolSpecialDir_0"), chosen);
    EXPECT_TRUE(after.arrayForKey("Scheduler"));
    EXPECT_EQ(dialogs.panels[0].accessoryText, "Allow Corvalen Kitwell to save files on your Desktop");
    EXPECT_EQ(placeOf(service().bookmarkForSandboxAccessForSpecialDir(ToolDesktopDirectory)), chosen);
    EXPECT_EQ(dialogs.panels.size(), 1U) << "the remembered folder was asked for again";
}

TEST_F(SandboxAccess, TwoToolsAskAtOnceAndOneIsKilledWhileItsPanelIsUp) {
    const auto startTool = [&](const char* name) {
        const auto tool = ToolDataAgentProvider::create();
        const std::string executable = makeTestBundle(home.path(), name, name);
        tool->setupWithToolURL(FileUrl(testBundlePath(home.path(), name)), name);
        return ChildProcess::program(executable, {"--child", "askingTool", outOfReach(home)});
    };
    service();
    ChildProcess first = startTool("First");
    std::optional<ChildProcess> second;
    dialogs.answerPanel = [&](const auto&) -> std::optional<FileUrl> {
        if (second) // the panel of the second, inside that of the first
            return FileUrl(home.path());
        first.kill();
        second.emplace(startTool("Second"));
        while (dialogs.panels.size() < 2)
            platform::RunLoop::current().runOnce(std::chrono::seconds(1), platform::RunLoopMode::Modal);
        return std::nullopt;
    };
    ASSERT_TRUE(turnLoopUntil([&] { return dialogs.panels.size() == 2; }));
    EXPECT_EQ(second->readLine(), home.path());
}

TEST_F(SandboxAccess, TheWaitEndsWithTheAgentOrTheLoopAndAnEmptyReplyIsAReply) {
    auto agent = std::make_unique<RecordingPort>(kAgentPortName);
    ToolDataClientProvider client;
    platform::RunLoop& loop = platform::RunLoop::current();
    const auto start = std::chrono::steady_clock::now();
    for (int request = 0; request < 10; ++request) {
        loop.post([&] {
            EXPECT_FALSE(client.requestSandboxAccessCommand({})) << "inside the wait of another";
            client.setSandboxReplyDir("");
        });
        EXPECT_TRUE(client.requestSandboxAccessCommand({})) << "an empty reply was taken for the marker";
    }
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(900))
        << "a reply that has arrived is waited for";
    loop.post([&] { // the agent comes back at once
        agent.reset();
        agent = std::make_unique<RecordingPort>(kAgentPortName);
        turnLoopUntil([&] { return !client.isAgentConnected(); });
        client.sendStatus(); // as the new agent would ask for
    });
    EXPECT_FALSE(client.requestSandboxAccessCommand({}));
    EXPECT_TRUE(client.isAgentConnected());
    loop.post([&] { loop.stop(); });
    EXPECT_FALSE(client.requestSandboxAccessCommand({})) << "a stopped wait was taken for an answer";
    loop.restart();
    loop.post([&] { agent.reset(); });
    EXPECT_FALSE(client.requestSandboxAccessCommand({}));
    EXPECT_FALSE(client.requestSandboxAccessCommand({})) << "there is no agent to launch";
    EXPECT_EQ(client.requestAccessToDirectory(home.path(), "m"), home.path());
    EXPECT_EQ(client.requestAccessToDirectory(outOfReach(home), "m", 1), std::nullopt);
    EXPECT_EQ(client.getToolSpecialDirectory(ToolDesktopDirectory), home.path("Desktop"));
    EXPECT_EQ(client.getToolSpecialDirectory(7), std::nullopt);
}
