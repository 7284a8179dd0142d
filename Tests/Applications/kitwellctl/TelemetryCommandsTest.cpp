// The built program, on what built tools have recorded.

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>

#include "KitwellCommon/SuiteIdentifiers.h"
#include "KitwellCommon/Telemetry/CEPLogClass.h"
#include "KitwellPlatform/Applications/RunningApplication.h"
#include "KitwellPlatform/Preferences/UserDefaults.h"
#include "Support/ChildProcess.h"
#include "Support/TestHome.h"

using namespace kitwell;
using namespace kitwell::test;
namespace fs = std::filesystem;

namespace {

struct Reply {
    int exitCode;
    std::string output;

    bool tells(const std::string& text) const { return output.find(text) != std::string::npos; }
};

Reply telemetry(std::vector<std::string> words) {
    words.insert(words.begin(), {"--json", "telemetry"});
    ChildProcess program = ChildProcess::program(std::string(PROGRAMS_FOLDER) + "/kitwellctl", words);
    std::string output;
    while (const auto line = program.readLine())
        output += *line + "\n";
    return {program.wait(), output};
}

std::string contentOf(const std::string& path) {
    std::ifstream stream(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

class TelemetryCommands : public InTestHome {
protected:
    // With these programs alone no report leaves the folder.
    TelemetryCommands() { ::setenv("PATH", home.path("nothing").c_str(), 1); }

    // Runs the tool from its start to its end.
    static void useCounter() {
        ChildProcess counter = startCounter();
        counter.signal(SIGTERM);
        EXPECT_EQ(counter.wait(), 0);
    }
    static ChildProcess startCounter() { return start("Counter"); }
    static ChildProcess start(const std::string& name) {
        ChildProcess program = ChildProcess::program(std::string(APPLICATIONS_FOLDER) + "/" + name +
                                                     ".app/Contents/Linux/" + name);
        EXPECT_TRUE(waitUntil([] { return platform::RunningApplication::all().size() == 1; }));
        return program;
    }

    const std::string logs = home.path("data/Kitwell/Library/Logs");
    const std::string active = logs + "/cvl.kitwell.ceplog.xml";
    const std::string report = logs + "/CorvalenKitwell/kitwell_report.xml";
};

} // namespace

TEST_F(TelemetryCommands, ShowCollectAndRemoveWhatAToolRecorded) {
    useCounter();
    const Reply shown = telemetry({"show"});
    EXPECT_TRUE(shown.tells(R"("tool":"com.corvalen.kitwell.Counter","action":"Start","attributes":null)"));
    EXPECT_TRUE(shown.tells(R"("action":"Stop")"));
    EXPECT_TRUE(telemetry({"validate"}).output == "[]\n");
    EXPECT_TRUE(
        telemetry({"status"}).tells(R"({"log":"active","bytes":)" + std::to_string(fs::file_size(active))));

    const Reply collected = telemetry({"collect"});
    EXPECT_EQ(collected.exitCode, 0);
    EXPECT_TRUE(collected.tells(R"({"reports":1,)") && collected.tells(".invalid/kitwell/1/cep\""));
    EXPECT_FALSE(fs::exists(active));
    EXPECT_EQ(telemetry({"show"}).output, shown.output) << "the report does not hold what the log held";
    EXPECT_TRUE(telemetry({"status"}).tells(R"("reports":1,)"));

    useCounter();
    std::ofstream(report + ".tar.gz") << "half an archive";
    std::ofstream(logs + "/CorvalenKitwell/somebody's own") << "stays";
    EXPECT_TRUE(telemetry({"off", "--purge"}).tells(R"("removedFiles":3)"));
    EXPECT_EQ(telemetry({"show"}).output, "[]\n");
    EXPECT_TRUE(fs::exists(logs + "/CorvalenKitwell/somebody's own"));
}

TEST_F(TelemetryCommands, SwitchRecordingOffForProcessesThatStartFromThenOn) {
    ChildProcess before = startCounter();
    const Reply off = telemetry({"off"});
    EXPECT_TRUE(off.tells(R"("stillRecordingUntilRestarted":[{"process":)" + std::to_string(before.pid()) +
                          R"(,"identifier":"com.corvalen.kitwell.Counter")"));
    EXPECT_TRUE(telemetry({"status"}).tells(R"({"recording":false,"reason":"disableCEP is true")"));
    EXPECT_EQ(telemetry({"collect"}).exitCode, 1);
    before.signal(SIGTERM);
    before.wait();
    const std::string recorded = contentOf(active);
    EXPECT_NE(recorded.find("\"Stop\""), std::string::npos) << "it was on when the process started";

    useCounter();
    EXPECT_EQ(contentOf(active), recorded);
    EXPECT_EQ(telemetry({"on"}).exitCode, 0);
    EXPECT_FALSE(
        platform::UserDefaults::forApplication(kAgentBundleIdentifier).objectForKey(kCEPDisabledKey));
}

TEST_F(TelemetryCommands, TellTheNextCollectionOfAnAgentThatIsPastTheStoredDate) {
    ChildProcess agent = start("Kitwell");
    const auto stored = platform::Date::now().adding(-8.0 * 86400);
    auto preferences = platform::UserDefaults::forApplication(kAgentBundleIdentifier);
    preferences.setObjectForKey(stored, kCEPSyncDateKey);
    ASSERT_TRUE(preferences.synchronize());
    const auto nextIs = [](platform::Date date) {
        return telemetry({"status"}).tells("\"nextCollection\":\"" + *date.iso8601());
    };
    EXPECT_TRUE(nextIs(stored.adding(2 * CEPFireInterval)));
    agent.signal(SIGTERM);
    agent.wait();
    EXPECT_TRUE(nextIs(stored)) << "the next start collects at once";
}

TEST_F(TelemetryCommands, ShowAlsoWhatIsLargerThanOneJsonText) {
    useCounter();
    const std::string open = contentOf(active);
    const std::size_t start = open.find("<event");
    std::string event = open.substr(start, open.find('\n', start) + 1 - start);
    event.insert(event.find("action=\"") + 8, std::string(std::size_t{35} << 20U, 'x'));
    std::ofstream(active, std::ios::app) << event << event;
    // Counted there, where it takes less time than here.
    const std::string program = std::string(PROGRAMS_FOLDER) + "/kitwellctl";
    ChildProcess shown = ChildProcess::program(
        "/bin/bash", {"-c", "\"$0\" --json telemetry show | /usr/bin/wc --bytes", program});
    EXPECT_GT(std::stoul(shown.readLine(std::chrono::seconds(60)).value_or("0")), 70U << 20U);
}

TEST_F(TelemetryCommands, FindWhatIsWrongWithADocumentAndWhere) {
    useCounter();
    const std::string open = contentOf(active);
    const std::string whole = open + "</CepCustomData>\n</CorvalenProblemReport>\n";
    const auto lines = std::to_string(std::count(open.begin(), open.end(), '\n') + 1);
    const auto changed = [](std::string text, const std::string& from, const std::string& to) {
        return text.replace(text.find(from), from.size(), to);
    };
    fs::create_directories(logs + "/CorvalenKitwell");
    const struct {
        std::string path;
        std::string content;
        std::string finding; // empty for none
    } cases[] = {
        {active, open, ""},
        {report, whole, ""},
        {report, open, R"("line":null,"finding":"is not closed")"},
        {active, open + "<event timestamp=\"2026", R"("line":)" + lines + R"(,"finding":"is no whole)"},
        {report, changed(whole, "<Type>9</Type>\n", ""), R"("line":3,"finding":"is ReportReason where Type)"},
        {report, changed(whole, "active_count", "active"), R"(,"finding":"Shortcuts lacks its attributes")"},
        {report, changed(whole, "timestamp=\"2", "timestamp=\"x"), R"("finding":"an event has no time")"},
        {report, changed(whole, " toolversion=", " version="), R"("finding":"an event lacks its attributes)"},
        {report, changed(whole, "action=\"Start\"", "action=\"<\""), R"("finding":"not well-formed)"},
        {report, "", R"("line":1,"finding":"not well-formed)"},
        {report, "<html>\n</html>\n", R"("finding":"is html where CorvalenProblemReport belongs")"},
    };
    for (const auto& [path, content, finding] : cases) {
        fs::remove(active);
        fs::remove(report);
        std::ofstream(path) << content;
        const Reply run = telemetry({"validate"});
        EXPECT_EQ(run.exitCode, finding.empty() ? 0 : 1) << run.output;
        EXPECT_TRUE(finding.empty() ? run.output == "[]\n" : run.tells(finding) && run.tells(path))
            << run.output << finding;
    }
    fs::remove(report);
    fs::create_directory(report);
    EXPECT_TRUE(telemetry({"validate"}).tells("no regular file"));
}
