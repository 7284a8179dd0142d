#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "KitwellCommon/Export.h"
#include "KitwellCommon/Telemetry/CEPInfo.h"
#include "KitwellPlatform/Files/LockedFile.h"
#include "KitwellPlatform/RunLoop/DateTimer.h"
#include "KitwellPlatform/Values/Date.h"
#include "KitwellPlatform/Values/Result.h"
#include "KitwellPlatform/Values/Value.h"

namespace kitwell {

// Seconds from one collection to the next: a week.
inline constexpr double CEPFireInterval = 604800.0;

// In the agent's preferences: the switch (true is off), and the date from which a start counts on.
inline constexpr char kCEPDisabledKey[] = "disableCEP";
inline constexpr char kCEPSyncDateKey[] = "CEPSyncDate";

// The telemetry of a process: where its events go in, and the weekly collection and upload of the reports.
class KITWELL_API CEPLogClass : public CEPInfoHolder {
public:
    // Whether the user switched telemetry off: "disableCEP" is true in the agent's preferences. What is no
    // boolean does not count. Any thread.
    static bool isCEPDisabled();
    // The process's collector; null when telemetry was off at the first call, for as long as the process
    // lives. Any thread; the first call reads the environment.
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
    // Waits for the collection that is under way; none begins until the answer goes. Any thread.
    static platform::Result<platform::LockedFile> lockCollection();

    // ---- Collection and upload. The schedule belongs to the thread that calls initGrab, the rest to any.

    // Starts the schedule on this thread's run loop. The agent's preferences keep the date of the first
    // collection as "CEPSyncDate"; one that has passed is made up for at once, and replaced by one a week
    // from now. Later collections leave it alone: what starts after one collects at once again.
    void initGrab();
    // When the timer fires next; nothing before initGrab.
    std::optional<platform::Date> timerFireDate() const;
    // Collects and uploads on a thread of its own.
    void fireCEP() const;
    // Collects the logs and starts the upload of every report that waits.
    void sendCEP() const;
    // Moves every log that waits into a report, and answers the folder of the reports. The caller holds
    // lockCollection.
    std::string logGrab() const;

    // The folder of the reports: the usual one, which the first collection makes, or one that was chosen
    // before. It must be there.
    std::string logPath() const;
    void setLogPath(std::string path) { logPath_ = std::move(path); }

private:
    std::string reportFolder() const;
    void armTimer(platform::Date date);
    void timerFired();

    std::string logPath_;
    std::unique_ptr<platform::DateTimer> timer_;
    std::optional<platform::Date> fireDate_;
};

} // namespace kitwell
