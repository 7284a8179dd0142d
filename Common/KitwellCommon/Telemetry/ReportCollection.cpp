#include "KitwellCommon/Telemetry/ReportCollection.h"

#include <cstdint>
#include <vector>

#include "KitwellCommon/Telemetry/LogSealing.h"
#include "KitwellCommon/Telemetry/LogTaking.h"
#include "KitwellPlatform/Files/AppendFile.h"
#include "KitwellPlatform/Files/FileDescriptor.h"
#include "KitwellPlatform/Files/FileManager.h"
#include "KitwellPlatform/Files/FreePath.h"
#include "KitwellPlatform/Values/Text.h"

namespace kitwell {

using platform::AppendFile;
using platform::FileManager;
using platform::Result;

namespace {

constexpr int kMaxReports = 100;
constexpr std::size_t kCopyPieceSize = 16384;

std::vector<std::string> reportPaths(const std::string& folder) {
    std::vector<std::string> paths{folder + "/kitwell_report.xml"};
    for (int number = 1; number < kMaxReports; ++number)
        paths.push_back(folder + platform::formatText("/kitwell_report (%d).xml", number));
    return paths;
}

// A symlink that somebody put in the log's place is not the log.
bool isMovable(const std::string& path) {
    const auto attributes = FileManager::attributes(path);
    return attributes && attributes->kind == FileManager::Kind::File;
}

// Moves the log to the first of the paths that is free, so that a kill at any moment leaves it at the one
// place or at the other; only to another volume it has to be copied.
Result<std::string> moveToFirstFreePath(const AppendFile& log, const std::string& path,
                                        const std::vector<std::string>& reports) {
    if (isMovable(path)) {
        platform::Result<void> moved;
        for (const std::string& report : reports) {
            moved = FileManager::moveFile(path, report);
            if (moved)
                return report;
            if (!platform::isFileExists(moved.error()))
                break;
        }
        if (platform::isFileExists(moved.error()))
            return moved.error();
    }
    auto copied = platform::copyToFirstFreePath(log.descriptor(), reports, kCopyPieceSize);
    const auto removed = copied ? FileManager::removeFile(path) : platform::Result<void>();
    return removed ? std::move(copied) : Result<std::string>(removed.error());
}

// True when the log is away from its path: it has become a report, or there are too many. It stays read-only,
// which tells a writer that waited for it to begin again.
bool becomeReport(const AppendFile& log, const std::string& path, const std::vector<std::string>& reports) {
    const auto report = moveToFirstFreePath(log, path, reports);
    if (!report)
        return platform::isFileExists(report.error()) && FileManager::removeFile(path);
    auto moved = AppendFile::openForReading(*report, AppendFile::Lock::None);
    const auto status = moved ? moved->status() : Result<platform::FileStatus>(moved.error());
    const auto own = log.status();
    // Another sealed log may have taken the place of this one just before the move: its sealer is waited for.
    if (status && own && !status->isSameFile(*own) && moved->lockExclusively())
        (void)completeSealedLog(*moved, *report);
    return true;
}

} // namespace

void collectReports(const std::string& folder) {
    const std::vector<std::string> reports = reportPaths(folder);
    for (std::int32_t more = 1; more != 0;) {
        const platform::FileDescriptor log(takeLog(&more, [&](AppendFile& file, const std::string& path) {
            return becomeReport(file, path, reports);
        }));
        if (!log)
            return;
    }
}

} // namespace kitwell
