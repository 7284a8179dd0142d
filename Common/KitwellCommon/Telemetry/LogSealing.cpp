#include "KitwellCommon/Telemetry/LogSealing.h"

#include "KitwellCommon/Telemetry/ReportDocument.h"
#include "KitwellPlatform/Files/FileManager.h"

namespace kitwell {

using platform::AppendFile;

namespace {

constexpr std::uint32_t kReadRights = 0444;

// The document stays writable when it could not be closed: whoever collects it sees that.
void closeAndProtect(AppendFile& file, std::uint32_t mode) {
    if (!CEPLogCloseReport(file))
        return;
    (void)file.setMode(mode & kReadRights);
    (void)file.bringToDisk();
}

} // namespace

bool CEPLogCloseReport(platform::AppendFile& file) {
    const auto content = file.contents(kMaxReportSize);
    if (!content)
        return false;
    const DocumentState state = documentState(content->text());
    for (const DocumentPart& part : state.brokenParts) {
        if (!file.overwrite(part.start, std::string(part.size, ' ')))
            return false;
    }
    return state.missingClosing.empty() || file.append(state.missingClosing);
}

Sealing sealLog(AppendFile& file, const std::string& path, const std::string& sealedPath) {
    const auto own = file.status();
    if (!own || !own->isRegular)
        return Sealing::NoStatus;
    const auto named = platform::fileStatus(path);
    if (!named)
        return platform::isNoSuchFile(named.error()) ? Sealing::NameIsGone : Sealing::NoPathStatus;
    if (!named->isSameFile(*own))
        return Sealing::AnotherFile;
    if (!platform::FileManager::renameFile(path, sealedPath))
        return Sealing::NotRenamed;
    closeAndProtect(file, own->mode);
    return Sealing::Done;
}

bool completeSealedLog(const AppendFile& sealed, const std::string& sealedPath) {
    const auto status = sealed.status();
    if (!status)
        return false;
    if (!status->ownerMayWrite())
        return true;
    // The lock is the caller's; this is the same file, open for writing.
    auto file = AppendFile::open(sealedPath, AppendFile::Lock::None);
    const auto opened = file ? file->status() : platform::Result<platform::FileStatus>(file.error());
    if (!opened || !opened->isSameFile(*status))
        return false;
    closeAndProtect(*file, status->mode);
    const auto closed = file->status();
    return closed && !closed->ownerMayWrite();
}

} // namespace kitwell
