// The agent carries stored schedules out: what it prints, and what the store holds afterwards.

#include "EndToEnd/Scene.h"

using namespace kitwell;
using namespace kitwell::test;
using platform::Date;
using platform::Dictionary;

namespace {

constexpr char kCounter[] = "com.corvalen.kitwell.Counter";
constexpr char kRecorder[] = "com.corvalen.kitwell.KeepAwake"; // a tool that the agent lets be used
constexpr char kDiskSpace[] = "com.corvalen.kitwell.DiskSpace";

void schedule(const char* bundleId, const char* name, Date date, double interval) {
    updateSchedulerPlist(bundleId, name, [&](Dictionary& entry) {
        entry.set(kScheduleAtDate, true);
        entry.set(kScheduleDate, date);
        entry.set(kScheduleInterval, interval);
    });
}

Dictionary stored(const char* bundleId = kCounter, const char* name = "Counter") {
    Dictionary found;
    readSchedulerPlist(bundleId, name, [&](const Dictionary& entry) { found = entry; });
    return found;
}

std::string textOf(const platform::Value* date) {
    return date ? std::to_string(date->asDate()->secondsSinceReference) : "no date";
}

// Ends the tool as well, which must have published its port by then.
void quit(ChildProcess& agent) {
    agent.writeLine("off Counter");
    EXPECT_TRUE(agent.waitForLine("turned off Counter"));
    agent.writeLine("quit");
    EXPECT_EQ(agent.wait(), 0);
}

void expectNothingWasDue(ChildProcess& agent) {
    agent.writeLine("dance");
    auto line = agent.readLine();
    for (; line && !line->starts_with("not understood"); line = agent.readLine())
        EXPECT_EQ(line->find("due:"), std::string::npos) << "a date was carried out twice";
    EXPECT_TRUE(line);
}

} // namespace

// A tool that notes how it was started and what date the store holds at that moment, and kills whoever
// started it. It does not wait for the store's lock.
CHILD_BODY(recorder) {
    const auto entries = platform::UserDefaults(kAppGroupIdentifier).arrayForKey(kSchedulerKey);
    const auto own = std::ranges::find_if(*entries, [](const platform::Value& entry) {
        return *entry.asDictionary()->find(kScheduleBundleId) == platform::Value(kRecorder);
    });
    std::ofstream(std::string(::getenv("HOME")) + "/starts", std::ios::app)
        << (arguments.empty() ? "shown" : arguments[0]) << " "
        << textOf(own->asDictionary()->find(kScheduleDate)) << std::endl;
    ::kill(::getppid(), SIGKILL);
    return 0;
}

TEST(Schedules, ADateIsOutOfTheStoreBeforeItsLaunchSoThatAKilledAgentNeverRepeatsIt) {
    for (const double interval : {0.0, 3600.0}) {
        const Scene scene;
        makeTestBundle(scene.applications, "child-recorder", kRecorder);
        const auto starts = [&] {
            std::ifstream file(scene.home.path("starts"));
            return std::string(std::istreambuf_iterator<char>(file), {});
        };
        ChildProcess agent = Scene::start("Kitwell");
        ASSERT_TRUE(agent.waitForLine("Counter: status off"));
        const Date date = Date::now().adding(0.5);
        schedule(kRecorder, "child-recorder", date, interval);
        AgentScheduler::scheduleToolAtDate(Date{0}, kCounter, "Absent");
        ASSERT_TRUE(agent.waitForLine("due: Absent, which is not installed")) << "the store was not read";
        accessAppGroupPlist([&](platform::UserDefaults&) { // nobody else can write meanwhile
            const std::chrono::duration<double> untilAfterwards(Date::now().secondsUntil(date) + 0.2);
            EXPECT_FALSE(waitUntil([&] { return !starts().empty(); },
                                   std::chrono::ceil<std::chrono::milliseconds>(untilAfterwards)));
        });
        const platform::Value next = date.adding(interval);
        const std::string once = "--hidden " + textOf(interval > 0 ? &next : nullptr) + "\n";
        EXPECT_TRUE(waitUntil([&] { return starts() == once; })) << starts();
        EXPECT_EQ(agent.wait(), 128 + SIGKILL);
        ChildProcess nextAgent = Scene::start("Kitwell");
        expectNothingWasDue(nextAgent);
        EXPECT_EQ(starts(), once);
    }
}

