#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "KitwellCommon/KitwellCommon.h"
#include "KitwellPlatform/RunLoop/DateTimer.h"
#include "ToolList.h"

namespace kitwell::applications {

// Carries the stored launch schedules out: at its date a tool is launched or, when it runs, told so. The
// store is read at the start and after each change notification, never in between. Main thread.
//
// A date is taken out of the store, or replaced by the next one of its repetition, before the tool is
// launched: whatever happens to the agent, no date is carried out twice. A date that passed while no agent
// ran is carried out at the next start, once.
class Schedules {
public:
    using Report = std::function<void(const std::string& line)>;
    Schedules(ToolList& tools, Report report);
    ~Schedules();
    Schedules(const Schedules&) = delete;
    Schedules& operator=(const Schedules&) = delete;

    // Launches every tool that asked for it at login.
    void launchAtLogin();

private:
    struct Appointment {
        platform::Date date;
        std::string bundleId;
        std::string name;
    };

    void read();
    void carryOutDue();
    void carryOut(const Appointment& appointment);
    void waitForNext();
    void launchOrTell(const std::string& bundleId, const std::string& name);
    void launch(const ToolDataAgentProvider& tool, std::string_view why);

    ToolList& tools_;
    Report report_;
    platform::DateTimer timer_;
    std::vector<Appointment> appointments_;
};

} // namespace kitwell::applications
