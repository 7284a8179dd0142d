// The built program, with the built tools, as a script would use it.

#include "KitwellCommon/KitwellCommon.h"
#include "KitwellPlatform/Files/Bookmark.h"
#include "KitwellPlatform/Preferences/UserDefaults.h"
#include "KitwellPlatform/RunLoop/DistributedNotificationCenter.h"
#include "Support/Harness.h"

using namespace kitwell;
using namespace kitwell::test;

namespace {

constexpr char kCounter[] = "com.corvalen.kitwell.Counter";
const std::string kCounterBundle = std::string(APPLICATIONS_FOLDER) + "/Counter.app";

using Words = std::vector<std::string>;

struct Run {
    int exitCode;
    std::string output; // of all lines, each with its break
};

Run run(const Words& words) {
    ChildProcess program = ChildProcess::program(std::string(PROGRAMS_FOLDER) + "/kitwellctl", words);
    std::string output;
    while (const auto line = program.readLine())
        output += *line + "\n";
    return {program.wait(), output};
}

Run json(Words words) {
    words.insert(words.begin(), "--json");
    return run(words);
}

// A home in which Counter is the one tool that is installed.
struct HomeWithCounter : TestHome {
    HomeWithCounter() {
        const std::string applications = path("data/Kitwell/Applications");
        std::filesystem::create_directories(applications);
        std::filesystem::create_symlink(kCounterBundle, applications + "/Counter.app");
    }
};

bool listsSchedule(const std::string& entry) {
    const Run listed = json({"schedule", "list"});
    return listed.exitCode == 0 && listed.output.find(entry) != std::string::npos;
}

} // namespace

TEST(Kitwellctl, TellsWhatWasNotUnderstoodFromWhatIsNotThere) {
    const HomeWithCounter home;
    const std::pair<int, std::vector<Words>> runs[] = {
        {2, {{}, {"--wrong"}, {"schedule"}, {"schedule", "wrong"}, {"click"}}},
        {2, {{"click", "Counter", "Counter"}, {"schedule", "at", "Counter", "tomorrow"}}},
        {2, {{"schedule", "at", "Counter", "2030-02-30T00:00:00Z"}}},
        {2, {{"schedule", "at", "Counter", "now+1e300"}, {"schedule", "every", "Counter", "0"}}},
        {2, {{"schedule", "every", "Counter", "nan"}, {"schedule", "every", "Counter", "60s"}}},
        {2, {{"schedule", "login", "Counter", "perhaps"}}},
        // What does not run, was never armed, and a name behind the options.
        {1, {{"launch", "Nobody"}, {"click", "Nobody"}, {"off", "Counter"}}},
        {1, {{"schedule", "at", "Nobody", "now+60"}, {"schedule", "cancel", "Counter"}}},
        {1, {{"click", "--", "--help"}}},
        {0, {{"--help"}, {"schedule", "--help"}, {"schedule", "list"}, {"grants", "list"}}}};
    for (const auto& [exitCode, commands] : runs)
        for (const Words& words : commands)
            EXPECT_EQ(run(words).exitCode, exitCode) << testing::PrintToString(words);
    EXPECT_EQ(json({"click", "a\"\\\n\xFF"}).output, "{\"error\":\"no tool is named a\\\"\\\\\\n\uFFFD\"}\n");
    EXPECT_EQ(json({"schedule", "list"}).output, "[]\n") << "a refused command left an entry behind";
}

TEST(Kitwellctl, LaunchesClicksAndTurnsOffARealToolUnderItsOwnPath) {
    const HomeWithCounter home;
    const auto lists = [](const std::string& running) {
        return json({"tools"}).output == "[{\"name\":\"Counter\",\"identifier\":\"" + std::string(kCounter) +
                                             "\",\"running\":" + running + ",\"status\":\"off\",\"path\":\"" +
                                             kCounterBundle + "\"}]\n";
    };
    EXPECT_TRUE(lists("false"));
    ASSERT_EQ(run({"launch", "counter"}).exitCode, 0);
    EXPECT_TRUE(waitUntil([&] { return lists("true"); }));
    EXPECT_EQ(json({"click", "Counter"}).output, "{\"name\":\"Counter\"}\n");
    EXPECT_TRUE(waitUntil([] {
        return platform::UserDefaults::forApplication(kCounter).objectForKey("Clicks") == platform::Value(1);
    }));
    EXPECT_EQ(run({"off", "Counter"}).output, "turned off Counter\n");
    EXPECT_TRUE(waitUntil([&] { return lists("false"); }));
}

