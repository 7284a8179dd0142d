#include <limits>

#include "KitwellCommon/KitwellCommon.h"
#include "Support/Harness.h"

using namespace kitwell;
using namespace kitwell::test;
using platform::Array;
using platform::Date;
using platform::Dictionary;

namespace {

void store(const platform::Value& entries) {
    platform::UserDefaults(kAppGroupIdentifier).setObjectForKey(entries, "Scheduler");
}

Array stored() {
    return platform::UserDefaults(kAppGroupIdentifier).arrayForKey("Scheduler").value_or(Array());
}

Dictionary entry(const char* bundleId, const char* name) {
    return {{"bundleid", bundleId}, {"name", name}};
}

Dictionary with(Dictionary entry, const char* key, platform::Value value) {
    entry.set(key, std::move(value));
    return entry;
}

} // namespace

// One scheduling call as the tool of the bundle it runs in.
CHILD_BODY(scheduleItself) {
    if (arguments[0] == "login")
        ToolScheduler::scheduleAtLogin(true);
    else if (arguments[0] == "cancel")
        ToolScheduler::cancelDateSchedule();
    else
        ToolScheduler::scheduleAtDate(Date{std::stod(arguments[0])}, 60);
    return 0;
}

class Scheduler : public InTestHome {};

TEST_F(Scheduler, AnUpdatedEntryMovesToTheEndAndReplacesAllThatAreEqual) {
    const Dictionary first = with(entry("id", "A"), "interval", 1.5);
    const Dictionary other = entry("id", "B");
    store(Array{first, "no entry", Dictionary{{"bundleid", "id"}}, first, other, with(first, "interval", 2)});
    updateSchedulerPlist("id", "A", [](Dictionary& changed) { changed.set("date", Date{7}); });
    EXPECT_EQ(stored(), (Array{"no entry", Dictionary{{"bundleid", "id"}}, other, with(first, "interval", 2),
                               with(first, "date", Date{7})}));
    readSchedulerPlist("id", "a", [](const Dictionary&) { FAIL() << "the letter case does not matter"; });
    updateSchedulerPlist(
        "id", "N", [](Dictionary& odd) { odd.set("interval", std::numeric_limits<double>::quiet_NaN()); });
    updateSchedulerPlist("id", "N", [](Dictionary& odd) { odd.set("interval", 0); });
    EXPECT_EQ(stored().size(), 6U) << "an entry that is not equal to itself is never replaced";
}

TEST_F(Scheduler, TheAgentSeesArmedEntriesOnlyAndMayChangeTheStoreWhileItWalks) {
    store(Array{with(with(entry("id", "armed"), "launchAtDate", true), "date", Date{5}),
                with(with(entry("id", "disarmed"), "launchAtDate", false), "date", Date{5}),
                entry("id", "never"), Dictionary{{"launchAtDate", 1}, {"bundleid", 5}, {"date", "soon"}}});
    std::vector<std::string> seen;
    AgentScheduler::enumerateTools([&](const auto& bundleId, const auto& name, const auto& date) {
        seen.push_back(bundleId.value_or("-") + "/" + name.value_or("-") + "/" +
                       (date ? std::to_string(static_cast<int>(date->secondsSinceReference)) : "-"));
        AgentScheduler::cancelScheduleByName("armed", "id");
    });
    EXPECT_EQ(seen, (std::vector<std::string>{"id/armed/5", "-/-/-"}));
    EXPECT_EQ(stored().back(), platform::Value(entry("id", "armed")));
}

TEST_F(Scheduler, EachCallWritesItsKeysAndTypesAndTellsOrDoesNot) {
    const std::string tool = makeTestBundle(home.path(), "Sample.tool", "id");
    const auto call = [&](const std::string& what) {
        ASSERT_EQ(ChildProcess::program(tool, {"--child", "scheduleItself", what}).wait(), 0);
    };
    const Dictionary own = with(entry("id", "Sample.tool"), "launchAtLogin", true);
    const auto dated = [&](bool isArmed, double date, const platform::Value& interval) {
        return with(with(with(own, "launchAtDate", isArmed), "date", Date{date}), "interval", interval);
    };
    struct Case {
        std::function<void()> run;
        Dictionary after;
        bool tells;
    };
    const Case cases[] = {
        {[&] { call("login"); }, own, false},
        {[&] { call("100"); }, dated(true, 100, 60.0), true},
        {[&] { call("cancel"); }, dated(false, 100, 60.0), true},
        {[] { AgentScheduler::scheduleToolAtDate(Date{300}, "id", "Sample.tool"); }, dated(true, 300, 0),
         true},
        {[] { AgentScheduler::cancelScheduleByName("Sample.tool", "id"); }, with(own, "interval", 0), false}};
    int told = 0;
    AgentScheduler::addUpdateObserver(&told, [&] { told += 100; });
    AgentScheduler::addUpdateObserver(&told, [&] { ++told; }); // in the place of the former
    for (const Case& one : cases) {
        SCOPED_TRACE(testing::PrintToString(&one - cases));
        told = 0;
        one.run();
        EXPECT_EQ(stored(), Array{one.after});
        if (one.tells)
            EXPECT_TRUE(turnLoopUntil([&] { return told > 0; }));
        else
            platform::RunLoop::current().runFor(std::chrono::milliseconds(30));
        EXPECT_EQ(told, one.tells ? 1 : 0);
    }
    AgentScheduler::removeUpdateObserver(&told);
    EXPECT_TRUE(AgentScheduler::shouldLaunchAtLoginByName("Sample.tool", "id"));
    EXPECT_FALSE(AgentScheduler::shouldLaunchAtLoginByName("Sample", "id"));
}

TEST_F(Scheduler, AnOldStoreIsMovedOnceOverWhateverTheSharedOneHolds) {
    store(Array{entry("id", "new")});
    platform::UserDefaults& own = platform::UserDefaults::standard();
    own.setObjectForKey(Array{entry("id", "old")}, "AgentScheduler");
    own.synchronize();
    AgentScheduler::upgradeSchedulerData();
    EXPECT_EQ(stored(), Array{entry("id", "old")});
    store(Array{entry("id", "later")});
    AgentScheduler::upgradeSchedulerData();
    EXPECT_EQ(stored(), Array{entry("id", "later")});
}
