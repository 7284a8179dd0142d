#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace kitwell::applications {

// Why the administrator does not let this tool be used, as a sentence that names it; nothing when it may be.
// The white list is read once in the life of the process. Main thread.
std::optional<std::string> refusalOfTool(std::string_view name, std::string_view bundleId);

// For the beginning of a tool: false, after it was said in the log and to the person, when this tool must not
// run on this machine. Main thread.
bool checkToolIsAllowed();

} // namespace kitwell::applications
