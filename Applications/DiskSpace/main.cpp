// A permanent tool: its menu text is the free space of the volume that holds the home folder, its menu icon a
// gauge. The agent goes on to show both when the tool does not run. Every hour, and when its menu icon is
// clicked, it adds a line to its report, in a folder that it asks the agent for.

#include <cerrno>
#include <chrono>
#include <span>
#include <string>

#include "Gauge.h"
#include "KitwellCommon/KitwellCommon.h"
#include "KitwellPlatform/Applications/Bundle.h"
#include "KitwellPlatform/Files/AtomicFile.h"
#include "KitwellPlatform/Files/FileManager.h"
#include "KitwellPlatform/Files/SearchPaths.h"
#include "KitwellPlatform/Preferences/UserDefaults.h"
#include "KitwellPlatform/RunLoop/RunLoop.h"
#include "Shared/Tool.h"
#include "Shared/UsageLog.h"

namespace kitwell::applications {

namespace {

constexpr std::chrono::seconds kRefreshInterval{5};
constexpr double kReportInterval = 3600; // seconds
constexpr char kLastReportKey[] = "LastReport";
constexpr std::size_t kMaxReportBytes = 1U << 20;

// Adds the line at the end of the report; a report that has grown too long begins anew. One that cannot be
// read is the person's all the same, and stays.
bool addToReport(const std::string& folder, const std::string& line) {
    const std::string path = folder + "/Disk space.txt";
    const auto before = platform::readFile(path, kMaxReportBytes);
    const bool beginsAnew =
        !before && (platform::isNoSuchFile(before.error()) || before.error().code == EFBIG);
    if (!before && !beginsAnew)
        return false;
    const std::string whole = (before ? std::string(before->text()) : std::string()) + line + "\n";
    return static_cast<bool>(platform::replaceFile(path, std::as_bytes(std::span(whole))));
}

std::string gigabytes(std::uint64_t bytes) {
    return platform::formatText("%.1f GB", static_cast<double>(bytes) / 1e9);
}

// Whether an earlier run asked for an hourly launch. It is asked for once: what the agent made of it, and
// what the person changed or cancelled, stays as it is.
bool wasScheduled() {
    bool wasAskedFor = false;
    const platform::Bundle& bundle = platform::Bundle::main();
    readSchedulerPlist(
        bundle.identifier(), bundle.bundleUrl().deletingPathExtension().lastPathComponent(),
        [&](const platform::Dictionary& entry) { wasAskedFor = entry.find(kScheduleInterval) != nullptr; });
    return wasAskedFor;
}

// The agent does not say why it launched the tool: what counts is how old the last report is. It may come a
// little early, since the agent's hour is not the report's.
bool isReportDue() {
    constexpr double kEarly = 60;
    const auto last = platform::UserDefaults::standard().dateForKey(kLastReportKey);
    return !last || last->secondsUntil(platform::Date::now()) > kReportInterval - kEarly;
}

void rememberReport() {
    platform::UserDefaults& preferences = platform::UserDefaults::standard();
    preferences.setObjectForKey(platform::Date::now(), kLastReportKey);
    preferences.synchronize();
}

class DiskSpace {
public:
    DiskSpace() {
        client_.setToolIcon(gaugePicture(64, 0.6));
        client_.setToolStatus(ToolStatusPermanent);
        refresh();
        timer_ = platform::Timer::repeating(platform::RunLoop::current(), kRefreshInterval,
                                            platform::RunLoopModes::Common, [this] { refresh(); });
        client_.setDateScheduleBlock([this] { report(); });
        client_.setClickMenuIconBlock([this] { report(); });
        if (!wasScheduled())
            ToolScheduler::scheduleAtDate(platform::Date::now().adding(kReportInterval), kReportInterval);
        else if (isReportDue())
            platform::RunLoop::current().post([this] { report(); });
    }

private:
    void refresh() {
        const auto space = platform::FileManager::volumeSpace(platform::SearchPaths::home());
        if (!space || space->totalBytes == 0)
            return present("unknown", 0);
        const double total = static_cast<double>(space->totalBytes);
        present(gigabytes(space->freeBytes) + " free of " + gigabytes(space->totalBytes),
                1 - static_cast<double>(space->freeBytes) / total);
    }

    void present(const std::string& text, double usedShare) {
        if (client_.menuText() == text && client_.menuIcon())
            return;
        client_.setMenuIcon(gaugeIcon(18, usedShare));
        client_.setMenuText(text);
    }

    // Waits for the person's answer where the agent has to ask; what comes meanwhile is handled, but a second
    // report is not begun.
    void report() {
        if (isReporting_)
            return;
        isReporting_ = true;
        const bool answered = client_.requestSandboxAccessCommand(
            sandboxSpecialRequest(client_.toolId(), ToolDesktopDirectory));
        const auto folder = answered ? client_.sandboxReplyDir() : std::nullopt;
        UsageLog::action("Report", {}, platform::Dictionary{{"granted", folder.has_value()}});
        const std::string moment = platform::Date::now().iso8601().value_or("");
        if (!folder)
            KWLogVariadic("no report: the agent granted no folder");
        else if (!addToReport(*folder, moment + "  " + client_.menuText().value_or("")))
            KWLogVariadic("no report: the one in %@ cannot be read or written", *folder);
        else
            rememberReport();
        isReporting_ = false;
    }

    ToolDataClientProvider client_;
    platform::Timer timer_;
    bool isReporting_ = false;
};

} // namespace

} // namespace kitwell::applications

int main() {
    return kitwell::applications::checkToolIsAllowed()
               ? kitwell::applications::runTool<kitwell::applications::DiskSpace>()
               : 1;
}
