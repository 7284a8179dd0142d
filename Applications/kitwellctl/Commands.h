#pragma once

#include <map>
#include <span>
#include <string>
#include <string_view>

#include "Answer.h"

namespace kitwell::applications {

// What follows the words of a command: its arguments, and the options that it knows.
struct Call {
    std::span<const std::string> arguments;
    std::map<std::string, std::string> options; // "--name" or "--name=value" by their name, without dashes

    const std::string& operator[](std::size_t index) const { return arguments[index]; }
    bool has(const std::string& option) const { return options.contains(option); }
};

// One command of the program, known by one or two words.
struct Command {
    std::string_view words;
    std::string_view parameters; // one word each
    std::string_view purpose;
    Answer (*run)(const Call& call); // with as many arguments as there are parameters
    std::string_view options = {};   // one word each: "--name", or "--name=VALUE" where it takes a value
};

// One group for each file of this name.
std::span<const Command> toolCommands();
std::span<const Command> scheduleCommands();
std::span<const Command> grantCommands();
std::span<const Command> resourceCommands();
std::span<const Command> loginCommands();
std::span<const Command> policyCommands();
std::span<const Command> exportCommands();
std::span<const Command> telemetryCommands();

} // namespace kitwell::applications