TEST(Kitwellctl, StoresEachKindOfScheduleAndTellsTheAgentOfEachDate) {
    const HomeWithCounter home;
    int told = 0;
    const auto subscription = platform::DistributedNotificationCenter::defaultCenter().observe(
        kSchedulerUpdateNotification, [&](std::string_view) { ++told; });
    const std::string names = "[{\"name\":\"Counter\",\"identifier\":\"" + std::string(kCounter) + "\",";
    const std::string moment = "2040-01-02T03:04:05Z";
    const std::string armed = R"("armed":true,"date":")" + moment + R"(","interval":0,)";
    const struct {
        Words words;
        std::string entry;
        int toldBy;
    } steps[] = {
        {{"login", "Counter", "on"}, R"("armed":false,"date":null,"interval":null,"login":true}])", 0},
        {{"at", "Counter", moment}, armed + R"("login":true}])", 1},
        {{"login", "Counter", "off"}, armed + R"("login":false}])", 1},
        {{"cancel", "counter"}, R"("armed":false,"date":null,"interval":0,"login":false}])", 2},
        {{"every", "Counter", "90.5"}, R"("interval":90.5,"login":false}])", 3},
    };
    for (auto step : steps) {
        step.words.insert(step.words.begin(), "schedule");
        EXPECT_EQ(run(step.words).exitCode, 0);
        EXPECT_TRUE(listsSchedule(step.entry)) << json({"schedule", "list"}).output;
        EXPECT_TRUE(turnLoopUntil([&] { return told >= step.toldBy; })) << step.words[1];
        EXPECT_EQ(told, step.toldBy);
    }
    EXPECT_TRUE(listsSchedule(names));
    EXPECT_EQ(run({"schedule", "at", "Counter", "now+3600"}).exitCode, 0);
    AgentScheduler::enumerateTools([](const auto&, const auto&, const auto& date) {
        EXPECT_NEAR(platform::Date::now().secondsUntil(*date), 3600, 60);
    });
}

TEST(Kitwellctl, PublishesAResourceAndTellsWhichCopyTheInstalledToolUses) {
    const HomeWithCounter home;
    const std::string file = home.path("words");
    const auto publish = [&](const std::string& name, const Words& more) {
        std::ofstream{file} << "once\nmany\n";
        Words words{"resources", "publish", file, name};
        words.insert(words.end(), more.begin(), more.end());
        return run(words).exitCode;
    };
    const auto which = [] { return json({"resources", "which", "ClickWords"}); };
    const auto holds = [&](const std::string& text) {
        return which().output.find(text) != std::string::npos;
    };
    EXPECT_EQ(publish("ClickWords", {"1.0.0", kCounter}), 2);
    EXPECT_EQ(publish("../ClickWords", {"99.0.0-1", kCounter}), 1);
    EXPECT_EQ(which().exitCode, 1);
    EXPECT_EQ(publish("ClickWords", {"99.0.0-1", kCounter}), 0);
    EXPECT_TRUE(holds("\"shared\":false")) << which().output;
    EXPECT_TRUE(holds("not executable\",\"path\":\"" + kCounterBundle + "/Contents/Resources/ClickWords"));
    EXPECT_EQ(publish("ClickWords", {"99.0.0-1", kCounter, "--executable"}), 0);
    EXPECT_TRUE(holds(R"("shared":true,"version":"99.0.0-1")")) << which().output;
    EXPECT_NE(run({"resources", "list"}).output.find(kCounter), std::string::npos);
}

TEST(Kitwellctl, ListsGrantsAlsoWhereTheFolderIsGone) {
    const TestHome home;
    platform::Array bookmarks{"no bookmark"};
    for (const std::string& name : {home.path("open"), home.path("gone")}) {
        std::filesystem::create_directory(name);
        bookmarks.emplace_back(
            *platform::bookmarkFor(platform::FileUrl(name), platform::BookmarkScope::Security));
    }
    std::filesystem::remove(home.path("gone"));
    auto preferences = platform::UserDefaults::forApplication(kAgentBundleIdentifier);
    preferences.setObjectForKey(bookmarks, kToolDataProviderSandboxBookmarks);
    ASSERT_TRUE(preferences.synchronize());
    EXPECT_EQ(json({"grants", "list"}).output,
              "[{\"path\":null},{\"path\":\"" + home.path("open") + "\"},{\"path\":null}]\n");
    EXPECT_EQ(run({"grants", "list"}).output, "PATH\n-\n" + home.path("open") + "\n-\n");
}

TEST(Kitwellctl, ManagesLoginItemsByNameAndByExactPath) {
    const HomeWithCounter home;
    const std::string path = home.path("data/Kitwell/Applications/Counter.app");
    const struct {
        int exitCode;
        Words words;
    } steps[] = {{1, {"login", "check", "Counter"}},
                 {1, {"login", "add", "Nobody"}},
                 {1, {"login", "add", home.path()}},
                 {0, {"login", "add", path}},
                 {0, {"login", "check", path}},
                 {1, {"login", "check", path + "/"}},
                 {0, {"login", "add", "counter"}},
                 {0, {"login", "check", "Counter"}},
                 {2, {"login", "check"}}};
    for (const auto& step : steps)
        EXPECT_EQ(run(step.words).exitCode, step.exitCode) << testing::PrintToString(step.words);
    EXPECT_EQ(json({"login", "list"}).output,
              "[{\"name\":\"Counter\",\"path\":\"" + kCounterBundle + "\"}]\n");
    EXPECT_EQ(run({"login", "remove", "./Counter.app"}).exitCode, 0);
    EXPECT_EQ(json({"login", "list"}).output, "[]\n");
}
