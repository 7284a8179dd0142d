#pragma once

#include "KitwellCommon/Telemetry/CEPLog.h"
#include "KitwellCommon/Telemetry/CEPLogClass.h"
#include "KitwellCommon/Telemetry/CEPLogContext.h"
#include "KitwellCommon/Telemetry/Reports.h"
#include "KitwellPlatform/Files/AtomicFile.h"
#include "KitwellPlatform/Files/FileManager.h"
#include "KitwellPlatform/Files/SearchPaths.h"
#include "Support/Harness.h"

namespace kitwell::test {

namespace fs = std::filesystem;

inline std::string contentOf(const std::string& path) {
    const auto content = platform::readFile(path, std::size_t{1} << 28U);
    return content ? std::string(content->text()) : "";
}

inline void writeFile(const std::string& path, const std::string& content) {
    std::ofstream(path, std::ios::binary) << content;
}

// By an independent parser.
inline bool areWellFormed(std::vector<std::string> paths) {
    paths.insert(paths.begin(), {"--noout", "--huge", "--nonet"});
    return ChildProcess::program("/usr/bin/xmllint", paths).wait() == 0;
}

inline std::int32_t record(const std::string& action, const std::string& filling = "") {
    return CEPLogEvent(action, {}, platform::Dictionary{{"text", filling}}, {});
}

// What is collected into the user's own report folder, and the reports that wait there then.
inline std::vector<std::string> collect() {
    CEPLogClass collector;
    const std::string folder = collector.logGrab();
    std::vector<std::string> paths;
    for (const std::string& report : waitingReports(folder))
        paths.push_back(folder + "/" + report);
    return paths;
}

inline std::string together(const std::vector<std::string>& paths) {
    std::string text;
    for (const std::string& path : paths)
        text += contentOf(path);
    return text;
}

inline std::size_t occurrences(const std::vector<std::string>& paths, const std::string& wanted) {
    const std::string text = together(paths);
    std::size_t count = 0;
    for (std::size_t at = 0; (at = text.find(wanted, at)) != std::string::npos; at += wanted.size())
        ++count;
    return count;
}

class TelemetryLogs : public InTestHome {
protected:
    TelemetryLogs() { EXPECT_EQ(CEPLogInit(), 0); }

    const std::string folder = platform::SearchPaths::userLibrary() + "/Logs";
    const std::string active = folder + "/cvl.kitwell.ceplog.xml";
    const std::string sealed = folder + "/cvl.kitwell.ceplog-more.xml";
    const std::string legacy = folder + "/ceplog.xml";

    void clear() const {
        fs::remove_all(folder);
        fs::create_directory(folder);
    }
    // The reports are documents that hold each action this often, and no log is left beside them.
    void expectCollected(const std::vector<std::string>& reports,
                         const std::vector<std::pair<std::string, std::size_t>>& actions) const {
        EXPECT_TRUE(areWellFormed(reports));
        for (const auto& [action, count] : actions)
            EXPECT_EQ(occurrences(reports, "action=\"" + action + "\""), count) << action;
        EXPECT_EQ(platform::FileManager::namesInFolder(folder), std::vector<std::string>{"CorvalenKitwell"});
    }
};

} // namespace kitwell::test
