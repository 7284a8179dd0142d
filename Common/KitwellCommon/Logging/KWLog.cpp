#include "KitwellCommon/Logging/KWLog.h"

#include "KitwellPlatform/Applications/Bundle.h"
#include "KitwellPlatform/Files/SearchPaths.h"
#include "KitwellPlatform/Machine/Environment.h"
#include "KitwellPlatform/Preferences/UserDefaults.h"

namespace kitwell {

namespace {

bool askWhetherExtendedLoggingIsOn() {
    if (const auto value = platform::environmentVariable("KITWELL_EXTENDED_LOGGING"))
        return !value->empty() && *value != "0";
    // An object of its own: the standard one belongs to one thread at a time.
    const std::string identifier = platform::Bundle::main().identifier();
    const auto preferences = platform::UserDefaults::forApplication(
        identifier.empty() ? platform::FileUrl(platform::SearchPaths::executable()).lastPathComponent()
                           : identifier);
    return preferences.boolForKey("ExtendedLogging").value_or(false);
}

} // namespace

bool KWIsExtendedLoggingOn() {
    static const bool isOn = askWhetherExtendedLoggingIsOn();
    return isOn;
}

} // namespace kitwell
