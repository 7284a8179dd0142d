// Reports go to a real HTTPS server, by the system's own tar and curl.

#include <cstdlib>
#include <sys/prctl.h>
#include <sys/wait.h>

#include "KitwellCommon/Telemetry/ReportEndpointForTests.h"
#include "TelemetryLogs.h"

using namespace kitwell;
using namespace kitwell::test;

namespace {

// Ends with the object, and with it every upload that waits for an answer.
class ReportServer {
public:
    ReportServer(const std::string& folder, const std::string& behaviour)
        : folder_(folder), process_(started(folder, behaviour)) {
        const std::string line = process_.readLine().value_or("");
        setReportEndpoint("https://127.0.0.1:" + line.substr(line.find(' ') + 1) + "/kitwell/1/cep");
        ::setenv("CURL_CA_BUNDLE", (folder_ + "/certificate.pem").c_str(), 1);
    }
    std::string stored(int number, const std::string& name) const {
        return contentOf(folder_ + "/" + std::to_string(number) + "/" + name);
    }
    // The archive's members by their names, and what they hold together.
    std::pair<std::string, std::string> unpacked(int number) const {
        const std::string archive = folder_ + "/" + std::to_string(number) + "/data";
        const auto output = [&](const std::string& option) {
            ChildProcess tar = ChildProcess::program("/usr/bin/env", {"tar", option, archive});
            std::string all;
            while (const auto line = tar.readLine())
                all += *line + "\n";
            return all;
        };
        return {output("-tzf"), output("-xzOf")};
    }

private:
    static ChildProcess started(const std::string& folder, const std::string& behaviour) {
        fs::create_directory(folder);
        return ChildProcess::program("/usr/bin/env",
                                     {"python3", SUPPORT_FOLDER "/report-server.py", folder, behaviour});
    }

    std::string folder_;
    ChildProcess process_;
};

class ReportUpload : public TelemetryLogs {
protected:
    // Uploads are nobody's children; while this process takes such in, it hears of their end.
    ReportUpload() {
        ::prctl(PR_SET_CHILD_SUBREAPER, 1);
        setFolder(home.path("reports"));
    }
    void setFolder(const std::string& path) {
        fs::create_directories(path);
        telemetry.setLogPath(path);
        report = path + "/kitwell_report.xml";
    }
    // A report that its upload has to carry to its last byte.
    void writeReport(const std::string& content) { writeFile(report, content + "\n"); }
    static bool waitForUpload() {
        return waitUntil([] { return ::waitpid(-1, nullptr, WNOHANG) > 0; });
    }

    CEPLogClass telemetry;
    std::string report;
};

} // namespace

TEST_F(ReportUpload, CarriesACollectedLogByteForByteAndLeavesNothingToCollect) {
    ::prctl(PR_SET_CHILD_SUBREAPER, 0);
    const ReportServer server(home.path("server"), "200");
    telemetry.log("Action", platform::Dictionary{{"text", "a&b"}}, {});
    telemetry.logGrab();
    const std::string waiting = contentOf(report);
    ASSERT_NE(waiting.find("text=\"a&amp;b\""), std::string::npos);
    telemetry.sendCEP();
    ASSERT_TRUE(waitUntil([&] { return !fs::exists(report); }));
    siginfo_t ended{};
    EXPECT_EQ(::waitid(P_ALL, 0, &ended, WEXITED | WNOHANG | WNOWAIT | __WALL), 0);
    EXPECT_EQ(ended.si_pid, 0) << "a process has ended and nobody has waited for it";
    EXPECT_EQ(server.stored(1, "path"), "/kitwell/1/cep");
    EXPECT_EQ(server.stored(1, "file-name"), "kitwell_report.xml.tar.gz");
    EXPECT_EQ(server.unpacked(1), std::pair(std::string("Report.xml\n"), waiting));
    EXPECT_EQ(contentOf(folder + "/cvl.kitwell.ceplog.log"), "stored 1\n");
    EXPECT_TRUE(fs::is_empty(telemetry.logPath()));
}

TEST_F(ReportUpload, TakesAPathAsAPathAndEveryAnswerAsTaken) {
    const ReportServer server(home.path("server"), "500");
    int number = 0;
    for (const std::string name : {"\"quoted\" 'one' $HOME `touch x` $(touch x)", "back\\slash\\n\\\\\"",
                                   "line\nbreak\n", "host:path;type=a,b", "-r @x & | > %41 \xC3\xA9 *?"}) {
        setFolder(home.path("reports/" + name));
        writeReport(name);
        telemetry.sendCEP();
        ASSERT_TRUE(waitForUpload()) << name;
        EXPECT_EQ(server.unpacked(++number), std::pair(std::string("Report.xml\n"), name + "\n"));
        EXPECT_TRUE(fs::is_empty(telemetry.logPath())) << name;
    }
}

TEST_F(ReportUpload, KeepsAReportThatNobodyTook) {
    writeReport("kept");
    const auto isKept = [&] { return contentOf(report) == "kept\n"; };
    {
        const ReportServer server(home.path("silent"), "silent");
        const auto before = std::chrono::steady_clock::now();
        telemetry.sendCEP();
        EXPECT_LT(std::chrono::steady_clock::now() - before, kPatience / 4) << "the caller was held up";
        EXPECT_TRUE(waitUntil([&] { return fs::exists(report + ".tar.gz"); }));
        EXPECT_TRUE(isKept());
    }
    ASSERT_TRUE(waitForUpload()) << "the end of the server does not end the upload";
    EXPECT_TRUE(isKept());
    telemetry.sendCEP(); // the connection is refused by now
    ASSERT_TRUE(waitForUpload());
    EXPECT_TRUE(isKept());

    const ReportServer server(home.path("server"), "200");
    writeFile(telemetry.logPath() + "/kitwell_report (1).xml", "kept\n");
    telemetry.sendCEP();
    ASSERT_TRUE(waitForUpload() && waitForUpload());
    EXPECT_EQ(server.unpacked(2).second, "kept\n");
    EXPECT_TRUE(fs::is_empty(telemetry.logPath()));
}
