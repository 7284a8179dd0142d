#include "ToolList.h"

#include <algorithm>

#include "KitwellPlatform/Applications/Workspace.h"
#include "Shared/Policy.h"
#include "Shared/Words.h"

namespace kitwell::applications {

void ToolList::discover() {
    for (const platform::Bundle& bundle : platform::Workspace::applications()) {
        if (!bundle.identifier().starts_with(kToolIdentifierPrefix) || knows(bundle.bundleUrl().path()))
            continue;
        const std::string name = bundle.bundleUrl().deletingPathExtension().lastPathComponent();
        if (auto refusal = refusalOfTool(name, bundle.identifier())) {
            forbidden_.push_back({bundle.bundleUrl().path(), name, bundle.identifier(), *std::move(refusal)});
            continue;
        }
        const Tool tool = ToolDataAgentProvider::create();
        tool->setupWithToolURL(bundle.bundleUrl(), bundle.identifier());
        tools_.push_back(tool);
        tool->setToolIconNeeded(true);
        tool->setMenuIconNeeded(true);
        tool->requestStatus();
    }
}

template <class Matches>
ToolList::Tool ToolList::findWhere(Matches matches) {
    auto found = std::find_if(tools_.begin(), tools_.end(), matches);
    if (found == tools_.end()) {
        discover();
        found = std::find_if(tools_.begin(), tools_.end(), matches);
    }
    return found == tools_.end() ? nullptr : *found;
}

ToolList::Tool ToolList::find(std::string_view name) {
    return findWhere([name](const Tool& tool) { return isSameName(displayName(*tool), name); });
}

ToolList::Tool ToolList::find(std::string_view bundleId, std::string_view name) {
    return findWhere(
        [&](const Tool& tool) { return tool->bundleId() == bundleId && displayName(*tool) == name; });
}

std::optional<std::string> ToolList::refusalOf(std::string_view name) const {
    const auto found = std::find_if(forbidden_.begin(), forbidden_.end(),
                                    [name](const Forbidden& tool) { return isSameName(tool.name, name); });
    return found != forbidden_.end() ? std::optional(found->reason) : std::nullopt;
}

bool ToolList::knows(const std::string& path) const {
    return std::any_of(tools_.begin(), tools_.end(),
                       [&](const Tool& tool) { return tool->name() == path; }) ||
           std::any_of(forbidden_.begin(), forbidden_.end(),
                       [&](const Forbidden& tool) { return tool.path == path; });
}

std::string displayName(const ToolDataAgentProvider& tool) {
    return platform::FileUrl(tool.name()).deletingPathExtension().lastPathComponent();
}

} // namespace kitwell::applications
