#include <gtest/gtest.h>

#include <filesystem>

#include "KitwellCommon/KitwellCommon.h"
#include "KitwellPlatform/Files/Bookmark.h"
#include "Support/ChildProcess.h"
#include "Support/ScriptedDialogs.h"
#include "Support/TestHome.h"
#include "Support/Traffic.h"

using namespace kitwell;
using namespace kitwell::test;
using platform::FileUrl;

// A tool that changes its schedule while the agent's panel is up.
CHILD_BODY(schedulingTool) {
    updateSchedulerPlist("id", "Sample",
                         [](platform::Dictionary& entry) { entry.set(kScheduleAtLogin, true); });
    return 0;
}

class SandboxGrants : public testing::Test {
protected:
    std::string folder(const char* name) const {
        std::filesystem::create_directories(home.path(name));
        return home.path(name);
    }
    std::string coveringPath(const std::string& path) const {
        const auto grant = service.grantCovering(path);
        return grant ? platform::resolveBookmark(*grant)->path() : "none";
    }

    const TestHome home;
    ScriptedDialogs dialogs;
    ToolDataServerProvider& service = ToolDataServerProvider::sharedInstance();
};

TEST_F(SandboxGrants, TheFirstGrantWhosePathBeginsTheTextOfThePathCoversIt) {
    for (const char* name : {"gone", "b/below", "b", "c"})
        service.saveSandboxAccess(FileUrl(folder(name)));
    std::filesystem::remove(home.path("gone"));
    EXPECT_EQ(coveringPath(home.path("b/below/more")), home.path("b/below"));
    EXPECT_EQ(coveringPath(home.path("b/other")), home.path("b"));
    EXPECT_EQ(coveringPath(home.path("bc")), home.path("b")) << "no boundary of components is asked for";
    EXPECT_EQ(coveringPath(home.path("c")), home.path("c"));
    for (const char* path : {"gone/below", "a", ""})
        EXPECT_EQ(coveringPath(home.path(path)), "none") << path;
}

TEST_F(SandboxGrants, TheReplyIsPlainTheGrantIsScopedAndNobodyWaitsForThePerson) {
    const std::string chosen = folder("chosen");
    platform::UserDefaults(kAppGroupIdentifier).setObjectForKey("relative", "ToolSpecialDir_0");
    int ended = -1;
    dialogs.answerPanel = [&](const auto&) {
        ended = ChildProcess::body("schedulingTool").wait(std::chrono::seconds(5));
        return FileUrl(chosen);
    };
    const auto reply = service.bookmarkForSandboxAccessForPath(home.path("not/there"), "", 0);
    EXPECT_EQ(ended, 0) << "the shared preferences are locked while a panel is up";
    ASSERT_TRUE(reply);
    EXPECT_FALSE(platform::startAccessingSecurityScopedResource(*reply));
    EXPECT_TRUE(platform::startAccessingSecurityScopedResource(service.sandboxBookmarks().back()));
}

TEST(SandboxWait, AnAgentThatComesBackAtOnceDoesNotKeepTheToolWaiting) {
    const TestHome home;
    auto agent = std::make_unique<RecordingPort>(kAgentPortName);
    ToolDataClientProvider client;
    platform::RunLoop& loop = platform::RunLoop::current();
    std::unique_ptr<RecordingPort> next;
    loop.post([&] {
        agent.reset();
        next = std::make_unique<RecordingPort>(kAgentPortName);
        turnLoopUntil([&] { return !client.isAgentConnected(); });
        client.sendStatus(); // as the new agent would ask for
    });
    EXPECT_FALSE(
        client.requestSandboxAccessCommand(sandboxSpecialRequest(client.toolId(), ToolDesktopDirectory)));
    EXPECT_TRUE(client.isAgentConnected());
    loop.post([&] { loop.stop(); });
    EXPECT_FALSE(
        client.requestSandboxAccessCommand(sandboxSpecialRequest(client.toolId(), ToolDesktopDirectory)))
        << "a stopped wait was taken for an answer";
}
