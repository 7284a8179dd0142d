#include "KitwellCommon/AgentPresence/ToolRequirements.h"

#include "KitwellCommon/AgentPresence/AgentAlert.h"
#include "KitwellCommon/ToolDataProvider/ToolMessage.h"
#include "KitwellPlatform/Applications/Application.h"
#include "KitwellPlatform/Applications/Bundle.h"
#include "KitwellPlatform/Applications/RunningApplication.h"
#include "KitwellPlatform/Applications/Workspace.h"

namespace kitwell {

namespace {

bool declaresNeedOfAgent() {
    const platform::Value* capabilities =
        platform::Bundle::main().objectForInfoDictionaryKey("ToolCapabilities");
    const platform::Dictionary* declared = capabilities ? capabilities->asDictionary() : nullptr;
    const platform::Value* needsAgent = declared ? declared->find("NeedAgentForWork") : nullptr;
    return needsAgent && needsAgent->truth();
}

bool userChoosesToQuit() {
    platform::Application::shared().activateIgnoringOtherApps(true);
    return AgentAlert().runModal() == platform::kAlertSecondButtonReturn;
}

} // namespace

bool ToolRequirements::checkToolCanRun() {
    return checkToolCanRun(false);
}

bool ToolRequirements::checkToolCanRun(bool force) {
    if (!declaresNeedOfAgent() && !force)
        return true;
    if (!platform::RunningApplication::withBundleIdentifier(kAgentBundleIdentifier).empty())
        return true;
    if (!force && userChoosesToQuit())
        return false;
    return static_cast<bool>(
        platform::Workspace::launchApplication(kAgentBundleIdentifier, platform::LaunchOptions::Hidden));
}

} // namespace kitwell
