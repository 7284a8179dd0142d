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
    else if (arguments[0] == "date")
        ToolScheduler::scheduleAtDate(Date{std::stod(arguments[1])}, std::stod(arguments[2]));
    else
        ToolScheduler::cancelDateSchedule();
    return 0;
}

// Arms itself for each date it hears.
CHILD_BODY(scheduleAsTold) {
    for (std::string date = hear(); !date.empty(); date = hear())
        ToolScheduler::scheduleAtDate(Date{std::stod(date)}, 0);
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
    updateSchedulerPlist("id", "C", [](Dictionary& added) { EXPECT_EQ(added, entry("id", "C")); });
    EXPECT_EQ(stored().back(), platform::Value(entry("id", "C")));
    readSchedulerPlist("id", "a", [](const Dictionary&) { FAIL() << "the letter case does not matter"; });
    updateSchedulerPlist(
        "id", "N", [](Dictionary& odd) { odd.set("interval", std::numeric_limits<double>::quiet_NaN()); });
    updateSchedulerPlist("id", "N", [](Dictionary& odd) { odd.set("interval", 0); });
    EXPECT_EQ(std::ranges::count(stored(), platform::Value(with(entry("id", "N"), "interval", 0))), 1);
    EXPECT_EQ(stored().size(), 7U) << "an entry that is not equal to itself is never replaced";
}

TEST_F(Scheduler, TheAgentSeesArmedEntriesOnlyAndMayChangeTheStoreWhileItWalks) {
    store(Array{with(with(entry("id", "armed"), "launchAtDate", true), "date", Date{5}),
                with(with(entry("id", "disarmed"), "launchAtDate", false), "date", Date{5}),
                entry("id", "never"), with(entry("id", "dateless"), "launchAtDate", true),
                Dictionary{{"launchAtDate", 1}, {"bundleid", 5}, {"date", "soon"}}});
    std::vector<std::string> seen;
    AgentScheduler::enumerateTools([&](const auto& bundleId, const auto& name, const auto& date) {
        seen.push_back(bundleId.value_or("-") + "/" + name.value_or("-") + "/" +
                       (date ? std::to_string(static_cast<int>(date->secondsSinceReference)) : "-"));
        AgentScheduler::cancelScheduleByName("armed", "id");
    });
    EXPECT_EQ(seen, (std::vector<std::string>{"id/armed/5", "id/dateless/-", "-/-/-"}));
    EXPECT_EQ(stored().back(), platform::Value(entry("id", "armed")));
    store("no array");
    AgentScheduler::enumerateTools([](const auto&, const auto&, const auto&) { FAIL(); });
}

TEST_F(Scheduler, EachCallWritesItsKeysAndTypesAndTellsOrDoesNot) {
    const std::string tool = makeTestBundle(home.path(), "Sample.tool", "id");
    const auto call = [&](std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), {"--child", "scheduleItself"});
        ASSERT_EQ(ChildProcess::program(tool, arguments).wait(), 0);
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
    const std::vector<std::string> eachMinute{"date", "100", "60"}, once{"date", "200", "0"},
        never{"date", "nan", "0"};
    const Case cases[] = {
        {[&] { call({"login"}); }, own, false},
        {[&] { call(eachMinute); }, dated(true, 100, 60.0), true},
        {[&] { call(never); }, dated(true, 100, 60.0), false},
        {[&] { call(once); }, dated(true, 200, 0.0), true},
        {[&] { call({"cancel"}); }, dated(false, 200, 0.0), true},
        {[] { AgentScheduler::scheduleToolAtDate(Date{300}, "id", "Sample.tool"); }, dated(true, 300, 0),
         true},
        {[] { AgentScheduler::scheduleToolAtDate(Date{std::nan("")}, "id", "Sample.tool"); },
         dated(true, 300, 0), false},
        {[] { AgentScheduler::cancelScheduleByName("Sample.tool", "id"); }, with(own, "interval", 0), false}};
    int told = 0;
    AgentScheduler::addUpdateObserver(&told, [&] { told += 100; });
    AgentScheduler::addUpdateObserver(&told, [&] { ++told; });
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

TEST_F(Scheduler, WhoIsToldOfAChangeInAnotherProcessFindsItInTheStore) {
    ChildProcess tool =
        ChildProcess::program(makeTestBundle(home.path(), "Sample", "id"), {"--child", "scheduleAsTold"});
    double found = 0;
    AgentScheduler::addUpdateObserver(&found, [&] {
        AgentScheduler::enumerateTools(
            [&](const auto&, const auto&, const auto& date) { found = date->secondsSinceReference; });
        platform::RunLoop::current().stop();
    });
    for (int date = 1; date <= 50; ++date) {
        tool.writeLine(std::to_string(date));
        platform::RunLoop::current().runFor(kPatience);
        platform::RunLoop::current().restart();
        ASSERT_EQ(found, date) << "told before the store was written";
    }
    AgentScheduler::removeUpdateObserver(&found);
    tool.closeInput();
    EXPECT_EQ(tool.wait(), 0);
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
