#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "KitwellPlatform/Values/Json.h"

namespace kitwell::applications {

// Something in the policy that an administrator will want to set right.
struct PolicyFinding {
    std::optional<platform::JsonPosition> position; // in the file, where it is known
    std::string text;                               // a sentence without a full stop
};

// Looks at the content, the owner and the mode of a settings file and of the folders that lead to it; what is
// not there has no findings.
std::vector<PolicyFinding> checkPolicy(const std::string& path);

// The names of the suite's tools, in the order of the catalogue.
std::vector<std::string> toolNames();

// Why the text is no name of a tool, with the nearest that is one; nothing when it is one.
std::optional<std::string> faultOfToolName(std::string_view name);

} // namespace kitwell::applications
