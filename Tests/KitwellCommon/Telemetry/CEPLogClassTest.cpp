#include <cmath>

#include "KitwellCommon/Telemetry/ReportEndpointForTests.h"
#include "KitwellPlatform/Files/LockedFile.h"
#include "KitwellPlatform/Preferences/UserDefaults.h"
#include "TelemetryLogs.h"

using namespace kitwell;
using namespace kitwell::test;
using platform::Date;
using platform::UserDefaults;
using platform::Value;

namespace {

void setPreference(const std::string& key, Value value) {
    auto preferences = UserDefaults::forApplication("com.corvalen.kitwell");
    preferences.setObjectForKey(std::move(value), key);
    ASSERT_TRUE(preferences.synchronize());
}

} // namespace

class CEPLogClassTest : public TelemetryLogs {};

TEST_F(CEPLogClassTest, TheScheduleFollowsTheStoredDate) {
    setReportEndpoint("https://127.0.0.1:1/");
    const Date now = Date::now();
    struct Row {
        Value stored;
        double seconds; // from now to the next time
        bool collects;
    };
    for (const Row& row : {Row{{}, CEPFireInterval, false},
                           {now.adding(1e6), 1e6, false},
                           {now.adding(-1), CEPFireInterval, true},
                           {"tomorrow", CEPFireInterval, false}}) {
        SCOPED_TRACE(testing::PrintToString(row.seconds));
        clear();
        setPreference("CEPSyncDate", row.stored);
        ASSERT_EQ(record("Event"), 0);
        CEPLogClass collector;
        collector.initGrab();
        const auto next = UserDefaults::forApplication("com.corvalen.kitwell").dateForKey("CEPSyncDate");
        ASSERT_TRUE(next);
        EXPECT_LT(std::abs(now.secondsUntil(*next) - row.seconds), 20);
        EXPECT_EQ(collector.timerFireDate(), next);
        const std::string response = folder + "/cvl.kitwell.ceplog.log";
        // The upload that fails is over with its files when it posts.
        EXPECT_TRUE(!row.collects || waitUntil([&] { return fs::exists(response); }));
        EXPECT_EQ(fs::exists(active), !row.collects);
    }
}

TEST_F(CEPLogClassTest, AtItsTimeTheTimerCollectsAndLeavesTheStoredDateAlone) {
    setReportEndpoint("https://127.0.0.1:1/");
    const Date due = Date::now().adding(0.2);
    setPreference("CEPSyncDate", due);
    ASSERT_EQ(record("Event"), 0);
    fs::create_directory(folder + "/CorvalenKitwell");
    writeFile(folder + "/CorvalenKitwell/other.xml", "no report");
    CEPLogClass collector;
    collector.initGrab();
    const std::string response = folder + "/cvl.kitwell.ceplog.log";
    EXPECT_TRUE(turnLoopUntil([&] { return fs::exists(response); }));
    EXPECT_GE(Date::now(), due);
    EXPECT_EQ(collector.timerFireDate(), due.adding(CEPFireInterval));
    EXPECT_EQ(UserDefaults::forApplication("com.corvalen.kitwell").dateForKey("CEPSyncDate"), due);
    EXPECT_EQ(waitingReports(folder + "/CorvalenKitwell"), std::vector<std::string>{"kitwell_report.xml"});
}

TEST_F(CEPLogClassTest, ACollectionWaitsForTheOneUnderWay) {
    setReportEndpoint("https://127.0.0.1:1/");
    ASSERT_EQ(record("Event"), 0);
    auto lock = platform::LockedFile::lockFile(CEPLogClass::lockFile());
    ASSERT_TRUE(lock);
    CEPLogClass collector;
    collector.fireCEP();
    EXPECT_FALSE(waitUntil([&] { return !fs::exists(active); }, std::chrono::milliseconds(100)));
    { const auto released = std::move(lock).value(); }
    EXPECT_TRUE(waitUntil([&] { return fs::exists(folder + "/cvl.kitwell.ceplog.log"); }));
}

// Says whether telemetry is on, before and after the preference becomes the opposite.
CHILD_BODY(asksForTheCollector) {
    CEPLogClass* const answer = CEPLogClass::sharedInstance();
    setPreference("disableCEP", answer ? Value(true) : Value());
    return CEPLogClass::sharedInstance() != answer ? 2 : answer ? 1 : 0;
}

TEST_F(CEPLogClassTest, TheSwitchCountsAsABooleanAndIsReadOnce) {
    for (const auto& [stored, isOn] : {std::pair{Value(true), 0}, {Value("yes"), 1}, {Value(), 1}}) {
        setPreference("disableCEP", stored);
        EXPECT_EQ(ChildProcess::body("asksForTheCollector").wait(), isOn);
    }
}

TEST_F(CEPLogClassTest, BeyondAHundredReportsALogIsDropped) {
    ASSERT_EQ(record("Event"), 0);
    const std::string reports = folder + "/CorvalenKitwell/kitwell_report";
    fs::create_directory(folder + "/CorvalenKitwell");
    writeFile(reports + ".xml", "<waits/>");
    for (int number = 1; number < 99; ++number)
        writeFile(reports + " (" + std::to_string(number) + ").xml", "<waits/>");
    EXPECT_EQ(collect().size(), 100U);
    EXPECT_TRUE(fs::exists(reports + " (99).xml"));
    ASSERT_EQ(record("Dropped"), 0);
    expectCollected(collect(), {{"Event", 1}, {"Dropped", 0}});
    EXPECT_EQ(occurrences(collect(), "<waits/>"), 99U);
}

TEST_F(CEPLogClassTest, InformationIsTheObjectsOwnCopy) {
    class Holder : public CEPInfoHolder {};
    Holder holder;
    platform::Dictionary info{{"k", 1}};
    holder.setCEPInfo(info);
    info.set("k", 2);
    Holder copy = holder;
    EXPECT_FALSE(copy.CEPInfo());
    EXPECT_EQ(holder.CEPInfo(), (platform::Dictionary{{"k", 1}}));
    holder.setCEPInfo(std::nullopt);
    EXPECT_FALSE(holder.CEPInfo());
}
