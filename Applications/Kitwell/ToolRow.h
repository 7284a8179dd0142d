#pragma once

#include <string>
#include <vector>

#include "KitwellCommon/KitwellCommon.h"

namespace kitwell::applications {

// What the agent shows of one tool, as texts that are safe for a terminal: control characters are replaced.
struct ToolRow {
    std::string name;
    std::string icon;     // "64x64", or "-"
    std::string menuIcon; // "18x18 template", or "-"
    std::string menuText; // "-" when there is none
    std::string status;   // "off", "on", "permanent", or the number that the tool sent
    std::string launched; // "yes", "no"
    std::string port;     // "open", "closed"

    friend bool operator==(const ToolRow&, const ToolRow&) = default;
};

ToolRow rowFor(const ToolDataAgentProvider& tool);

// One line for output that is no terminal: `Clock: status on, text "12:00:01", icon 64x64, …`.
std::string lineFor(const ToolRow& row);

// A heading and a line for each row, in columns; longer texts are cut to fit into `width` characters.
std::vector<std::string> tableFor(const std::vector<ToolRow>& rows, std::size_t width);

} // namespace kitwell::applications
