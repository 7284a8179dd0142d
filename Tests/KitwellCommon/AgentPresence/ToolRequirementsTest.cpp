#include "KitwellCommon/KitwellCommon.h"
#include "KitwellPlatform/Applications/Application.h"
#include "KitwellPlatform/Applications/RunningApplication.h"
#include "Support/Harness.h"

using namespace kitwell;
using namespace kitwell::test;

// The agent's place: runs as an application until it is ended.
CHILD_BODY(standInAgent) {
    return platform::Application::shared().run();
}

// Checks with the answer told ("0" and "1" for the buttons, "-" for none, "force"), and prints what was
// shown, whether in front, and what was found.
CHILD_BODY(checkingTool) {
    ScriptedDialogs dialogs;
    dialogs.answerAlert = [&](const platform::AlertContent& content) -> std::optional<std::size_t> {
        say(content.message + "|" + content.buttons.at(0) + "|" + content.buttons.at(1) + "|" +
            content.informativeText + (platform::Application::shared().isActive() ? "in front" : ""));
        return arguments[0] == "-" ? std::nullopt : std::optional<std::size_t>(std::stoul(arguments[0]));
    };
    const bool mayRun = ToolRequirements::checkToolCanRun(arguments[0] == "force");
    say(mayRun ? "may run" : "may not run");
    return 0;
}

class Requirements : public testing::Test {
protected:
    Requirements() { std::filesystem::create_directories(applications); }

    std::string makeTool(const std::string& capabilities) const {
        return makeTestBundle(applications, "Sample", "com.corvalen.kitwell.Sample", capabilities);
    }
    // What the tool prints, joined.
    static std::string check(const std::string& tool, const std::string& answer) {
        ChildProcess process = ChildProcess::program(tool, {"--child", "checkingTool", answer});
        std::string all;
        while (const auto line = process.readLine())
            all += *line + "\n";
        return all;
    }

    const TestHome home;
    const std::string applications = home.path("data/Kitwell/Applications");
    const std::string needed = "<key>ToolCapabilities</key><dict><key>NeedAgentForWork</key><true/></dict>";
    const std::string alert =
        "Corvalen Kitwell is required for Sample to function properly. Would you like to launch "
        "Corvalen Kitwell?|Launch Corvalen Kitwell|Quit|in front\n";
};

TEST_F(Requirements, OnlyAToolThatDeclaresTheNeedAsks) {
    for (const char* capabilities :
         {"", "<key>ToolCapabilities</key><dict><key>NeedAgentForWork</key><string>yes</string></dict>",
          "<key>ToolCapabilities</key><dict><key>NeedAgentForWork</key><false/></dict>"})
        EXPECT_EQ(check(makeTool(capabilities), "1"), "may run\n") << capabilities;
    const std::string tool = makeTool(needed);
    EXPECT_EQ(check(tool, "0"), alert + "may not run\n") << "there is no agent that could be launched";
    EXPECT_EQ(check(tool, "force"), "may not run\n");
}

TEST_F(Requirements, TheAgentIsLaunchedHiddenAndWithItRunningNobodyIsAsked) {
    // A launched program hears no arguments of the test's: it is known by its file name.
    makeTestBundle(applications, "child-standInAgent", kAgentBundleIdentifier);
    const auto agents = [] {
        return platform::RunningApplication::withBundleIdentifier(kAgentBundleIdentifier);
    };
    const std::string tool = makeTool(needed);
    for (const char* answer : {"-", "force"}) { // closing the alert is not quitting
        EXPECT_EQ(check(tool, answer), (answer[0] == 'f' ? "" : alert) + "may run\n");
        ASSERT_TRUE(waitUntil([&] { return agents().size() == 1; })) << answer;
        EXPECT_EQ(check(tool, "1"), "may run\n");
        ::kill(agents()[0].processIdentifier, SIGTERM);
        EXPECT_TRUE(waitUntil([&] { return agents().empty(); }));
    }
}
