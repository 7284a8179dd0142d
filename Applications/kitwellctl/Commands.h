#pragma once

#include <span>
#include <string>
#include <string_view>

#include "Answer.h"

namespace kitwell::applications {

using Arguments = std::span<const std::string>;

// One command of the program, known by one or two words.
struct Command {
    std::string_view words;
    std::string_view parameters; // one word each
    std::string_view purpose;
    Answer (*run)(Arguments arguments); // as many as there are parameters
};

// One group for each file of this name.
std::span<const Command> toolCommands();
std::span<const Command> scheduleCommands();
std::span<const Command> grantCommands();

} // namespace kitwell::applications
