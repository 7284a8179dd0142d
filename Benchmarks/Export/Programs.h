#pragma once

#include <optional>
#include <string>
#include <vector>

namespace kitwell::benchmarks {

// Seconds from the start of a program to its end; nothing when it is not there or fails. What it says is not
// shown.
std::optional<double> timeProgram(const std::vector<std::string>& command);

} // namespace kitwell::benchmarks
