#include "Policy.h"

#include <algorithm>

#include "KitwellCommon/KitwellCommon.h"
#include "KitwellPlatform/Applications/Bundle.h"
#include "KitwellPlatform/Interface/Alert.h"

namespace kitwell::applications {

std::optional<std::string> refusalOfTool(std::string_view name, std::string_view bundleId) {
    auto whiteList = ToolWhiteList::sharedInstance();
    if (!whiteList)
        whiteList = ToolWhiteList::createSharedInstance();
    if (whiteList->isToolAllowedWithBundleId(bundleId))
        return std::nullopt;
    const auto catalogue = toolCatalogue();
    const bool isKnown = std::find(catalogue.begin(), catalogue.end(), bundleId) != catalogue.end();
    return platform::formatText(isKnown ? "%@ is not allowed on this computer: the administrator's list of "
                                          "tools does not name it"
                                        : "%@ is not allowed: it is no tool of the suite",
                                name);
}

bool checkToolIsAllowed() {
    const platform::Bundle& bundle = platform::Bundle::main();
    const auto refusal =
        refusalOfTool(bundle.bundleUrl().deletingPathExtension().lastPathComponent(), bundle.identifier());
    if (!refusal)
        return true;
    KWLogVariadic("%@", *refusal);
    platform::Alert alert;
    alert.setMessageText(*refusal);
    alert.addButtonWithTitle("Quit");
    alert.runModal();
    return false;
}

} // namespace kitwell::applications
