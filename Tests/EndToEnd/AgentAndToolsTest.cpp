// The built programs themselves, as separate processes: what a person would see the agent print.

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>

#include "EndToEnd/Scene.h"
#include "Support/Keyboard.h"

using namespace kitwell;
using namespace kitwell::test;

namespace {

// Asks again until the answer holds the text: what the agent knows arrives by itself, but in its own time.
bool agentShows(ChildProcess& agent, const std::string& tool, const std::string& text) {
    return waitUntil([&] {
        agent.writeLine("status " + tool);
        const auto line = agent.readLine();
        return line && line->starts_with(tool + ":") && line->find(text) != std::string::npos;
    });
}

std::vector<platform::RunningApplication> agents() {
    return platform::RunningApplication::withBundleIdentifier(kAgentBundleIdentifier);
}

// Empty when no agent runs.
std::string agentsCommandLine() {
    const auto running = agents();
    return running.empty() ? "" : commandLineOf(running[0].processIdentifier);
}

void endAgent() {
    ASSERT_EQ(agents().size(), 1U);
    ::kill(agents()[0].processIdentifier, SIGTERM);
    EXPECT_TRUE(waitUntil([] { return agents().empty(); }));
}

} // namespace

TEST(AgentAndTools, FindEachOtherInBothOrdersAndAfterTheAgentWasKilled) {
    const Scene scene;
    ChildProcess toolBefore = Scene::start("Counter");
    for (int life = 0; life < 2; ++life) {
        ChildProcess agent = Scene::start("Kitwell");
        EXPECT_TRUE(agentShows(agent, "Counter", "status on, text \"0 clicks\", icon 64x64"));
        ChildProcess toolAfter = Scene::start("Clock");
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
        ChildProcess agent = Scene::start("Kitwell");
        ChildProcess tool = Scene::start("DiskSpace");
        ASSERT_TRUE(agentShows(agent, "DiskSpace", " free of ")); // said after its launching began
        tool.signal(SIGTERM);
        EXPECT_EQ(tool.wait(), 0);
        EXPECT_TRUE(agentShows(agent, "DiskSpace", "port closed"));
        agent.signal(SIGTERM);
        EXPECT_EQ(agent.wait(), 0);
    }
    ChildProcess agent = Scene::start("Kitwell");
    EXPECT_TRUE(agent.waitForLine("DiskSpace: status permanent"));
    const ToolPersistentDataReader stored("DiskSpace.app", "com.corvalen.kitwell.DiskSpace");
    EXPECT_TRUE(stored.menuText()->find(" free of ") != std::string::npos);
    EXPECT_TRUE(stored.menuIcon()->isTemplate());
    EXPECT_EQ(stored.toolIcon()->width(), 64U);
}

TEST(AgentAndTools, CommandsReachTheToolsAndTheirChangesComeBackByThemselves) {
    const Scene scene; // in which the tools are also found behind a symlink
    std::filesystem::remove(scene.applications);
    std::filesystem::create_symlink(APPLICATIONS_FOLDER, scene.applications);
    ChildProcess agent = Scene::start("Kitwell");
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
    ChildProcess agent = Scene::start("Kitwell");
    ASSERT_TRUE(agent.waitForLine("Counter: status off"));
    EXPECT_EQ(Scene::start("Kitwell").wait(), 1);
    const ChildProcess tool = Scene::start("Counter");
    EXPECT_TRUE(agent.waitForLine("Counter: status on"));
}

TEST(AgentAndTools, AnAgentWhoseOutputIsNotReadServesItsToolsAndEndsWhenTold) {
    const Scene scene;
    const std::string folder = scene.home.path("data");
    platform::UserDefaults(kAppGroupIdentifier).setObjectForKey(folder, "ToolSpecialDir_0");
    for (const bool isReadLater : {false, true}) {
        ChildProcess agent = Scene::start("Kitwell");
        for (int line = 0; line < 4000; ++line) // more than pipe and agent hold
            agent.writeLine("help");
        AgentScheduler::scheduleToolAtDate(platform::Date::now(), "com.corvalen.kitwell.DiskSpace",
                                           "DiskSpace");
        EXPECT_TRUE(waitUntil([&] { return std::filesystem::remove(folder + "/Disk space.txt"); }));
        if (isReadLater) {
            EXPECT_TRUE(agent.waitForLine(" lines were left out"));
            EXPECT_TRUE(agentShows(agent, "DiskSpace", "status permanent"));
        }
        agent.signal(SIGTERM);
        EXPECT_EQ(agent.wait(), 0);
    }
}

// A tool that needs the agent at once: starts it, tells it its status, and goes.
CHILD_BODY(toolThatLaunchesTheAgent) {
    ToolDataClientProvider client;
    const bool wasReachable = client.checkAgentPort();
    return !wasReachable && client.launchAgentIfNeeded() && client.isAgentConnected() ? 0 : 1;
}

