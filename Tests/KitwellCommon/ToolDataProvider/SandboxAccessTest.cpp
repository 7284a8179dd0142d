#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <unistd.h>

#include "KitwellCommon/KitwellCommon.h"
#include "KitwellPlatform/Applications/Bundle.h"
#include "KitwellPlatform/Files/Bookmark.h"
#include "Support/ChildProcess.h"
#include "Support/ScriptedDialogs.h"
#include "Support/TestBundle.h"
#include "Support/TestHome.h"
#include "Support/Traffic.h"

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

class SandboxAccess : public testing::Test {
protected:
    const TestHome home;
    ScriptedDialogs dialogs;
};

TEST_F(SandboxAccess, ARequestIsAnsweredInEveryShapeItCanHave) {
    const auto tool = ToolDataAgentProvider::create();
    tool->setupWithToolURL(FileUrl(toolPath), "id");
    RecordingPort port(toolPortName(toolPath));
    ASSERT_TRUE(tool->ensureToolPortOpen());
    const Data id(toolPath), options(std::string(8, '\0'));
    const std::string granted = home.path("granted");
    std::filesystem::create_directory(granted);
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
        {"no components but the tool", {id}, std::nullopt, 0},
        {"three components", {id, Data(home.path()), Data("m")}, std::nullopt, 0},
        {"five components", {id, Data(home.path()), Data("m"), options, options}, std::nullopt, 0},
        {"path not UTF-8", {id, Data("/\xff"), Data("m"), options}, std::nullopt, 0},
        {"empty path", {id, Data(), Data("m"), options}, std::nullopt, 0},
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

TEST_F(SandboxAccess, ThePanelProposesExplainsAndIsRestrictedOnlyByBitZero) {
    const std::string proposed = outOfReach(home) + "/";
    EXPECT_FALSE(service().bookmarkForSandboxAccessForPath(proposed, "why", ~ToolSandboxRestrictToDirectory));
    EXPECT_FALSE(service().bookmarkForSandboxAccessForPath(proposed, "why", ToolSandboxRestrictToDirectory));
    ASSERT_EQ(dialogs.panels.size(), 2U);
    const platform::OpenPanelContent& panel = dialogs.panels[0];
    EXPECT_EQ(panel.prompt, "Allow");
    EXPECT_EQ(panel.accessoryText, "why");
    EXPECT_EQ(panel.folder, FileUrl(outOfReach(home)));
    EXPECT_TRUE(panel.canChooseFolders && !panel.canChooseFiles);
    EXPECT_TRUE(!panel.isEnabled || panel.isEnabled(FileUrl("/")));
    EXPECT_TRUE(service().sandboxBookmarks().empty()) << "a declined panel left a grant";
    SandboxDialogDelegate delegate{FileUrl(outOfReach(home))};
    EXPECT_TRUE(delegate.panelShouldEnableURL(platform::OpenPanel(), FileUrl(proposed)));
    EXPECT_FALSE(delegate.panelShouldEnableURL(platform::OpenPanel(), FileUrl("/")));
}

TEST_F(SandboxAccess, GrantsAccumulateAreStoredAndCoverByTextOfThePath) {
    const std::string granted = home.path("a");
    std::filesystem::create_directory(granted);
    std::filesystem::create_directory(granted + "bc");
    dialogs.answerPanel = [&](const auto&) { return FileUrl(granted); };
    for (int time = 0; time < 2; ++time)
        EXPECT_EQ(placeOf(service().bookmarkForSandboxAccessForPath(outOfReach(home), "", 0)), granted);
    EXPECT_EQ(service().sandboxBookmarks().size(), 2U);
    const auto stored = platform::UserDefaults::standard()
                            .arrayForKey("ToolDataProviderSandboxBookmarks")
                            .value_or(platform::Array());
    ASSERT_EQ(stored.size(), 2U);
    EXPECT_EQ(*stored[0].asData(), service().sandboxBookmarks()[0]);
    EXPECT_TRUE(service().restoreSandboxAccess(granted + "bc"));
    std::filesystem::remove(granted);
    EXPECT_FALSE(service().restoreSandboxAccess(granted + "/below"));
    service().saveSandboxAccess(std::nullopt);
    service().saveSandboxAccess(FileUrl(granted)); // gone: logged, not stored
    EXPECT_EQ(service().sandboxBookmarks().size(), 2U);
}

TEST_F(SandboxAccess, TheChosenDesktopIsProposedNextAndUndoesNoChangeOfAnotherProcess) {
    const std::string chosen = home.path("chosen");
    std::filesystem::create_directory(chosen);
    platform::UserDefaults(kAppGroupIdentifier).setObjectForKey(outOfReach(home), "ToolSpecialDir_0");
    dialogs.answerPanel = [&](const auto&) {
        platform::UserDefaults other(kAppGroupIdentifier); // while the person thinks
        other.setObjectForKey(platform::Array{1}, "Scheduler");
        other.synchronize();
        return FileUrl(chosen);
    };
    EXPECT_EQ(placeOf(service().bookmarkForSandboxAccessForSpecialDir(ToolDesktopDirectory)), chosen);
    const platform::UserDefaults after(kAppGroupIdentifier);
    EXPECT_EQ(after.stringForKey("ToolSpecialDir_0"), chosen);
    EXPECT_TRUE(after.arrayForKey("Scheduler"));
    EXPECT_EQ(dialogs.panels[0].accessoryText, "Allow Corvalen Kitwell to save files on your Desktop");
    EXPECT_EQ(placeOf(service().bookmarkForSandboxAccessForSpecialDir(ToolDesktopDirectory)), chosen);
    EXPECT_EQ(dialogs.panels.size(), 1U) << "the remembered folder was asked for again";
    EXPECT_FALSE(service().bookmarkForSandboxAccessForSpecialDir(1));
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

TEST_F(SandboxAccess, TheWaitEndsWithTheAgentAndAReplyEqualToTheMarkerIsAReply) {
    auto agent = std::make_unique<RecordingPort>(kAgentPortName);
    ToolDataClientProvider client;
    const auto request = [&] { return sandboxSpecialRequest(client.toolId(), ToolDesktopDirectory); };
    platform::RunLoop& loop = platform::RunLoop::current();
    loop.post([&] { client.setSandboxReplyDir(""); });
    EXPECT_TRUE(client.requestSandboxAccessCommand(request())) << "an empty reply was taken for the marker";
    loop.post([&] { agent.reset(); });
    EXPECT_FALSE(client.requestSandboxAccessCommand(request()));
    EXPECT_FALSE(client.requestSandboxAccessCommand(request())) << "there is no agent to launch";
    EXPECT_EQ(client.requestAccessToDirectory(home.path(), "m"), home.path());
    EXPECT_EQ(client.requestAccessToDirectory(outOfReach(home), "m", 1), std::nullopt);
    EXPECT_EQ(client.getToolSpecialDirectory(ToolDesktopDirectory), home.path("Desktop"));
    EXPECT_EQ(client.getToolSpecialDirectory(7), std::nullopt);
}
