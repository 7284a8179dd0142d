#pragma once

#include <memory>
#include <string_view>
#include <vector>

#include "KitwellCommon/KitwellCommon.h"

namespace kitwell::applications {

// The tools that the agent knows: one proxy for each tool bundle in the application folders. Main thread.
class ToolList {
public:
    using Tool = std::shared_ptr<ToolDataAgentProvider>;

    // Looks for bundles that are not known yet, and asks each new tool for all that the agent shows.
    void discover();
    const std::vector<Tool>& tools() const { return tools_; }
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
};

// "Clock" for the tool in "/…/Clock.app".
std::string displayName(const ToolDataAgentProvider& tool);

} // namespace kitwell::applications
