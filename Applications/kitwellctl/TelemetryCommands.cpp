#include <cmath>

#include "Commands.h"
#include "EventReader.h"
#include "KitwellCommon/KitwellCommon.h"
#include "KitwellPlatform/Applications/RunningApplication.h"
#include "KitwellPlatform/Files/AppendFile.h"
#include "KitwellPlatform/Preferences/UserDefaults.h"
#include "ReportCheck.h"
#include "WaitingDocuments.h"

namespace kitwell::applications {

namespace {

using platform::Array;
using platform::Dictionary;
using platform::UserDefaults;
using platform::Value;

// ---- The switch

std::string reasonFor(const UserDefaults& preferences) {
    const auto stored = preferences.objectForKey(kCEPDisabledKey);
    if (!stored)
        return "it was not switched off";
    if (!stored->asBoolean())
        return "disableCEP is no boolean and does not count";
    return *stored->asBoolean() ? "disableCEP is true" : "disableCEP is false";
}

// The processes that may have asked for the switch while it was on: they do not ask again.
Array runningProcesses() {
    constexpr std::string_view kSuite = kAgentBundleIdentifier;
    Array rows;
    for (const auto& application : platform::RunningApplication::all()) {
        const std::string& identifier = application.bundleIdentifier;
        if (identifier == kSuite || identifier.starts_with(std::string(kSuite) + "."))
            rows.emplace_back(Dictionary{{"process", application.processIdentifier},
                                         {"identifier", identifier},
                                         {"path", application.bundlePath}});
    }
    return rows;
}

// Null for on, the state of a suite that nobody switched off.
bool setDisabled(const Value& value) {
    auto preferences = UserDefaults::forApplication(kAgentBundleIdentifier);
    preferences.setObjectForKey(value, kCEPDisabledKey);
    return preferences.synchronize();
}

Answer noFolder() {
    return Answer::failed("there is no folder for logs");
}

Answer switchOff(const Call& call) {
    const bool wasOn = !CEPLogClass::isCEPDisabled(); // else who started since then records nothing
    if (!setDisabled(true))
        return Answer::failed("the preferences cannot be written");
    Dictionary facts{{"recording", false},
                     {"stillRecordingUntilRestarted", wasOn ? runningProcesses() : Array()}};
    if (call.has("purge")) {
        if (CEPLogInit() != 0)
            return noFolder();
        const auto removed = removeAllThatWaits();
        if (!removed)
            return Answer::failed(removed.error().description);
        facts.set("removedFiles", std::uint64_t{*removed});
    }
    return Answer::facts(std::move(facts));
}

Answer switchOn(const Call&) {
    if (!setDisabled({}))
        return Answer::failed("the preferences cannot be written");
    return Answer::done("telemetry is on; a process that runs takes part when it is next started",
                        {{"recording", true}});
}

// ---- What waits

Array logRows() {
    Array rows;
    for (const WaitingDocument& log : logPlaces()) {
        const auto status = platform::fileStatus(log.path);
        rows.emplace_back(Dictionary{
            {"log", log.kind}, {"bytes", status ? Value(status->size) : Value()}, {"path", log.path}});
    }
    return rows;
}

// The date is stored when the agent starts. As long as it runs, it goes on from there week by week.
Value nextCollection(const UserDefaults& preferences) {
    const auto stored = preferences.dateForKey(kCEPSyncDateKey);
    if (!stored)
        return {};
    const double late = stored->secondsUntil(platform::Date::now());
    const bool goesOn =
        late >= 0 && !platform::RunningApplication::withBundleIdentifier(kAgentBundleIdentifier).empty();
    return goesOn ? stored->adding((std::floor(late / CEPFireInterval) + 1) * CEPFireInterval) : *stored;
}

Answer showStatus(const Call&) {
    if (CEPLogInit() != 0)
        return noFolder();
    const auto preferences = UserDefaults::forApplication(kAgentBundleIdentifier);
    return Answer::facts({{"recording", !CEPLogClass::isCEPDisabled()},
                          {"reason", reasonFor(preferences)},
                          {"nextCollection", nextCollection(preferences)},
                          {"reports", std::uint64_t{waitingReports(usualReportFolder()).size()}},
                          {"folder", usualReportFolder()},
                          {"endpoint", reportEndpoint()},
                          {"logs", logRows()}});
}

Answer showEvents(const Call&) {
    if (CEPLogInit() != 0)
        return noFolder();
    Array rows;
    bool areAllRead = true;
    for (const WaitingDocument& document : waitingDocuments()) {
        const auto whole = readWhole(document.path);
        const auto read = whole ? readEvents(whole->text, rows) : platform::Result<void>(whole.error());
        if (read || platform::isNoSuchFile(read.error()))
            continue;
        areAllRead = false;
        KWLogVariadic("Not all events are shown: %@: %@", document.path, read.error().description);
    }
    Answer answer = Answer::list(std::move(rows));
    answer.exitCode = areAllRead ? ExitCode::Done : ExitCode::Failed;
    return answer;
}

Answer validate(const Call&) {
    if (CEPLogInit() != 0)
        return noFolder();
    const auto documents = waitingDocuments();
    Array rows;
    for (const WaitingDocument& document : documents) {
        for (ReportFinding& finding : checkReport(document))
            rows.emplace_back(
                Dictionary{{"file", document.path},
                           {"line", finding.line > 0 ? Value(std::uint64_t{finding.line}) : Value()},
                           {"finding", std::move(finding.text)}});
    }
    return Answer::findings(std::move(rows),
                            platform::formatText("documents without a finding: %lu", documents.size()));
}

Answer collect(const Call&) {
    CEPLogClass* telemetry = CEPLogClass::sharedInstance();
    if (!telemetry)
        return Answer::failed("telemetry is off: nothing is collected or sent");
    std::size_t count = 0;
    {
        // Counted before they are sent: an upload removes its report.
        const auto lock = CEPLogClass::lockCollection();
        count = waitingReports(telemetry->logGrab()).size();
    }
    telemetry->sendCEP();
    return Answer::done(platform::formatText("%lu of the reports in %@ are being sent to %@", count,
                                             telemetry->logPath(), reportEndpoint()),
                        {{"reports", std::uint64_t{count}},
                         {"folder", telemetry->logPath()},
                         {"endpoint", reportEndpoint()}});
}

constexpr Command kCommands[] = {
    {"telemetry status", "", "tell whether usage is recorded, and what waits", showStatus},
    {"telemetry show", "", "show every event that waits", showEvents},
    {"telemetry collect", "", "collect the logs and send the reports now", collect},
    {"telemetry off", "", "record nothing any more", switchOff, "--purge"},
    {"telemetry on", "", "record usage again", switchOn},
    {"telemetry validate", "", "check every log and report that waits", validate},
};

} // namespace

std::span<const Command> telemetryCommands() {
    return kCommands;
}

} // namespace kitwell::applications
