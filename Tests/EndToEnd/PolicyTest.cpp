// What the administrator forbids, no way of starting a tool gets round: on a machine of its own, whose policy
// lets Clock be used and nothing else.

#include "EndToEnd/Scene.h"
#include "KitwellPlatform/Machine/Users.h"
#include "Support/PrivateMachine.h"

using namespace kitwell;
using namespace kitwell::test;
using platform::Date;

namespace {

constexpr char kCounter[] = "com.corvalen.kitwell.Counter";
constexpr char kRefusal[] = "Counter is not allowed on this computer: the administrator's list of tools";

int control(const std::vector<std::string>& words) {
    return ChildProcess::program(std::string(PROGRAMS_FOLDER) + "/kitwellctl", words).wait();
}

// Says which step was not as it should be.
bool saw(bool isAsItShouldBe, const std::string& step) {
    if (!isAsItShouldBe)
        say(step);
    return isAsItShouldBe;
}

bool playScene() {
    updateSchedulerPlist(kCounter, "Counter", [](platform::Dictionary& entry) {
        entry.set(kScheduleAtLogin, true);
        entry.set(kScheduleAtDate, true);
        entry.set(kScheduleDate, Date::now().adding(-5));
    });
    ChildProcess agent = Scene::start("Kitwell", {"--login"});
    const bool isRefused = saw(agent.waitForLine(std::string("due: ") + kRefusal), "launched when due") &&
                           saw(agent.waitForLine(std::string("at login: ") + kRefusal), "launched at login");
    agent.writeLine("launch Counter");
    const bool isAgentFirm = saw(agent.waitForLine(kRefusal), "launched by the agent");
    agent.writeLine("list");
    agent.writeLine("launch Clock");
    bool isShown = false;
    for (auto line = agent.readLine(); line && !line->starts_with("launched Clock"); line = agent.readLine())
        isShown = isShown || line->starts_with("Counter:") || line->starts_with("Notes:");
    const bool isClockAllowed = saw(agent.waitForLine("Clock: status on"), "Clock was not launched");
    agent.writeLine("quit");
    return isRefused && isAgentFirm && isClockAllowed && saw(!isShown, "a forbidden tool is shown") &&
           saw(agent.wait() == 0, "the agent did not end");
}

} // namespace

CHILD_BODY(livesUnderAPolicy) {
    if (!platform::administratorsGroup() || !enterPrivateMachine(arguments[0]))
        return kNoPrivateMachine;
    if (!saw(control({"policy", "set-tools", "Clock"}) == 0, "the policy was not set") || !playScene())
        return 1;
    for (const char* tool : {"Counter", "DiskSpace", "Notes"}) {
        if (!saw(Scene::start(tool).wait() == 1, std::string(tool) + " runs"))
            return 1;
    }
    return saw(control({"launch", "Counter"}) == 1, "launched by the command line") ? 0 : 1;
}

TEST(Policy, NoWayOfStartingAToolGetsRoundIt) {
    const Scene scene;
    std::filesystem::remove(scene.applications);
    std::filesystem::create_symlink(APPLICATIONS_FOLDER, scene.applications);
    std::string said;
    const int ending = runOnPrivateMachine("livesUnderAPolicy", scene.home.path("machine"), said);
    if (ending == kNoPrivateMachine)
        GTEST_SKIP() << "takes root, and a machine of its own";
    EXPECT_EQ(ending, 0) << said;
}
