#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "KitwellCommon/KitwellCommon.h"

namespace kitwell::applications {

// The tools that the agent knows: one proxy for each tool bundle in the application folders that the
// administrator lets be used. Main thread.
class ToolList {
public:
    using Tool = std::shared_ptr<ToolDataAgentProvider>;

    // Looks for bundles that are not known yet, and asks each new tool for all that the agent shows.
    void discover();
    const std::vector<Tool>& tools() const { return tools_; }
    // Bundles of tools that must not be used on this machine: nothing is shown of them.
    struct Forbidden {
        std::string path;
        std::string name;
        std::string bundleId;
        std::string reason; // a sentence
    };
    const std::vector<Forbidden>& forbidden() const { return forbidden_; }
    // Why the tool with this name must not be used; nothing when there is no such bundle.
    std::optional<std::string> refusalOf(std::string_view name) const;
    // The tool with this name, upper and lower case alike; when there is none, after one more look for new
    // bundles. Null when there still is none.
    Tool find(std::string_view name);
    // The tool with exactly this bundle identifier and name; the same second look.
    Tool find(std::string_view bundleId, std::string_view name);

private:
    template <class Matches>
    Tool findWhere(Matches matches);
    bool knows(const std::string& path) const;

    std::vector<Tool> tools_;
    std::vector<Forbidden> forbidden_;
};

// "Clock" for the tool in "/…/Clock.app".
std::string displayName(const ToolDataAgentProvider& tool);

} // namespace kitwell::applications
