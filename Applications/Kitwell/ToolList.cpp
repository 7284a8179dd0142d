#include "ToolList.h"

#include <algorithm>
#include <cctype>

#include "KitwellPlatform/Applications/Workspace.h"

namespace kitwell::applications {

namespace {

constexpr std::string_view kToolIdentifierPrefix = "com.corvalen.kitwell.";
constexpr std::string_view kBundleExtension = ".app";

bool equalIgnoringCase(std::string_view left, std::string_view right) {
    return std::equal(
        left.begin(), left.end(), right.begin(), right.end(),
        [](unsigned char one, unsigned char other) { return std::tolower(one) == std::tolower(other); });
}

} // namespace

void ToolList::discover() {
    for (const platform::Bundle& bundle : platform::Workspace::applications()) {
        if (!bundle.identifier().starts_with(kToolIdentifierPrefix) || knows(bundle.bundleUrl().path()))
            continue;
        const Tool tool = ToolDataAgentProvider::create();
        tool->setupWithToolURL(bundle.bundleUrl(), bundle.identifier());
        tools_.push_back(tool);
        tool->setToolIconNeeded(true);
        tool->setMenuIconNeeded(true);
        tool->requestStatus();
    }
}

ToolList::Tool ToolList::find(std::string_view name) {
    if (Tool tool = findKnown(name))
        return tool;
    discover();
    return findKnown(name);
}

ToolList::Tool ToolList::findKnown(std::string_view name) const {
    const auto found = std::find_if(tools_.begin(), tools_.end(), [&](const Tool& tool) {
        return equalIgnoringCase(displayName(*tool), name);
    });
    return found == tools_.end() ? nullptr : *found;
}

bool ToolList::knows(const std::string& path) const {
    return std::any_of(tools_.begin(), tools_.end(), [&](const Tool& tool) { return tool->name() == path; });
}

std::string displayName(const ToolDataAgentProvider& tool) {
    std::string name = platform::FileUrl(tool.name()).lastPathComponent();
    if (name.ends_with(kBundleExtension))
        name.resize(name.size() - kBundleExtension.size());
    return name;
}

} // namespace kitwell::applications
