#include "Commands.h"
#include "InstalledTool.h"
#include "KitwellCommon/KitwellCommon.h"
#include "KitwellPlatform/Applications/Workspace.h"
#include "KitwellPlatform/Ports/PortNameServer.h"
#include "QuietLog.h"
#include "Shared/Policy.h"

namespace kitwell::applications {

namespace {

using platform::Dictionary;

std::string storedStatus(const InstalledTool& tool) {
    const std::string file = platform::FileUrl(tool.path).lastPathComponent();
    return ToolPersistentDataReader(file, tool.identifier).isPermanent() ? "permanent" : "off";
}

Answer listTools(const Call&) {
    platform::Array rows;
    for (const InstalledTool& tool : InstalledTool::all())
        rows.emplace_back(Dictionary{{"name", tool.name},
                                     {"identifier", tool.identifier},
                                     {"running", tool.isRunning()},
                                     {"status", storedStatus(tool)},
                                     {"path", tool.path}});
    return Answer::list(std::move(rows));
}

Answer launchTool(const InstalledTool& tool) {
    const QuietLog quiet;
    if (auto refusal = refusalOfTool(tool.name, tool.identifier))
        return Answer::failed(*std::move(refusal));
    const auto process = platform::Workspace::launchApplication(platform::FileUrl(tool.path),
                                                                platform::LaunchOptions::Default);
    if (!process)
        return Answer::failed(process.error().description);
    return Answer::done(platform::formatText("%@ runs: process %d", tool.name, *process),
                        {{"name", tool.name}, {"process", *process}});
}

// The agent need not run: the command goes to the tool's own port.
Answer sendTo(const InstalledTool& tool, std::uint32_t command, std::string_view what) {
    const auto port = platform::PortNameServer::systemDefault().portForName(toolPortName(tool.path));
    if (!port)
        return Answer::failed(tool.name + " does not run");
    if (sendToolMessage(*port, commandMessage(command, std::nullopt), Direction::ToTool) !=
        SendOutcome::Queued)
        return Answer::failed(tool.name + " does not take the command");
    return Answer::done(platform::formatText("%@ %@", what, tool.name), {{"name", tool.name}});
}

Answer launch(const Call& call) {
    return forTool(call[0], launchTool);
}

Answer turnOff(const Call& call) {
    return forTool(call[0],
                   [](const InstalledTool& tool) { return sendTo(tool, ToolMessageTurnOff, "turned off"); });
}

Answer click(const Call& call) {
    return forTool(
        call[0], [](const InstalledTool& tool) { return sendTo(tool, ToolMessageClickMenuIcon, "clicked"); });
}

constexpr Command kCommands[] = {
    {"tools", "", "list the installed tools", listTools},
    {"launch", "NAME", "launch a tool, if it does not run yet", launch},
    {"off", "NAME", "turn a running tool off", turnOff},
    {"click", "NAME", "click the menu icon of a running tool", click},
};

} // namespace

std::span<const Command> toolCommands() {
    return kCommands;
}

} // namespace kitwell::applications
