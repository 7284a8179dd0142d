#include "KitwellCommon/AgentPresence/AgentAlert.h"

#include "KitwellCommon/Localization.h"
#include "KitwellPlatform/Applications/Bundle.h"
#include "KitwellPlatform/Values/Text.h"

namespace kitwell {

AgentAlert::AgentAlert() {
    setAlertStyle(platform::AlertStyle::Informational);
    const std::string toolName =
        platform::Bundle::main().bundleUrl().deletingPathExtension().lastPathComponent();
    const std::string message = localizedString("Corvalen Kitwell is required for %@ to function properly. "
                                                "Would you like to launch Corvalen Kitwell?");
    setMessageText(platform::formatText(message, toolName));
    addButtonWithTitle(localizedString("Launch Corvalen Kitwell"));
    addButtonWithTitle(localizedString("Quit"));
}

} // namespace kitwell
