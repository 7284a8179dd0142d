#include "KitwellCommon/Telemetry/CEPLogClass.h"

#include "KitwellCommon/SuiteIdentifiers.h"
#include "KitwellCommon/Telemetry/CEPLog.h"
#include "KitwellCommon/Telemetry/CEPLogContext.h"
#include "KitwellCommon/Telemetry/ReportCollection.h"
#include "KitwellCommon/Telemetry/ReportUpload.h"
#include "KitwellCommon/Telemetry/Reports.h"
#include "KitwellPlatform/Files/FileManager.h"
#include "KitwellPlatform/Files/SearchPaths.h"
#include "KitwellPlatform/Preferences/UserDefaults.h"
#include "KitwellPlatform/RunLoop/DetachedThread.h"
#include "KitwellPlatform/Values/NeverDestroyed.h"

namespace kitwell {

using platform::Date;
using platform::LockedFile;
using platform::UserDefaults;

namespace {

constexpr unsigned kLockFileMode = 0644;

void collectAlone(const std::string& folder) {
    const auto lock = CEPLogClass::lockCollection();
    collectReports(folder);
}

void uploadAll(const std::string& folder) {
    for (const std::string& report : waitingReports(folder))
        startUpload(std::string(folder).append("/").append(report), uploadResponsePath());
}

void collectAndUpload(const std::string& folder) {
    collectAlone(folder);
    uploadAll(folder);
}

} // namespace

CEPLogClass::CEPLogClass() = default;
CEPLogClass::~CEPLogClass() = default;

bool CEPLogClass::isCEPDisabled() {
    return UserDefaults::forApplication(kAgentBundleIdentifier).boolForKey(kCEPDisabledKey).value_or(false);
}

CEPLogClass* CEPLogClass::sharedInstance() {
    static platform::NeverDestroyed<std::unique_ptr<CEPLogClass>> instance([] {
        if (isCEPDisabled())
            return std::unique_ptr<CEPLogClass>();
        (void)CEPLogInit();
        return std::make_unique<CEPLogClass>();
    }());
    return instance->get();
}

void CEPLogClass::log(std::string_view action, const platform::Value& prefs,
                      const platform::Value& details) const {
    (void)CEPLogEvent(action, platform::Value(), prefs, details);
}

std::string CEPLogClass::lockFile() {
    const auto folder = platform::SearchPaths::temporaryFolder();
    return folder ? *folder + "/cvl.kitwell.ceplog.lock" : "";
}

platform::Result<LockedFile> CEPLogClass::lockCollection() {
    return LockedFile::lockFile(lockFile(), LockedFile::Wait::ForLock, kLockFileMode);
}

void CEPLogClass::initGrab() {
    const auto lock = lockCollection();
    auto preferences = UserDefaults::forApplication(kAgentBundleIdentifier);
    const std::optional<Date> due = preferences.dateForKey(kCEPSyncDateKey);
    const Date now = Date::now();
    if (due && now <= *due)
        return armTimer(*due);
    const Date next = now.adding(CEPFireInterval);
    preferences.setObjectForKey(next, kCEPSyncDateKey);
    preferences.synchronize();
    armTimer(next);
    if (due)
        fireCEP();
}

std::optional<Date> CEPLogClass::timerFireDate() const {
    return fireDate_;
}

void CEPLogClass::armTimer(Date date) {
    fireDate_ = date;
    timer_ = std::make_unique<platform::DateTimer>(platform::RunLoop::current(),
                                                   platform::RunLoopModes::Common, [this] { timerFired(); });
    timer_->waitFor(date);
}

// The times stay on the grid that the first one set; those that were slept through are made up for by one.
void CEPLogClass::timerFired() {
    const Date now = Date::now();
    const bool isDue = *fireDate_ <= now;
    while (*fireDate_ <= now)
        fireDate_ = fireDate_->adding(CEPFireInterval);
    timer_->waitFor(*fireDate_);
    if (isDue)
        fireCEP();
}

void CEPLogClass::fireCEP() const {
    platform::runOnDetachedThread([folder = reportFolder()] { collectAndUpload(folder); });
}

void CEPLogClass::sendCEP() const {
    collectAndUpload(reportFolder());
}

std::string CEPLogClass::logGrab() const {
    std::string folder = reportFolder();
    collectReports(folder);
    return folder;
}

std::string CEPLogClass::logPath() const {
    return logPath_.empty() ? usualReportFolder() : logPath_;
}

std::string CEPLogClass::reportFolder() const {
    if (logPath_.empty())
        (void)platform::FileManager::createFolder(usualReportFolder());
    return logPath();
}

} // namespace kitwell
