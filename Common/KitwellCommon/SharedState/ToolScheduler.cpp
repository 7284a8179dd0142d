#include "KitwellCommon/SharedState/ToolScheduler.h"

#include <cmath>

#include "KitwellCommon/Logging/KWLog.h"
#include "KitwellCommon/SharedState/SchedulerStore.h"
#include "KitwellPlatform/RunLoop/DistributedNotificationCenter.h"

namespace kitwell {

namespace {

void tellAgent() {
    platform::DistributedNotificationCenter::defaultCenter().post(kSchedulerUpdateNotification);
}

} // namespace

void ToolScheduler::scheduleAtLogin(bool isWanted) {
    updateSchedulerForThisTool(
        [isWanted](platform::Dictionary& entry) { entry.set(kScheduleAtLogin, isWanted); });
}

void ToolScheduler::scheduleAtDate(platform::Date date, double repeat) {
    if (!std::isfinite(date.secondsSinceReference))
        return KWLogVariadic("A launch is not scheduled: its date is not finite");
    updateSchedulerForThisTool([&](platform::Dictionary& entry) {
        entry.set(kScheduleAtDate, true);
        entry.set(kScheduleDate, date);
        entry.set(kScheduleInterval, repeat);
    });
    tellAgent();
}

void ToolScheduler::cancelDateSchedule() {
    updateSchedulerForThisTool([](platform::Dictionary& entry) { entry.set(kScheduleAtDate, false); });
    tellAgent();
}

} // namespace kitwell