TEST(Schedules, ADateThatPassedIsCaughtUpOnceAndARepeatStaysOnItsGridWithItsInterval) {
    for (const double interval : {0.0, 3600.0}) {
        const Scene scene;
        const Date date = Date::now().adding(-100);
        schedule(kCounter, "Counter", date, interval);
        ChildProcess agent = Scene::start("Kitwell");
        EXPECT_TRUE(agent.waitForLine("due: launched Counter"));
        Dictionary after{{"bundleid", kCounter}, {"name", "Counter"}, {"interval", interval}};
        if (interval > 0) {
            after.set("launchAtDate", true);
            after.set("date", date.adding(interval));
        }
        EXPECT_EQ(platform::Value(stored()), platform::Value(after));
        EXPECT_TRUE(agent.waitForLine("Counter: status on"));
        expectNothingWasDue(agent);
        // The notification tells the agent.
        AgentScheduler::scheduleToolAtDate(Date::now().adding(0.1), kCounter, "Counter");
        EXPECT_TRUE(agent.waitForLine("due: told Counter"));
        quit(agent);
    }
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
                entry(Date{std::nan("")}, 1), "text", 5, Dictionary{{"launchAtDate", true}}, entry("soon", 1),
                entry(Date{1e300}, 1), entry(Date{-63113904000}, 1e-9), entry(Date{252423993599}, 0),
                Dictionary{{"bundleid", 7}, {"name", true}, {"launchAtDate", true}, {"date", Date{0}}}},
            kSchedulerKey);
    ChildProcess agent = Scene::start("Kitwell");
    EXPECT_TRUE(agent.waitForLine("Counter: status off"));
    AgentScheduler::scheduleToolAtDate(Date::now().adding(0.2), kCounter, "Counter"); // to be waited for
    EXPECT_TRUE(agent.waitForLine("due: launched Counter"));
    EXPECT_TRUE(agent.waitForLine("Counter: status on"));
    quit(agent);
}

TEST(Schedules, LoginLaunchesWhatAskedForIt) {
    const Scene scene;
    updateSchedulerPlist(kCounter, "Counter", [](Dictionary& entry) { entry.set(kScheduleAtLogin, true); });
    ChildProcess agent = Scene::start("Kitwell", {"--login"});
    EXPECT_TRUE(agent.waitForLine("at login: launched Counter"));
    EXPECT_TRUE(agent.waitForLine("Counter: status on"));
    quit(agent);
    EXPECT_EQ(Scene::start("Kitwell", {"--no-such-option"}).wait(), 2);
}

TEST(Schedules, DiskSpaceAsksForEveryHourAndReportsWhenTheAgentTellsIt) {
    const Scene scene;
    const std::string folder = scene.home.path("data");
    platform::UserDefaults(kAppGroupIdentifier).setObjectForKey(folder, "ToolSpecialDir_0");
    ChildProcess agent = Scene::start("Kitwell");
    const ChildProcess tool = Scene::start("DiskSpace");
    const auto isArmed = [] { return stored(kDiskSpace, "DiskSpace").find(kScheduleAtDate) != nullptr; };
    ASSERT_TRUE(waitUntil(isArmed));
    const Dictionary entry = stored(kDiskSpace, "DiskSpace");
    EXPECT_EQ(*entry.find(kScheduleInterval), platform::Value(3600.0));
    EXPECT_NEAR(Date::now().secondsUntil(*entry.find(kScheduleDate)->asDate()), 3600, 60);
    AgentScheduler::scheduleToolAtDate(Date::now(), kDiskSpace, "DiskSpace");
    EXPECT_TRUE(agent.waitForLine("due: told DiskSpace"));
    EXPECT_TRUE(waitUntil([&] { return std::filesystem::exists(folder + "/Disk space.txt"); }));
}
