#include "Shared/UsageLog.h"

#include "KitwellCommon/Telemetry/CEPLogClass.h"
#include "KitwellPlatform/Applications/Application.h"

namespace kitwell::applications {

UsageLog::UsageLog()
    : end_(platform::NotificationCenter::defaultCenter().observe(
          platform::kApplicationWillTerminateNotification, nullptr,
          [](const platform::Notification&) { action("Stop"); })) {
    action("Start");
}

void UsageLog::action(std::string_view name, const platform::Value& options, const platform::Value& details) {
    if (const CEPLogClass* telemetry = CEPLogClass::sharedInstance())
        telemetry->log(name, options, details);
}

} // namespace kitwell::applications
