// The agent carries stored schedules out: what it prints, and what the store holds afterwards.

#include <gtest/gtest.h>

#include <filesystem>

#include "EndToEnd/Scene.h"
#include "KitwellCommon/KitwellCommon.h"
#include "Support/ChildProcess.h"

using namespace kitwell;
using namespace kitwell::test;
using platform::Date;
using platform::Dictionary;

namespace {

constexpr char kCounter[] = "com.corvalen.kitwell.Counter";

ChildProcess startAgent(const std::vector<std::string>& arguments = {}) {
    return ChildProcess::program(std::string(APPLICATIONS_FOLDER) + "/Kitwell.app/Contents/Linux/Kitwell",
                                 arguments);
}

void schedule(double secondsFromNow, platform::Value interval) {
    updateSchedulerPlist(kCounter, "Counter", [&](Dictionary& entry) {
        entry.set(kScheduleAtDate, true);
        entry.set(kScheduleDate, Date::now().adding(secondsFromNow));
        entry.set(kScheduleInterval, interval);
    });
}

Dictionary stored() {
    Dictionary found;
    readSchedulerPlist(kCounter, "Counter", [&](const Dictionary& entry) { found = entry; });
    return found;
}

// Ends the tool as well, which must have published its port by then.
void quit(ChildProcess& agent) {
    agent.writeLine("off Counter");
    EXPECT_TRUE(agent.waitForLine("turned off Counter"));
    agent.writeLine("quit");
    EXPECT_EQ(agent.wait(), 0);
}

} // namespace

TEST(Schedules, ADateThatPassedIsCaughtUpOnceAndNeverAgain) {
    const Scene scene;
    schedule(-5, 0);
    ChildProcess agent = startAgent();
    EXPECT_TRUE(agent.waitForLine("due: launched Counter"));
    EXPECT_EQ(stored(), (Dictionary{{"bundleid", kCounter}, {"name", "Counter"}, {"interval", 0}}));
    agent.kill();
    ChildProcess next = startAgent();
    next.writeLine("status Counter");
    while (const auto line = next.readLine()) {
        EXPECT_EQ(line->find("due:"), std::string::npos) << "a date was carried out twice";
        if (line->starts_with("Counter: status on"))
            break;
    }
    quit(next);
}

TEST(Schedules, ARepeatStaysOnItsGridKeepsItsIntervalAndTellsARunningTool) {
    const Scene scene;
    schedule(-100, 3600.0);
    const Date first = *stored().find("date")->asDate();
    ChildProcess agent = startAgent();
    EXPECT_TRUE(agent.waitForLine("due: launched Counter"));
    EXPECT_EQ(*stored().find("date")->asDate(), first.adding(3600));
    EXPECT_EQ(*stored().find("interval"), platform::Value(3600.0));
    EXPECT_TRUE(agent.waitForLine("Counter: status on"));
    AgentScheduler::scheduleToolAtDate(Date::now().adding(0.3), kCounter,
                                       "Counter"); // told by the notification
    EXPECT_TRUE(agent.waitForLine("due: told Counter"));
    quit(agent);
}

TEST(Schedules, BadEntriesDoNotStopTheAgentNorTheGoodOneBehindThem) {
    const Scene scene;
    const auto entry = [](platform::Value date, platform::Value interval) {
        return Dictionary{{"bundleid", kCounter},
                          {"name", "Absent"},
                          {"launchAtDate", true},
                          {"date", date},
                          {"interval", interval}};
    };
    platform::UserDefaults(kAppGroupIdentifier)
        .setObjectForKey(
            platform::Array{
                "text", 5, Dictionary{{"launchAtDate", true}}, entry("soon", 1), entry(Date{1e300}, 1),
                entry(Date{-63113904000}, 1e-9), entry(Date{252423993599}, 0),
                Dictionary{{"bundleid", 7}, {"name", true}, {"launchAtDate", true}, {"date", Date{0}}}},
            kSchedulerKey);
    ChildProcess agent = startAgent();
    EXPECT_TRUE(agent.waitForLine("Counter: status off"));
    AgentScheduler::scheduleToolAtDate(Date::now(), kCounter, "Counter");
    EXPECT_TRUE(agent.waitForLine("due: launched Counter"));
    EXPECT_TRUE(agent.waitForLine("Counter: status on"));
    quit(agent);
}

TEST(Schedules, LoginLaunchesWhatAskedForIt) {
    const Scene scene;
    updateSchedulerPlist(kCounter, "Counter", [](Dictionary& entry) { entry.set(kScheduleAtLogin, true); });
    ChildProcess agent = startAgent({"--login"});
    EXPECT_TRUE(agent.waitForLine("at login: launched Counter"));
    EXPECT_TRUE(agent.waitForLine("Counter: status on"));
    quit(agent);
    EXPECT_EQ(startAgent({"--no-such-option"}).wait(), 2);
}
