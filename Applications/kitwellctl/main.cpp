// The suite at the command line: looks at tools, schedules, grants, the policy and telemetry, acts on them,
// with or without the agent, and exports pictures.

#include <algorithm>
#include <iterator>
#include <new>
#include <optional>
#include <sstream>
#include <vector>

#include "Commands.h"
#include "KitwellPlatform/Values/Text.h"
#include "Output.h"

namespace kitwell::applications {

namespace {

struct CommandLine {
    Format format = Format::Text;
    bool wantsHelp = false;
    std::vector<std::string> words;             // command and arguments
    std::map<std::string, std::string> options; // those of the command, without dashes
};

// "--name=value" and "--name" as name and value.
std::pair<std::string, std::string> readOption(const std::string& text) {
    const std::size_t start = std::min(text.find_first_not_of('-'), text.size());
    const std::size_t equals = std::min(text.find('=', start), text.size());
    return {text.substr(start, equals - start), text.substr(std::min(equals + 1, text.size()))};
}

std::vector<Command> allCommands() {
    std::vector<Command> all;
    for (const auto group : {toolCommands(), scheduleCommands(), grantCommands(), resourceCommands(),
                             loginCommands(), policyCommands(), telemetryCommands(), exportCommands()})
        all.insert(all.end(), group.begin(), group.end());
    return all;
}

std::vector<std::string> wordsOf(std::string_view text) {
    using Word = std::istream_iterator<std::string>;
    std::istringstream stream{std::string(text)};
    return {Word(stream), Word()};
}

// Whether a value belongs to this option and does not stand in it: "--name value".
bool takesNextWord(const std::string& text) {
    const auto takesIt = [&](const Command& command) {
        const auto known = wordsOf(command.options);
        return std::any_of(known.begin(), known.end(),
                           [&](const std::string& option) { return option.starts_with(text + "="); });
    };
    const auto all = allCommands();
    return std::any_of(all.begin(), all.end(), takesIt);
}

CommandLine readCommandLine(std::span<char*> texts) {
    CommandLine line;
    bool areOptionsOver = false;
    for (; !texts.empty(); texts = texts.subspan(1)) {
        const std::string text = texts.front();
        if (areOptionsOver || !text.starts_with('-'))
            line.words.push_back(text);
        else if (text == "--")
            areOptionsOver = true;
        else if (text == "--json")
            line.format = Format::Json;
        else if (text == "--help")
            line.wantsHelp = true;
        else if (texts.size() > 1 && takesNextWord(text)) {
            line.options.insert_or_assign(readOption(text).first, texts[1]);
            texts = texts.subspan(1);
        } else {
            const auto [name, value] = readOption(text);
            line.options.insert_or_assign(name, value);
        }
    }
    return line;
}

// How many of the words begin alike.
std::size_t commonWords(const std::vector<std::string>& left, const std::vector<std::string>& right) {
    const auto end = std::mismatch(left.begin(), left.end(), right.begin(), right.end()).first;
    return static_cast<std::size_t>(end - left.begin());
}

std::string lineFor(const Command& command) {
    std::string call = std::string(command.words) + " " + std::string(command.parameters);
    for (const std::string& option : wordsOf(command.options))
        call += " [" + option + "]";
    constexpr std::size_t kWidth = 30;
    call.resize(std::max(call.size(), kWidth), ' ');
    return "  " + call + " " + std::string(command.purpose) + "\n";
}

// Of the commands that begin with the same word; of all when there are none such.
std::string helpFor(const std::vector<std::string>& words) {
    std::string some;
    std::string all;
    for (const Command& command : allCommands()) {
        all += lineFor(command);
        if (commonWords(words, wordsOf(command.words)) > 0)
            some += lineFor(command);
    }
    return "usage: kitwellctl [--json] [--help] COMMAND [ARGUMENT...]\n" + (some.empty() ? all : some);
}

std::optional<Command> findCommand(const std::vector<std::string>& words) {
    for (const Command& command : allCommands()) {
        const auto own = wordsOf(command.words);
        if (commonWords(own, words) == own.size())
            return command;
    }
    return std::nullopt;
}

// The first option that the command does not take, or takes only with, or only without, a value.
std::optional<std::string> unknownOption(const Command& command, const CommandLine& line) {
    const auto known = wordsOf(command.options);
    for (const auto& given : line.options) {
        const auto isIt = [&](const std::string& option) {
            const std::size_t equals = option.find('=');
            return option.substr(0, equals) == "--" + given.first &&
                   (equals == std::string::npos) == given.second.empty();
        };
        if (std::none_of(known.begin(), known.end(), isIt))
            return given.first;
    }
    return std::nullopt;
}

Answer carryOut(const CommandLine& line) {
    const auto command = findCommand(line.words);
    if (!command)
        return Answer::usage(line.words.empty() ? "no command; see --help" : "no such command; see --help");
    if (const auto unknown = unknownOption(*command, line))
        return Answer::usage("unknown option --" + *unknown + ", or one without its value; see --help");
    const auto arguments = std::span(line.words).subspan(wordsOf(command->words).size());
    if (arguments.size() != wordsOf(command->parameters).size())
        return Answer::usage("usage: kitwellctl " + std::string(command->words) + " " +
                             std::string(command->parameters));
    try {
        return command->run({arguments, line.options});
    } catch (const std::bad_alloc&) {
        return Answer::failed("there is not enough memory");
    }
}

ExitCode runProgram(std::span<char*> texts) {
    const CommandLine line = readCommandLine(texts);
    if (line.wantsHelp)
        return printHelp(helpFor(line.words));
    return print(carryOut(line), line.format);
}

} // namespace

} // namespace kitwell::applications

int main(int count, char** texts) {
    const std::span<char*> all(texts, static_cast<std::size_t>(count));
    return static_cast<int>(kitwell::applications::runProgram(all.subspan(count > 0 ? 1 : 0)));
}
