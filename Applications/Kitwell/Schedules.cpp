#include "Schedules.h"

#include <algorithm>
#include <cmath>
#include <iterator>

#include "KitwellPlatform/Applications/Workspace.h"
#include "Shared/Repetition.h"

namespace kitwell::applications {

using platform::Date;
using platform::Dictionary;
using platform::Value;

namespace {

double numberUnder(const Dictionary& entry, std::string_view key) {
    const Value* value = entry.find(key);
    const double* number = value ? value->asDouble() : nullptr;
    const std::int64_t* integer = value ? value->asSigned() : nullptr;
    return number ? *number : integer ? static_cast<double>(*integer) : 0;
}

bool isArmedFor(const Dictionary& entry, Date date) {
    const Value* armed = entry.find(kScheduleAtDate);
    const Value* held = entry.find(kScheduleDate);
    return armed && armed->truth() && held && held->asDate() && *held->asDate() == date;
}

bool isStoredFor(const std::string& bundleId, const std::string& name, Date date) {
    bool isStored = false;
    readSchedulerPlist(bundleId, name, [&](const Dictionary& entry) { isStored = isArmedFor(entry, date); });
    return isStored;
}

// Takes the date out of the tool's entry and answers the date of the next repetition. False when the entry
// says something else by now, and when the store could not be written: a date that stays there would be
// carried out again.
bool takeDate(const std::string& bundleId, const std::string& name, Date date, std::optional<Date>& next) {
    if (!isStoredFor(bundleId, name, date))
        return false;
    bool isTaken = false;
    updateSchedulerPlist(bundleId, name, [&](Dictionary& entry) {
        if (!isArmedFor(entry, date))
            return;
        isTaken = true;
        next = nextRepetition(date, numberUnder(entry, kScheduleInterval), Date::now());
        if (next) {
            entry.set(kScheduleDate, *next);
        } else {
            entry.remove(kScheduleDate);
            entry.remove(kScheduleAtDate);
        }
    });
    return isTaken && !isStoredFor(bundleId, name, date);
}

} // namespace

Schedules::Schedules(ToolList& tools, Report report)
    : tools_(tools), report_(std::move(report)),
      timer_(platform::RunLoop::current(), platform::RunLoopModes::Common, [this] { carryOutDue(); }) {
    AgentScheduler::upgradeSchedulerData();
    AgentScheduler::addUpdateObserver(this, [this] {
        read();
        carryOutDue();
    });
    read();
    carryOutDue();
}

Schedules::~Schedules() {
    AgentScheduler::removeUpdateObserver(this);
}

void Schedules::launchAtLogin() {
    for (const ToolList::Tool& tool : tools_.tools()) {
        if (AgentScheduler::shouldLaunchAtLoginByName(displayName(*tool), tool->bundleId()))
            launch(*tool, "at login");
    }
    for (const ToolList::Forbidden& tool : tools_.forbidden()) {
        if (AgentScheduler::shouldLaunchAtLoginByName(tool.name, tool.bundleId))
            report_("at login: " + tool.reason);
    }
}

// A date that is no number is neither before nor after any other: it would hide all that are due.
void Schedules::read() {
    appointments_.clear();
    AgentScheduler::enumerateTools([this](const auto& bundleId, const auto& name, const auto& date) {
        if (bundleId && name && date && std::isfinite(date->secondsSinceReference))
            appointments_.push_back({*date, *bundleId, *name});
    });
}

void Schedules::carryOutDue() {
    std::vector<Appointment> due;
    const Date now = Date::now();
    std::copy_if(appointments_.begin(), appointments_.end(), std::back_inserter(due),
                 [now](const Appointment& one) { return one.date <= now; });
    std::erase_if(appointments_, [now](const Appointment& one) { return one.date <= now; });
    for (const Appointment& one : due)
        carryOut(one);
    waitForNext();
}

void Schedules::carryOut(const Appointment& appointment) {
    std::optional<Date> next;
    if (!takeDate(appointment.bundleId, appointment.name, appointment.date, next))
        return;
    if (next)
        appointments_.push_back({*next, appointment.bundleId, appointment.name});
    launchOrTell(appointment.bundleId, appointment.name);
}

void Schedules::waitForNext() {
    const auto first =
        std::min_element(appointments_.begin(), appointments_.end(),
                         [](const auto& one, const auto& other) { return one.date < other.date; });
    if (first == appointments_.end())
        timer_.stopWaiting();
    else
        timer_.waitFor(first->date);
}

void Schedules::launchOrTell(const std::string& bundleId, const std::string& name) {
    const ToolList::Tool tool = tools_.find(bundleId, name);
    if (!tool)
        return report_("due: " + tools_.refusalOf(name).value_or(name + ", which is not installed"));
    if (tool->sendCommand(ToolMessageDateSchedule, std::nullopt))
        return report_("due: told " + name);
    launch(*tool, "due");
}

// An application that runs already is not started again.
void Schedules::launch(const ToolDataAgentProvider& tool, std::string_view why) {
    const auto process = platform::Workspace::launchApplication(platform::FileUrl(tool.name()),
                                                                platform::LaunchOptions::Hidden);
    const std::string name = displayName(tool);
    if (process)
        report_(platform::formatText("%@: launched %@, process %d", why, name, *process));
    else
        report_(platform::formatText("%@: could not launch %@: %@", why, name, process.error().description));
}

} // namespace kitwell::applications
