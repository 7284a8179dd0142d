#include "KitwellCommon/Logging/KWLog.h"

#include "KitwellPlatform/Machine/Environment.h"
#include "KitwellPlatform/Preferences/UserDefaults.h"

namespace kitwell {

namespace {

bool askWhetherExtendedLoggingIsOn() {
    if (const auto value = platform::environmentVariable("KITWELL_EXTENDED_LOGGING"))
        return !value->empty() && *value != "0";
    return platform::UserDefaults::forMainApplication().boolForKey("ExtendedLogging").value_or(false);
}

} // namespace

bool KWIsExtendedLoggingOn() {
    static const bool isOn = askWhetherExtendedLoggingIsOn();
    return isOn;
}

} // namespace kitwell
