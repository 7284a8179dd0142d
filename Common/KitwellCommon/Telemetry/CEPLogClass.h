#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "KitwellCommon/Export.h"
#include "KitwellCommon/Telemetry/CEPInfo.h"
#include "KitwellPlatform/RunLoop/DateTimer.h"
#include "KitwellPlatform/Values/Date.h"
#include "KitwellPlatform/Values/Value.h"

namespace kitwell {

// Seconds from one collection to the next: a week.
inline constexpr double CEPFireInterval = 604800.0;

// In the agent's preferences: the switch (true is off), and the date of the next collection.
inline constexpr char kCEPDisabledKey[] = "disableCEP";
inline constexpr char kCEPSyncDateKey[] = "CEPSyncDate";

// The telemetry of a process: where its events go in, and the weekly collection and upload of the reports.
class KITWELL_API CEPLogClass : public CEPInfoHolder {
public:
    // Whether the user switched telemetry off: "disableCEP" is true in the agent's preferences. What is no
    // boolean does not count. Any thread.
    static bool isCEPDisabled();
    // The process's collector; null when telemetry was off at the first call, for as long as the process
    // lives. Any thread.
    static CEPLogClass* sharedInstance();

    CEPLogClass();
    CEPLogClass(const CEPLogClass&) = delete;
    CEPLogClass& operator=(const CEPLogClass&) = delete;
    ~CEPLogClass();

    // Records an event: `prefs` and `details` are each a dictionary, an array or null (see CEPLogEvent). Any
    // thread.
    void log(std::string_view action, const platform::Value& prefs, const platform::Value& details) const;

    // Held exclusively while a collection moves logs, so that one runs at a time. Empty when this user has no
    // private temporary folder: collections go on without it then.
    static std::string lockFile();

    // ---- Collection and upload. All but sendCEP belong to the thread that calls initGrab.

    // Starts the schedule on this thread's run loop. The date of the next collection is kept in the agent's
    // preferences as "CEPSyncDate"; one that has passed is made up for at once.
    void initGrab();
    // When the timer fires next; nothing before initGrab.
    std::optional<platform::Date> timerFireDate() const;
    // Collects and uploads on a thread of its own.
    void fireCEP();
    // Collects the logs and starts the upload of every report that waits. Any thread, one at a time.
    void sendCEP();
    // Moves every log that waits into a report, and answers the folder of the reports.
    std::string logGrab();

    // The folder of the reports, made at first use; empty before.
    std::string logPath() const { return logPath_; }
    void setLogPath(std::string path) { logPath_ = std::move(path); }

private:
    const std::string& reportFolder();
    void armTimer(platform::Date date);
    void timerFired();

    std::string logPath_;
    std::unique_ptr<platform::DateTimer> timer_;
    std::optional<platform::Date> fireDate_;
};

} // namespace kitwell
