#include "KitwellPlatform/Applications/LaunchedPrograms.h"

#include <algorithm>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include "KitwellPlatform/Applications/SpawnPlan.h"

namespace kitwell::platform {

namespace {

bool hasEnded(int process) {
    return ::waitpid(process, nullptr, WNOHANG) != 0;
}

} // namespace

LaunchedPrograms& LaunchedPrograms::shared() {
    static LaunchedPrograms programs;
    return programs;
}

Result<int> LaunchedPrograms::start(const std::string& executable, std::vector<std::string> arguments,
                                    int standardInput) {
    int process = 0;
    SpawnPlan plan(executable, std::move(arguments), standardInput);
    if (const int failure = plan.spawn(process); failure != 0)
        return systemError("start " + executable, failure);
    Program& program = programs_.emplace_back();
    program.processIdentifier = process;
    program.executable = executable;
    program.process.reset(static_cast<int>(::syscall(SYS_pidfd_open, process, 0)));
    if (program.process)
        program.ending =
            RunLoop::current().watch(program.process.get(), RunLoop::Interest::Readable, RunLoopModes::Common,
                                     [this](RunLoop::Events) { collectEnded(); });
    return process;
}

std::optional<int> LaunchedPrograms::processOf(const std::string& executable) {
    collectEnded();
    const auto found = std::find_if(programs_.begin(), programs_.end(),
                                    [&](const Program& program) { return program.executable == executable; });
    return found != programs_.end() ? std::optional(found->processIdentifier) : std::nullopt;
}

void LaunchedPrograms::collectEnded() {
    programs_.remove_if([](const Program& program) { return hasEnded(program.processIdentifier); });
}

} // namespace kitwell::platform
