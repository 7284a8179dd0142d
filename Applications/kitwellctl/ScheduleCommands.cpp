#include <charconv>
#include <cmath>
#include <optional>

#include "Commands.h"
#include "InstalledTool.h"
#include "KitwellCommon/KitwellCommon.h"
#include "KitwellPlatform/Preferences/UserDefaults.h"
#include "KitwellPlatform/RunLoop/DistributedNotificationCenter.h"
#include "Shared/Words.h"

namespace kitwell::applications {

namespace {

using platform::Date;
using platform::Dictionary;
using platform::Value;

constexpr std::string_view kFromNow = "now+";

// A number of seconds that is more than zero and leads to a date.
std::optional<double> readSeconds(std::string_view text) {
    double seconds = 0;
    const auto [end, failure] = std::from_chars(text.data(), text.data() + text.size(), seconds);
    const bool isNumber = failure == std::errc() && end == text.data() + text.size();
    return isNumber && seconds > 0 && Date::now().adding(seconds).calendar() ? std::optional(seconds)
                                                                             : std::nullopt;
}

std::optional<Date> readDate(std::string_view text) {
    if (!text.starts_with(kFromNow))
        return Date::fromIso8601(text);
    const auto seconds = readSeconds(text.substr(kFromNow.size()));
    return seconds ? std::optional(Date::now().adding(*seconds)) : std::nullopt;
}

void tellAgent() {
    platform::DistributedNotificationCenter::defaultCenter().post(kSchedulerUpdateNotification);
}

// A copy of the entries that are any.
std::vector<Dictionary> storedEntries() {
    std::vector<Dictionary> entries;
    accessAppGroupPlist([&](platform::UserDefaults& preferences) {
        for (const Value& value : preferences.arrayForKey(kSchedulerKey).value_or(platform::Array())) {
            if (const Dictionary* entry = value.asDictionary())
                entries.push_back(*entry);
        }
    });
    return entries;
}

std::string textUnder(const Dictionary& entry, std::string_view key) {
    const std::string* text = entry.findText(key);
    return text ? *text : "";
}

Value valueUnder(const Dictionary& entry, std::string_view key) {
    const Value* value = entry.find(key);
    return value ? *value : Value();
}

// Whether the store holds this by now under the key of the tool's entry: a change that could not be written
// does not show.
bool isStored(std::string_view bundleId, std::string_view name, std::string_view key, const Value& value) {
    bool isThere = false;
    readSchedulerPlist(bundleId, name,
                       [&](const Dictionary& entry) { isThere = valueUnder(entry, key) == value; });
    return isThere;
}

Answer notStored() {
    return Answer::failed("the store of launch schedules cannot be written");
}

Answer listSchedules(const Call&) {
    platform::Array rows;
    for (const Dictionary& entry : storedEntries())
        rows.emplace_back(Dictionary{{"name", valueUnder(entry, kScheduleName)},
                                     {"identifier", valueUnder(entry, kScheduleBundleId)},
                                     {"armed", valueUnder(entry, kScheduleAtDate).truth()},
                                     {"date", valueUnder(entry, kScheduleDate)},
                                     {"interval", valueUnder(entry, kScheduleInterval)},
                                     {"login", valueUnder(entry, kScheduleAtLogin).truth()}});
    return Answer::list(std::move(rows));
}

Answer launchAt(const Call& call) {
    const auto date = readDate(call[1]);
    if (!date)
        return Answer::usage("no date: " + call[1] + " (YYYY-MM-DDThh:mm:ssZ or now+SECONDS)");
    return forTool(call[0], [&](const InstalledTool& tool) {
        AgentScheduler::scheduleToolAtDate(*date, tool.identifier, tool.name);
        if (!isStored(tool.identifier, tool.name, kScheduleDate, *date))
            return notStored();
        return Answer::done(tool.name + " is launched at " + date->iso8601().value_or(call[1]),
                            {{"name", tool.name}, {"date", *date}});
    });
}

Answer launchEvery(const Call& call) {
    const auto interval = readSeconds(call[1]);
    if (!interval)
        return Answer::usage("no number of seconds above zero: " + call[1]);
    return forTool(call[0], [&](const InstalledTool& tool) {
        const Date first = Date::now().adding(*interval);
        updateSchedulerPlist(tool.identifier, tool.name, [&](Dictionary& entry) {
            entry.set(kScheduleAtDate, true);
            entry.set(kScheduleDate, first);
            entry.set(kScheduleInterval, *interval);
        });
        if (!isStored(tool.identifier, tool.name, kScheduleDate, first))
            return notStored();
        tellAgent();
        return Answer::done(tool.name + " is launched every " + call[1] + " seconds",
                            {{"name", tool.name}, {"date", first}, {"interval", *interval}});
    });
}

// The tool may be gone from the disk by now: what counts is its entry.
Answer cancel(const Call& call) {
    for (const Dictionary& entry : storedEntries()) {
        const std::string name = textUnder(entry, kScheduleName);
        const std::string bundleId = textUnder(entry, kScheduleBundleId);
        const bool isArmed = valueUnder(entry, kScheduleAtDate).truth() && !bundleId.empty();
        if (!isArmed || !isSameName(name, call[0]))
            continue;
        AgentScheduler::cancelScheduleByName(name, bundleId);
        if (!isStored(bundleId, name, kScheduleAtDate, Value()))
            return notStored();
        tellAgent();
        return Answer::done(name + " is not launched by date any more", {{"name", name}});
    }
    return Answer::failed("no launch by date is armed for " + call[0]);
}

Answer launchAtLogin(const Call& call) {
    const bool isWanted = call[1] == "on";
    if (!isWanted && call[1] != "off")
        return Answer::usage("neither on nor off: " + call[1]);
    return forTool(call[0], [&](const InstalledTool& tool) {
        updateSchedulerPlist(tool.identifier, tool.name,
                             [&](Dictionary& entry) { entry.set(kScheduleAtLogin, isWanted); });
        if (!isStored(tool.identifier, tool.name, kScheduleAtLogin, isWanted))
            return notStored();
        return Answer::done(tool.name + (isWanted ? " is launched at login" : " is not launched at login"),
                            {{"name", tool.name}, {"login", isWanted}});
    });
}

constexpr Command kCommands[] = {
    {"schedule list", "", "list what is stored for each tool", listSchedules},
    {"schedule at", "NAME DATE", "launch a tool once, at YYYY-MM-DDThh:mm:ssZ or now+SECONDS", launchAt},
    {"schedule every", "NAME SECONDS", "launch a tool again and again", launchEvery},
    {"schedule cancel", "NAME", "cancel the launches by date", cancel},
    {"schedule login", "NAME on|off", "launch a tool at login, or not", launchAtLogin},
};

} // namespace

std::span<const Command> scheduleCommands() {
    return kCommands;
}

} // namespace kitwell::applications
