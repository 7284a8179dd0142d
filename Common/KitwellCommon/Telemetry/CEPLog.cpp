#include "KitwellCommon/Telemetry/CEPLog.h"

#include <array>
#include <string>

#include "KitwellCommon/Telemetry/CEPLogContext.h"
#include "KitwellCommon/Telemetry/EventText.h"
#include "KitwellCommon/Telemetry/LogSealing.h"
#include "KitwellCommon/Telemetry/ReportHeader.h"
#include "KitwellPlatform/Files/AppendFile.h"

// How processes share a log. A writer holds a shared lock while it looks at the file and appends its event in
// one write. Whoever seals the file holds it alone: first the name goes, then the document is closed, last
// the file becomes read-only. A writer that was waiting meanwhile sees one of these and begins again, as does
// one whose file has been removed.

namespace kitwell {

using platform::AppendFile;

namespace {

// What a writer meets that begins again and again: somebody made the log read-only by hand, or put something
// in its place.
constexpr int kMaxRounds = 200;

constexpr std::size_t kMaxKeptCapacity = std::size_t{1} << 20U;

enum class Outcome { Written, Failed, NotWritten, BeginAgain, LogIsMissing };

Outcome append(AppendFile& file, std::string_view text) {
    return file.append(text) ? Outcome::Written : Outcome::NotWritten;
}

Outcome rotate(AppendFile file) {
    if (!file.lockExclusively())
        return Outcome::Failed;
    switch (sealLog(file, cepLogContext().activeLogPath, cepLogContext().sealedLogPath)) {
    case Sealing::Done:
    case Sealing::NameIsGone:
        return Outcome::LogIsMissing;
    case Sealing::AnotherFile:
        return Outcome::BeginAgain;
    default:
        return Outcome::Failed;
    }
}

Outcome appendToLog(std::string_view text) {
    auto file = AppendFile::open(cepLogContext().activeLogPath, AppendFile::Lock::Shared);
    if (!file)
        return platform::isNoSuchFile(file.error()) ? Outcome::LogIsMissing : Outcome::Failed;
    const auto status = file->status();
    if (!status || !status->isRegular)
        return Outcome::Failed;
    if (!status->ownerMayWrite() || status->names == 0)
        return Outcome::BeginAgain;
    return status->size <= kCEPMaxLogSize ? append(*file, text) : rotate(*std::move(file));
}

// The header is gathered once for an event, however often it is tried.
Outcome createLog(std::string& header, std::string_view text) {
    if (header.empty())
        header = reportHeader();
    const std::array<std::string_view, 1> content{header};
    auto file = AppendFile::create(cepLogContext().activeLogPath, content);
    if (file)
        return append(*file, text);
    return platform::isFileExists(file.error()) ? Outcome::BeginAgain : Outcome::Failed;
}

std::int32_t record(std::string_view text) {
    if (cepLogContext().activeLogPath.empty())
        return kCEPErrorNoLog;
    std::string header;
    for (int round = 0; round < kMaxRounds; ++round) {
        Outcome outcome = appendToLog(text);
        if (outcome == Outcome::LogIsMissing)
            outcome = createLog(header, text);
        if (outcome == Outcome::Written)
            return 0;
        if (outcome == Outcome::NotWritten)
            return kCEPErrorNotWritten;
        if (outcome == Outcome::Failed)
            return kCEPErrorNoLog;
    }
    return kCEPErrorNoLog;
}

} // namespace

std::int32_t CEPLogEvent(std::string_view action, const platform::Value& attributes,
                         const platform::Value& options, const platform::Value& details) {
    // Kept by each thread: fresh memory for a large event costs more than writing it.
    thread_local std::string text;
    writeEvent(text, action, attributes, options, details);
    const std::int32_t result = record(text);
    if (text.capacity() > kMaxKeptCapacity)
        text = {};
    return result;
}

} // namespace kitwell