TEST(AgentAndTools, AToolLaunchesTheAgentForAllToSeeAndWaitsUntilItIsReachable) {
    const Scene scene;
    std::filesystem::create_symlink(std::string(APPLICATIONS_FOLDER) + "/Kitwell.app",
                                    scene.applications + "/Kitwell.app");
    const std::string tool = makeTestBundle(scene.applications, "Sample", "com.corvalen.kitwell.Sample");
    EXPECT_EQ(ChildProcess::program(tool, {"--child", "toolThatLaunchesTheAgent"}).wait(), 0);
    EXPECT_TRUE(waitUntil([] { return agentsCommandLine().ends_with("/Kitwell "); }));
    endAgent();
}

// Becomes the program of the first argument, with the second as its terminal and no display.
CHILD_BODY(onATerminal) {
    ::unsetenv("DISPLAY");
    ::unsetenv("WAYLAND_DISPLAY");
    ::setsid();
    const int terminal = ::open(arguments[1].c_str(), O_RDWR); // hung up while nobody has it open
    return terminal < 0 ? 126 : ::execl(arguments[0].c_str(), arguments[0].c_str(), nullptr);
}

// A shell on the terminal of the first argument, with the agent as a job in its background until it hears a
// line.
CHILD_BODY(shellWithTheAgentAsAJob) {
    ::setsid();
    const int terminal = ::open(arguments[0].c_str(), O_RDWR);
    posix_spawnattr_t ownGroup;
    ::posix_spawnattr_init(&ownGroup);
    ::posix_spawnattr_setflags(&ownGroup, POSIX_SPAWN_SETPGROUP);
    posix_spawn_file_actions_t actions;
    ::posix_spawn_file_actions_init(&actions);
    ::posix_spawn_file_actions_adddup2(&actions, terminal, STDIN_FILENO);
    std::string program = arguments[1];
    char* words[] = {program.data(), nullptr};
    pid_t agent = -1;
    int status = ::posix_spawn(&agent, words[0], &actions, &ownGroup, words, environ);
    ::posix_spawn_file_actions_destroy(&actions);
    ::posix_spawnattr_destroy(&ownGroup);
    hear();
    ::tcsetpgrp(terminal, agent);
    return status == 0 && ::waitpid(agent, &status, 0) == agent ? status : 1;
}

TEST(AgentAndTools, AnAgentInTheBackgroundLeavesTheTerminalToTheShellAndListensLater) {
    const Scene scene;
    const Keyboard keyboard;
    ChildProcess shell = ChildProcess::body(
        "shellWithTheAgentAsAJob",
        {keyboard.terminal(), std::string(APPLICATIONS_FOLDER) + "/Kitwell.app/Contents/Linux/Kitwell"});
    ASSERT_TRUE(shell.waitForLine("Counter: status off"));
    keyboard.type("quit\n");
    AgentScheduler::scheduleToolAtDate(platform::Date{0}, "id", "Absent");
    EXPECT_TRUE(shell.waitForLine("due: Absent")) << "it was stopped";
    EXPECT_EQ(agents().size(), 1U) << "it took a line that was not its own";
    shell.writeLine("the agent may come to the front");
    EXPECT_EQ(shell.wait(), 0);
}

TEST(AgentAndTools, TheTableKeepsItsLastColumnsHoweverLongATextIs) {
    const Scene scene;
    const Keyboard keyboard;
    ChildProcess agent = ChildProcess::program(
        "/bin/sh",
        {"-c", R"(exec "$1" < "$2" > "$2")", "sh",
         std::string(APPLICATIONS_FOLDER) + "/Kitwell.app/Contents/Linux/Kitwell", keyboard.terminal()});
    keyboard.waitFor("PORT");
    keyboard.type("launch DiskSpace \n"); // its text alone would fill half of the line
    keyboard.waitFor("open");
    keyboard.type("off DiskSpace\n");
    keyboard.waitFor("permanent  yes       closed");
    keyboard.type("quit\n");
    EXPECT_EQ(agent.wait(), 0);
}

TEST(AgentAndTools, NotesAsksForTheAgentThatItNeedsAndGoesOnWithItAlone) {
    const Scene scene;
    const std::string notes = std::string(APPLICATIONS_FOLDER) + "/Notes.app/Contents/Linux/Notes";
    const auto answer = [&](const Keyboard& keyboard, const char* line) {
        ChildProcess tool = ChildProcess::body("onATerminal", {notes, keyboard.terminal()});
        const std::string question = keyboard.waitFor("(nothing cancels): ");
        EXPECT_NE(question.find("required for Notes to function"), std::string::npos) << question;
        keyboard.type(line);
        return tool;
    };
    const Keyboard first, second;
    EXPECT_EQ(answer(first, "2\n").wait(), 1);
    EXPECT_EQ(agentsCommandLine(), "");
    ChildProcess tool = answer(second, "1\n");
    EXPECT_TRUE(waitUntil([] { return agentsCommandLine().ends_with("/Kitwell --hidden "); }));
    tool.signal(SIGTERM);
    EXPECT_EQ(tool.wait(), 0);
    endAgent();
}
