// The agent: lists the tools of the suite with what each presents, passes on the commands of the person at
// the terminal, carries the tools' launch schedules out, asks for access to folders on their behalf, and has
// the reports of usage collected.

#include <cerrno>
#include <cstdio>
#include <optional>
#include <string_view>

#include "CommandReader.h"
#include "Commands.h"
#include "Display.h"
#include "KitwellCommon/Telemetry/CEPLogClass.h"
#include "KitwellPlatform/Applications/Application.h"
#include "KitwellPlatform/Files/LockedFile.h"
#include "KitwellPlatform/Files/SearchPaths.h"
#include "KitwellPlatform/Interface/Dialogs.h"
#include "Schedules.h"
#include "Shared/UsageLog.h"
#include "ToolList.h"

namespace kitwell::applications {

namespace {

// A second agent would not get the service port's name, and no tool would reach it. The lock lasts as long as
// the process, so of two that start at the same moment one wins.
std::optional<platform::LockedFile> becomeTheAgent() {
    const auto folder = platform::SearchPaths::runtimeFolder();
    if (!folder) {
        std::fprintf(stderr, "%s\n", folder.error().description.c_str());
        return std::nullopt;
    }
    auto lock = platform::LockedFile::lockFile(*folder + "/agent.lock", platform::LockedFile::Wait::Briefly);
    if (!lock) {
        const bool isTaken = lock.error().code == EWOULDBLOCK;
        std::fprintf(stderr, "%s\n", isTaken ? "The agent runs already." : lock.error().description.c_str());
        return std::nullopt;
    }
    return *std::move(lock);
}

constexpr char kUsage[] = "usage: Kitwell [--login] [--hidden] [--dialog-program PATH]\n";

struct Options {
    bool atLogin = false; // started by the session: launches the tools that asked for it
};

// --hidden is what whoever launches the agent in the background says; the agent has nothing to hide.
std::optional<Options> readOptions(int count, char** arguments) {
    Options options;
    for (int at = 1; at < count; ++at) {
        const std::string_view argument = arguments[at];
        if (argument == "--login")
            options.atLogin = true;
        else if (argument == "--dialog-program" && at + 1 < count)
            platform::setDialogProgram(arguments[++at]);
        else if (argument != "--hidden")
            return std::nullopt;
    }
    return options;
}

int runAgent(const Options& options) {
    platform::Application& application = platform::Application::shared();
    const auto lock = becomeTheAgent();
    if (!lock)
        return 1;
    const UsageLog usage;
    if (CEPLogClass* telemetry = CEPLogClass::sharedInstance())
        telemetry->initGrab();
    ToolDataServerProvider::sharedInstance();
    ToolList tools;
    Display display(tools);
    Commands commands(tools, display);
    const CommandReader reader([&](const std::string& line) { commands.carryOut(line); });
    tools.discover();
    Schedules schedules(tools, [&](const std::string& line) { display.say(line); });
    if (options.atLogin)
        schedules.launchAtLogin();
    return application.run();
}

} // namespace

} // namespace kitwell::applications

int main(int count, char** arguments) {
    const auto options = kitwell::applications::readOptions(count, arguments);
    if (!options) {
        std::fputs(kitwell::applications::kUsage, stderr);
        return 2;
    }
    return kitwell::applications::runAgent(*options);
}
