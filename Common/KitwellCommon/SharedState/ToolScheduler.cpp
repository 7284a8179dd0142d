#include "KitwellCommon/SharedState/ToolScheduler.h"

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
