#include "KitwellCommon/Telemetry/ReportCollection.h"

#include <cstdint>

#include "KitwellCommon/Telemetry/CEPLogContext.h"
#include "KitwellCommon/Telemetry/CEPLogGrab.h"
#include "KitwellPlatform/Files/AppendFile.h"
#include "KitwellPlatform/Files/CopyFile.h"
#include "KitwellPlatform/Files/FileDescriptor.h"
#include "KitwellPlatform/Files/FileManager.h"
#include "KitwellPlatform/Files/SearchPaths.h"
#include "KitwellPlatform/Values/Text.h"

namespace kitwell {

namespace {

constexpr int kMaxReports = 100;
constexpr std::size_t kCopyPieceSize = 16384;

std::vector<std::string> reportPaths(const std::string& folder) {
    std::vector<std::string> paths{folder + "/kitwell_report.xml"};
    for (int number = 1; number < kMaxReports; ++number)
        paths.push_back(folder + platform::formatText("/kitwell_report (%d).xml", number));
    return paths;
}

// A log that was taken lives by its descriptor alone and would be lost if it could not be copied.
bool hasRoomForCopies(const std::string& folder) {
    const CEPLogContext& context = cepLogContext();
    std::uint64_t needed = 0;
    for (const std::string& path : {context.activeLogPath, context.legacyLogPath, context.sealedLogPath}) {
        const auto status = platform::fileStatus(path);
        needed += status ? status->size : 0;
    }
    const auto space = platform::FileManager::volumeSpace(folder);
    return !space || space->freeBytes > needed;
}

} // namespace

void collectReports(const std::string& folder) {
    if (!hasRoomForCopies(folder))
        return;
    const std::vector<std::string> paths = reportPaths(folder);
    for (std::int32_t more = 1; more != 0;) {
        const platform::FileDescriptor log(CEPLogGrab(&more));
        if (!log || !platform::copyToFirstFreePath(log.get(), paths, kCopyPieceSize))
            return;
    }
}

std::string usualReportFolder() {
    return platform::SearchPaths::userLibrary() + "/Logs/CorvalenKitwell";
}

std::vector<std::string> waitingReports(const std::string& folder) {
    std::vector<std::string> reports;
    for (std::string& path : platform::FileManager::subpathsOfFolder(folder)) {
        if (path.starts_with("kitwell_report") && path.ends_with(".xml"))
            reports.push_back(std::move(path));
    }
    return reports;
}

} // namespace kitwell
