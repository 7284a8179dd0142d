#include "Commands.h"

#include <algorithm>
#include <array>
#include <sstream>

#include "KitwellPlatform/Applications/Application.h"
#include "KitwellPlatform/Applications/Workspace.h"
#include "KitwellPlatform/Values/Text.h"
#include "Shared/UsageLog.h"

namespace kitwell::applications {

namespace {

constexpr std::string_view kHelp =
    "commands: click NAME, off NAME, launch NAME, status NAME, list, help, quit";
constexpr std::array<std::string_view, 4> kToolVerbs{"click", "off", "launch", "status"};

} // namespace

void Commands::carryOut(const std::string& line) {
    std::istringstream words(line);
    std::string verb;
    std::string rest;
    words >> verb >> std::ws;
    std::getline(words, rest);
    const std::string name(platform::trimmed(rest));
    if (verb.empty())
        return;
    if (verb == "quit")
        return platform::Application::shared().terminate();
    if (verb == "list")
        return list();
    if (verb == "help")
        return display_.say(kHelp);
    if (std::find(kToolVerbs.begin(), kToolVerbs.end(), verb) == kToolVerbs.end() || name.empty())
        return display_.say("not understood: " + verb + "; " + std::string(kHelp));
    if (const ToolList::Tool tool = tools_.find(name))
        return carryOutFor(verb, *tool);
    display_.say(tools_.refusalOf(name).value_or("no tool is named " + name));
}

void Commands::carryOutFor(const std::string& verb, ToolDataAgentProvider& tool) {
    if (verb == "click")
        sendTo(tool, ToolMessageClickMenuIcon, "clicked");
    else if (verb == "off")
        sendTo(tool, ToolMessageTurnOff, "turned off");
    else if (verb == "launch")
        launch(tool);
    else
        showStatus(tool);
}

void Commands::launch(const ToolDataAgentProvider& tool) {
    const auto process = platform::Workspace::launchApplication(platform::FileUrl(tool.name()),
                                                                platform::LaunchOptions::Default);
    const std::string name = displayName(tool);
    UsageLog::action("Launch", platform::Dictionary{{"tool", tool.bundleId()}},
                     platform::Dictionary{{"done", bool(process)}});
    if (process)
        display_.say(platform::formatText("launched %@: process %d", name, *process));
    else
        display_.say(platform::formatText("could not launch %@: %@", name, process.error().description));
}

void Commands::sendTo(ToolDataAgentProvider& tool, std::uint32_t command, std::string_view what) {
    const std::string name = displayName(tool);
    if (tool.sendCommand(command, std::nullopt))
        display_.say(platform::formatText("%@ %@", what, name));
    else
        display_.say(platform::formatText("%@ does not run", name));
}

void Commands::showStatus(ToolDataAgentProvider& tool) {
    tool.requestStatus();
    display_.say(lineFor(rowFor(tool)));
}

void Commands::list() {
    tools_.discover();
    for (const auto& tool : tools_.tools())
        display_.say(lineFor(rowFor(*tool)));
}

} // namespace kitwell::applications
