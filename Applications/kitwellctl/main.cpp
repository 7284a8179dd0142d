// The suite at the command line: looks at tools, schedules and grants, and acts on them, with or without the
// agent.

#include <algorithm>
#include <iterator>
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
    std::vector<std::string> words; // command and arguments
    std::string unknownOption;
};

CommandLine readCommandLine(std::span<char*> texts) {
    CommandLine line;
    bool areOptionsOver = false;
    for (const std::string text : texts) {
        if (areOptionsOver || !text.starts_with('-'))
            line.words.push_back(text);
        else if (text == "--")
            areOptionsOver = true;
        else if (text == "--json")
            line.format = Format::Json;
        else if (text == "--help")
            line.wantsHelp = true;
        else
            line.unknownOption = text;
    }
    return line;
}

std::vector<Command> allCommands() {
    std::vector<Command> all;
    for (const auto group : {toolCommands(), scheduleCommands(), grantCommands()})
        all.insert(all.end(), group.begin(), group.end());
    return all;
}

std::vector<std::string> wordsOf(std::string_view text) {
    using Word = std::istream_iterator<std::string>;
    std::istringstream stream{std::string(text)};
    return {Word(stream), Word()};
}

// How many of the words begin alike.
std::size_t commonWords(const std::vector<std::string>& left, const std::vector<std::string>& right) {
    const auto end = std::mismatch(left.begin(), left.end(), right.begin(), right.end()).first;
    return static_cast<std::size_t>(end - left.begin());
}

std::string lineFor(const Command& command) {
    std::string call = std::string(command.words) + " " + std::string(command.parameters);
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

Answer carryOut(const CommandLine& line) {
    if (!line.unknownOption.empty())
        return Answer::usage("unknown option " + line.unknownOption);
    const auto command = findCommand(line.words);
    if (!command)
        return Answer::usage(line.words.empty() ? "no command; see --help" : "no such command; see --help");
    const auto arguments = Arguments(line.words).subspan(wordsOf(command->words).size());
    if (arguments.size() != wordsOf(command->parameters).size())
        return Answer::usage("usage: kitwellctl " + std::string(command->words) + " " +
                             std::string(command->parameters));
    return command->run(arguments);
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
