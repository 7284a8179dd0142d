#pragma once

#include <string>

#include "Display.h"
#include "ToolList.h"

namespace kitwell::applications {

// What a person can type to the agent: `click NAME`, `off NAME`, `launch NAME`, `status NAME`, `list`,
// `help`, `quit`. Each goes out through the tool's proxy and is answered on the display.
class Commands {
public:
    Commands(ToolList& tools, Display& display) : tools_(tools), display_(display) {}

    void carryOut(const std::string& line);

private:
    void carryOutFor(const std::string& verb, ToolDataAgentProvider& tool);
    void launch(const ToolDataAgentProvider& tool);
    void sendTo(ToolDataAgentProvider& tool, std::uint32_t command, std::string_view what);
    void showStatus(ToolDataAgentProvider& tool);
    void list();

    ToolList& tools_;
    Display& display_;
};

} // namespace kitwell::applications
