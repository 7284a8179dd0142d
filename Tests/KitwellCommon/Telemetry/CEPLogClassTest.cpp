#include <cmath>
#include <thread>

#include "KitwellCommon/Telemetry/ReportEndpointForTests.h"
#include "KitwellPlatform/Preferences/UserDefaults.h"
#include "TelemetryLogs.h"

using namespace kitwell;
using namespace kitwell::test;
using platform::Date;
using platform::Dictionary;
using platform::UserDefaults;
using platform::Value;

namespace fs = std::filesystem;

namespace {

void setPreference(const std::string& key, Value value) {
    auto preferences = UserDefaults::forApplication("com.corvalen.kitwell");
    preferences.setObjectForKey(std::move(value), key);
    ASSERT_TRUE(preferences.synchronize());
}

std::optional<Date> syncDate() {
    return UserDefaults::forApplication("com.corvalen.kitwell").dateForKey("CEPSyncDate");
}

} // namespace

class CEPLogClassTest : public TelemetryLogs {};

TEST_F(CEPLogClassTest, TheScheduleFollowsTheStoredDate) {
    setReportEndpoint("https://127.0.0.1:1/");
    const Date now = Date::now();
    struct Row {
        const char* what;
        Value stored;
        std::optional<Date> keeps; // else a week from now
        bool collects;
    };
    for (const Row& row : {Row{"none", {}, {}, false},
                           {"future", now.adding(1000), now.adding(1000), false},
                           {"far future", now.adding(1e9), now.adding(1e9), false},
                           {"overdue", now.adding(-1), {}, true},
                           {"ancient", Date{-6e10}, {}, true},
                           {"no date", "tomorrow", {}, false}}) {
        SCOPED_TRACE(row.what);
        clear();
        setPreference("CEPSyncDate", row.stored);
        ASSERT_EQ(record("Event"), 0);
        CEPLogClass collector;
        EXPECT_FALSE(collector.timerFireDate());
        collector.initGrab();
        ASSERT_TRUE(syncDate() && collector.timerFireDate());
        const Date wanted = row.keeps ? *row.keeps : now.adding(CEPFireInterval);
        EXPECT_LT(std::abs(wanted.secondsUntil(*syncDate())), row.keeps ? 0.001 : 20);
        EXPECT_EQ(collector.timerFireDate(), syncDate());
        const std::string response = folder + "/cvl.kitwell.ceplog.log";
        // The upload that fails is over with its files when it posts.
        EXPECT_TRUE(!row.collects || waitUntil([&] { return fs::exists(response); }));
        EXPECT_EQ(fs::exists(active), !row.collects);
        EXPECT_EQ(fs::exists(folder + "/CorvalenKitwell/kitwell_report.xml"), row.collects);
    }
}

// Says whether telemetry is on, before and after the preference becomes what it is told.
CHILD_BODY(asksForTheCollector) {
    std::vector<CEPLogClass*> answers(8);
    {
        std::vector<std::jthread> threads;
        for (CEPLogClass*& answer : answers)
            threads.emplace_back([&answer] { answer = CEPLogClass::sharedInstance(); });
    }
    setPreference("disableCEP", answers[0] ? Value(true) : Value());
    answers.push_back(CEPLogClass::sharedInstance());
    for (const CEPLogClass* answer : answers) {
        if (answer != answers[0])
            return 2;
    }
    if (answers[0])
        answers[0]->log("Event", Dictionary{{"k", 1}}, platform::Array{2});
    return answers[0] ? 1 : 0;
}

TEST_F(CEPLogClassTest, TheSwitchCountsAsABooleanAndIsReadOnce) {
    for (const auto& [stored, isOn] :
         {std::pair{Value(true), 0}, {Value(false), 1}, {Value(), 1}, {Value("yes"), 1}, {Value(1), 1}}) {
        clear();
        setPreference("disableCEP", stored);
        EXPECT_EQ(CEPLogClass::isCEPDisabled(), isOn == 0);
        EXPECT_EQ(ChildProcess::body("asksForTheCollector").wait(), isOn);
        const std::string event =
            "action=\"Event\">\n\t<options k=\"1\"/>\n\t<details _0=\"2\"/>\n</event>\n";
        EXPECT_EQ(contentOf(active).find(event) != std::string::npos, isOn == 1);
    }
}

TEST_F(CEPLogClassTest, BeyondAHundredReportsALogIsDropped) {
    ASSERT_EQ(record("Event"), 0);
    const std::string reports = folder + "/CorvalenKitwell/kitwell_report";
    fs::create_directory(folder + "/CorvalenKitwell");
    writeFile(reports + ".xml", "waits");
    for (int number = 1; number < 99; ++number)
        writeFile(reports + " (" + std::to_string(number) + ").xml", "waits");
    EXPECT_EQ(collect().size(), 100U);
    EXPECT_EQ(occurrences(contentOf(reports + " (99).xml"), "\"Event\""), 1U);
    ASSERT_EQ(record("Dropped"), 0);
    EXPECT_EQ(occurrences(together(collect()), "waits"), 99U);
    EXPECT_EQ(names(), std::vector<std::string>{"CorvalenKitwell"});
    EXPECT_TRUE(CEPLogClass::lockFile().ends_with("/cvl.kitwell.ceplog.lock"));
}

TEST_F(CEPLogClassTest, InformationIsTheObjectsOwnCopy) {
    class Holder : public CEPInfoHolder {};
    Holder holder;
    EXPECT_FALSE(holder.CEPInfo());
    Dictionary info{{"k", 1}};
    holder.setCEPInfo(info);
    info.set("k", 2);
    Holder copy = holder;
    EXPECT_FALSE(copy.CEPInfo());
    copy.setCEPInfo(info);
    holder = copy;
    EXPECT_EQ(holder.CEPInfo(), (Dictionary{{"k", 1}}));
    EXPECT_EQ(*copy.CEPInfo()->find("k"), Value(2));
    holder.setCEPInfo(std::nullopt);
    EXPECT_FALSE(holder.CEPInfo());
}
