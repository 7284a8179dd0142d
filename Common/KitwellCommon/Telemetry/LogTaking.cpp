#include "KitwellCommon/Telemetry/LogTaking.h"

#include <optional>

#include "KitwellCommon/Telemetry/CEPLogContext.h"
#include "KitwellCommon/Telemetry/CEPLogGrab.h"
#include "KitwellCommon/Telemetry/LogSealing.h"
#include "KitwellPlatform/Files/AppendFile.h"
#include "KitwellPlatform/Files/FileManager.h"

namespace kitwell {

using platform::AppendFile;

namespace {

enum class Take { Taken, NothingThere, Failed };

struct Taking {
    Take outcome = Take::Failed;
    std::int32_t descriptor = -1;
};

// The lock is waited for: its holder may still be closing the document.
Taking takeSealedLog(const LogRemoval& removeLog) {
    const std::string& path = cepLogContext().sealedLogPath;
    for (;;) {
        auto file = AppendFile::openForReading(path, AppendFile::Lock::Exclusive);
        if (!file)
            return {platform::isNoSuchFile(file.error()) ? Take::NothingThere : Take::Failed, -1};
        const auto own = file->status();
        const auto named = platform::fileStatus(path);
        if (!own || !own->isRegular)
            return {};
        if (!named || !named->isSameFile(*own))
            continue; // another sealed log took its place while the lock was waited for
        if (!completeSealedLog(*file, path) || !removeLog(*file, path))
            return {};
        return {Take::Taken, file->releaseDescriptor()};
    }
}

// Nothing when the log was sealed, or is not there. A log that was rotated since the look at the sealed name
// is taken first, and never replaced: nobody rotates while this has the active log for itself.
std::optional<std::int32_t> sealSource(const std::string& path) {
    auto file = AppendFile::open(path, AppendFile::Lock::Exclusive);
    if (!file)
        return platform::isNoSuchFile(file.error()) ? std::nullopt : std::optional(kCEPGrabNoLog);
    if (platform::FileManager::fileExists(cepLogContext().sealedLogPath))
        return std::nullopt;
    switch (sealLog(*file, path, cepLogContext().sealedLogPath)) {
    case Sealing::NoStatus:
        return kCEPGrabNoLogStatus;
    case Sealing::NoPathStatus:
        return kCEPGrabNoPathStatus;
    case Sealing::NotRenamed:
        return kCEPGrabNotSealed;
    default:
        return std::nullopt;
    }
}

std::string sourcePath() {
    const CEPLogContext& context = cepLogContext();
    return platform::FileManager::fileExists(context.legacyLogPath) ? context.legacyLogPath
                                                                    : context.activeLogPath;
}

} // namespace

std::int32_t takeLog(std::int32_t* more, const LogRemoval& removeLog) {
    const std::string source = sourcePath();
    *more = 1;
    for (;;) {
        const Taking taking = takeSealedLog(removeLog);
        if (taking.outcome == Take::Taken)
            return taking.descriptor;
        if (taking.outcome == Take::Failed)
            return kCEPGrabNoSealedLog;
        if (*more == 0)
            return kCEPGrabNothing;
        *more = 0;
        if (const auto failure = sealSource(source))
            return *failure;
    }
}

} // namespace kitwell
