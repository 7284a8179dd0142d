#include "WaitingDocuments.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "KitwellCommon/Telemetry/CEPLogClass.h"
#include "KitwellCommon/Telemetry/CEPLogContext.h"
#include "KitwellCommon/Telemetry/ReportDocument.h"
#include "KitwellCommon/Telemetry/Reports.h"
#include "KitwellPlatform/Files/AppendFile.h"
#include "KitwellPlatform/Files/FileManager.h"

namespace kitwell::applications {

using platform::AppendFile;
using platform::Data;
using platform::Result;

namespace {

// Alone with the file: beside a writer, half of what it writes could be seen.
Result<Data> contentsOf(const std::string& path) {
    const auto file = AppendFile::openForReading(path, AppendFile::Lock::Exclusive);
    if (!file)
        return file.error();
    return file->contents(kMaxReportSize);
}

std::size_t linesBetween(std::string_view text, std::size_t from, std::size_t to) {
    const std::string_view part = text.substr(from, to - from);
    return static_cast<std::size_t>(std::count(part.begin(), part.end(), '\n'));
}

// Line breaks stay, so that what follows keeps its line.
void blank(std::string& text, const DocumentPart& part) {
    const auto start = text.begin() + static_cast<std::ptrdiff_t>(part.start);
    std::replace_if(
        start, start + static_cast<std::ptrdiff_t>(part.size),
        [](char character) { return character != '\n'; }, ' ');
}

std::string pathIn(const std::string& folder, const std::string& name) {
    return folder + "/" + name;
}

std::vector<std::string> filesToRemove() {
    std::vector<std::string> paths;
    // In the direction in which a log moves, so that none slips past.
    for (const WaitingDocument& log : logPlaces())
        paths.push_back(log.path);
    const std::string folder = usualReportFolder();
    for (const std::string& name : platform::FileManager::subpathsOfFolder(folder)) {
        if (name.starts_with("kitwell_report") && (name.ends_with(".xml") || name.ends_with(".xml.tar.gz")))
            paths.push_back(pathIn(folder, name));
    }
    paths.push_back(uploadResponsePath());
    return paths;
}

} // namespace

std::vector<WaitingDocument> logPlaces() {
    const CEPLogContext& context = cepLogContext();
    return {{"older", context.legacyLogPath},
            {"active", context.activeLogPath},
            {"sealed", context.sealedLogPath}};
}

std::vector<WaitingDocument> waitingDocuments() {
    std::vector<WaitingDocument> documents = logPlaces();
    std::erase_if(documents,
                  [](const WaitingDocument& log) { return !platform::FileManager::fileExists(log.path); });
    const std::string folder = usualReportFolder();
    for (const std::string& report : waitingReports(folder))
        documents.push_back({"report", pathIn(folder, report)});
    return documents;
}

Result<WholeDocument> readWhole(const std::string& path) {
    const auto content = contentsOf(path);
    if (!content)
        return content.error();
    const DocumentState state = documentState(content->text());
    WholeDocument whole{std::string(content->text()), {}, state.missingClosing.empty()};
    std::size_t line = 1;
    std::size_t counted = 0;
    for (const DocumentPart& part : state.brokenParts) {
        line += linesBetween(whole.text, std::exchange(counted, part.start), part.start);
        whole.brokenLines.push_back(line);
        blank(whole.text, part);
    }
    whole.text += state.missingClosing;
    return whole;
}

Result<std::size_t> removeAllThatWaits() {
    // A collection under way would carry logs past.
    const auto lock = CEPLogClass::lockCollection();
    std::size_t count = 0;
    std::optional<platform::Error> failure;
    for (const std::string& path : filesToRemove()) {
        const auto removed = platform::FileManager::removeFile(path);
        if (removed)
            ++count;
        else if (!platform::isNoSuchFile(removed.error()) && !failure)
            failure = removed.error();
    }
    return failure ? Result<std::size_t>(*std::move(failure)) : count;
}

} // namespace kitwell::applications
