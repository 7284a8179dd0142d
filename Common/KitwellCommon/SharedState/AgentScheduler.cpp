#include "KitwellCommon/SharedState/AgentScheduler.h"

#include <cmath>
#include <map>

#include "KitwellCommon/Logging/KWLog.h"
#include "KitwellCommon/SharedState/AppGroup.h"
#include "KitwellCommon/SharedState/SchedulerStore.h"
#include "KitwellPlatform/RunLoop/DistributedNotificationCenter.h"

namespace kitwell {

using platform::Array;
using platform::Date;
using platform::Dictionary;
using platform::DistributedNotificationCenter;
using platform::Value;

namespace {

constexpr char kLegacyKey[] = "AgentScheduler";

bool isTrue(const Dictionary& entry, std::string_view key) {
    const Value* value = entry.find(key);
    return value && value->truth();
}

std::optional<std::string> textUnder(const Dictionary& entry, std::string_view key) {
    const std::string* text = entry.findText(key);
    return text ? std::optional(*text) : std::nullopt;
}

std::optional<Date> dateUnder(const Dictionary& entry, std::string_view key) {
    const Value* value = entry.find(key);
    const Date* date = value ? value->asDate() : nullptr;
    return date ? std::optional(*date) : std::nullopt;
}

using Observers = std::map<const void*, DistributedNotificationCenter::Subscription>;

Observers& updateObservers() {
    static Observers observers;
    return observers;
}

} // namespace

void AgentScheduler::enumerateTools(const Visitor& visitor) {
    Array entries;
    accessAppGroupPlist([&](platform::UserDefaults& preferences) {
        entries = preferences.arrayForKey(kSchedulerKey).value_or(Array());
    });
    for (const Value& value : entries) {
        const Dictionary* entry = value.asDictionary();
        if (entry && isTrue(*entry, kScheduleAtDate))
            visitor(textUnder(*entry, kScheduleBundleId), textUnder(*entry, kScheduleName),
                    dateUnder(*entry, kScheduleDate));
    }
}

void AgentScheduler::cancelScheduleByName(std::string_view name, std::string_view bundleId) {
    updateSchedulerPlist(bundleId, name, [](Dictionary& entry) {
        entry.remove(kScheduleDate);
        entry.remove(kScheduleAtDate);
    });
}

bool AgentScheduler::shouldLaunchAtLoginByName(std::string_view name, std::string_view bundleId) {
    bool atLogin = false;
    readSchedulerPlist(bundleId, name,
                       [&](const Dictionary& entry) { atLogin = isTrue(entry, kScheduleAtLogin); });
    return atLogin;
}

void AgentScheduler::scheduleToolAtDate(Date date, std::string_view bundleId, std::string_view name) {
    if (!std::isfinite(date.secondsSinceReference))
        return KWLogVariadic("A launch of %@ is not scheduled: its date is not finite", name);
    updateSchedulerPlist(bundleId, name, [date](Dictionary& entry) {
        entry.set(kScheduleAtDate, true);
        entry.set(kScheduleDate, date);
        entry.set(kScheduleInterval, 0);
    });
    DistributedNotificationCenter::defaultCenter().post(kSchedulerUpdateNotification);
}

void AgentScheduler::upgradeSchedulerData() {
    platform::UserDefaults& own = platform::UserDefaults::standard();
    const auto legacy = own.arrayForKey(kLegacyKey);
    if (!legacy)
        return;
    accessAppGroupPlist([&](platform::UserDefaults& preferences) {
        preferences.setObjectForKey(*legacy, kSchedulerKey);
        preferences.synchronize();
    });
    own.removeObjectForKey(kLegacyKey);
    own.synchronize();
}

void AgentScheduler::addUpdateObserver(const void* observer, std::function<void()> operation) {
    updateObservers()[observer] = DistributedNotificationCenter::defaultCenter().observe(
        kSchedulerUpdateNotification, [operation = std::move(operation)](std::string_view) { operation(); });
}

void AgentScheduler::removeUpdateObserver(const void* observer) {
    updateObservers().erase(observer);
}

} // namespace kitwell
