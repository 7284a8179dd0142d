// The agent: lists the tools of the suite with what each presents, and passes on the commands of the person
// at the terminal.

#include <cerrno>
#include <cstdio>
#include <optional>

#include "CommandReader.h"
#include "Commands.h"
#include "Display.h"
#include "KitwellPlatform/Applications/Application.h"
#include "KitwellPlatform/Files/LockedFile.h"
#include "KitwellPlatform/Files/SearchPaths.h"
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

int runAgent() {
    platform::Application& application = platform::Application::shared();
    const auto lock = becomeTheAgent();
    if (!lock)
        return 1;
    ToolDataServerProvider::sharedInstance();
    ToolList tools;
    Display display(tools);
    Commands commands(tools, display);
    const CommandReader reader([&](const std::string& line) { commands.carryOut(line); });
    tools.discover();
    return application.run();
}

} // namespace

} // namespace kitwell::applications

int main() {
    return kitwell::applications::runAgent();
}
