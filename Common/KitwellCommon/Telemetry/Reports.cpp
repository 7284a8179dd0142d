#include "KitwellCommon/Telemetry/Reports.h"

#include "KitwellCommon/Telemetry/ReportEndpointForTests.h"
#include "KitwellPlatform/Files/FileManager.h"
#include "KitwellPlatform/Files/SearchPaths.h"
#include "KitwellPlatform/Values/NeverDestroyed.h"

namespace kitwell {

namespace {

std::string& chosenEndpoint() {
    static platform::NeverDestroyed<std::string> instance(KITWELL_TELEMETRY_ENDPOINT);
    return *instance;
}

std::string logsFolder() {
    return platform::SearchPaths::userLibrary() + "/Logs";
}

} // namespace

std::string usualReportFolder() {
    return logsFolder() + "/CorvalenKitwell";
}

std::vector<std::string> waitingReports(const std::string& folder) {
    std::vector<std::string> reports;
    for (std::string& path : platform::FileManager::subpathsOfFolder(folder)) {
        if (path.starts_with("kitwell_report") && path.ends_with(".xml"))
            reports.push_back(std::move(path));
    }
    return reports;
}

std::string uploadResponsePath() {
    return logsFolder() + "/cvl.kitwell.ceplog.log";
}

const std::string& reportEndpoint() {
    return chosenEndpoint();
}

void setReportEndpoint(const std::string& url) {
    chosenEndpoint() = url;
}

} // namespace kitwell
