// The built programs themselves, as separate processes: what a person would see the agent print.

#include <gtest/gtest.h>

#include <filesystem>

#include "EndToEnd/Scene.h"
#include "KitwellCommon/KitwellCommon.h"
#include "KitwellPlatform/Applications/RunningApplication.h"
#include "Support/ChildProcess.h"
#include "Support/TestBundle.h"

using namespace kitwell;
using namespace kitwell::test;

namespace {

ChildProcess start(const std::string& name) {
    return ChildProcess::program(std::string(APPLICATIONS_FOLDER) + "/" + name + ".app/Contents/Linux/" +
                                 name);
}

// Asks again until the answer holds the text: what the agent knows arrives by itself, but in its own time.
bool agentShows(ChildProcess& agent, const std::string& tool, const std::string& text) {
    return waitUntil([&] {
        agent.writeLine("status " + tool);
        const auto line = agent.readLine();
        return line && line->starts_with(tool + ":") && line->find(text) != std::string::npos;
    });
}

} // namespace

TEST(AgentAndTools, FindEachOtherInBothOrdersAndAfterTheAgentWasKilled) {
    const Scene scene;
    ChildProcess toolBefore = start("Counter");
    for (int life = 0; life < 2; ++life) {
        ChildProcess agent = start("Kitwell");
        EXPECT_TRUE(agentShows(agent, "Counter", "status on, text \"0 clicks\", icon 64x64"));
        ChildProcess toolAfter = start("Clock");
        EXPECT_TRUE(agentShows(agent, "Clock", "status on, text"));
        toolAfter.signal(SIGKILL);
        EXPECT_TRUE(agent.waitForLine("Clock: status off"))
            << "the death of a tool was not noticed by itself";
        agent.signal(SIGKILL);
        EXPECT_EQ(agent.wait(), 128 + SIGKILL);
    }
    toolBefore.signal(SIGTERM);
    EXPECT_EQ(toolBefore.wait(), 0);
}

TEST(AgentAndTools, SigtermEndsEachInOrderAndAPermanentToolStaysVisible) {
    const Scene scene;
    {
        ChildProcess agent = start("Kitwell");
        ChildProcess tool = start("DiskSpace");
        ASSERT_TRUE(agentShows(agent, "DiskSpace", " free of ")); // said after its launching began
        tool.signal(SIGTERM);
        EXPECT_EQ(tool.wait(), 0);
        EXPECT_TRUE(agentShows(agent, "DiskSpace", "port closed"));
        agent.signal(SIGTERM);
        EXPECT_EQ(agent.wait(), 0);
    }
    ChildProcess agent = start("Kitwell");
    EXPECT_TRUE(agent.waitForLine("DiskSpace: status permanent"));
    const ToolPersistentDataReader stored("DiskSpace.app", "com.corvalen.kitwell.DiskSpace");
    EXPECT_TRUE(stored.menuText()->find(" free of ") != std::string::npos);
    EXPECT_TRUE(stored.menuIcon()->isTemplate());
    EXPECT_EQ(stored.toolIcon()->width(), 64U);
}

TEST(AgentAndTools, CommandsReachTheToolsAndTheirChangesComeBackByThemselves) {
    const Scene scene; // in which the tools are also found behind a symlink
    std::filesystem::create_directories(scene.home.path("data/Kitwell"));
    std::filesystem::create_symlink(APPLICATIONS_FOLDER, scene.home.path("data/Kitwell/Applications"));
    ChildProcess agent = start("Kitwell");
    agent.writeLine("click Counter");
    EXPECT_TRUE(agent.waitForLine("Counter does not run"));
    agent.writeLine("launch counter");
    EXPECT_TRUE(agent.waitForLine("launched Counter: process "));
    EXPECT_TRUE(agent.waitForLine("Counter: status on, text \"0 clicks\""));
    agent.writeLine("click Counter");
    EXPECT_TRUE(agent.waitForLine("Counter: status on, text \"1 click\""));
    agent.writeLine(std::string(9000, 'x') + " status Clock"); // dropped as a whole
    agent.writeLine("off Counter");
    EXPECT_TRUE(agent.waitForLine("Counter: status off, text \"1 click\""));
    agent.writeLine("dance Counter");
    EXPECT_TRUE(agent.waitForLine("not understood: dance"));
    agent.writeLine("quit");
    EXPECT_EQ(agent.wait(), 0);
}

TEST(AgentAndTools, ASecondAgentDoesNotTakeTheFirstOnesPlace) {
    const Scene scene;
    ChildProcess agent = start("Kitwell");
    ASSERT_TRUE(agent.waitForLine("Counter: status off"));
    EXPECT_EQ(start("Kitwell").wait(), 1);
    const ChildProcess tool = start("Counter");
    EXPECT_TRUE(agent.waitForLine("Counter: status on"));
}

// A tool that needs the agent at once: starts it, tells it its status, and goes.
CHILD_BODY(toolThatLaunchesTheAgent) {
    ToolDataClientProvider client;
    const bool wasReachable = client.checkAgentPort();
    return !wasReachable && client.launchAgentIfNeeded() && client.isAgentConnected() ? 0 : 1;
}

TEST(AgentAndTools, AToolLaunchesTheAgentAndWaitsUntilItIsReachable) {
    const Scene scene;
    const std::string applications = scene.home.path("data/Kitwell/Applications");
    std::filesystem::create_directories(applications);
    std::filesystem::create_symlink(std::string(APPLICATIONS_FOLDER) + "/Kitwell.app",
                                    applications + "/Kitwell.app");
    const std::string tool = makeTestBundle(applications, "Sample", "com.corvalen.kitwell.Sample");
    EXPECT_EQ(ChildProcess::program(tool, {"--child", "toolThatLaunchesTheAgent"}).wait(), 0);
    const auto agents = platform::RunningApplication::withBundleIdentifier(kAgentBundleIdentifier);
    ASSERT_EQ(agents.size(), 1U);
    ::kill(agents[0].processIdentifier, SIGTERM);
    EXPECT_TRUE(waitUntil(
        [] { return platform::RunningApplication::withBundleIdentifier(kAgentBundleIdentifier).empty(); }));
}
