#include "KitwellPlatform/Applications/LaunchedPrograms.h"

#include <algorithm>
#include <csignal>
#include <fcntl.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace kitwell::platform {

namespace {

// What a program is started with. Building it fails for want of memory only; the first failure is kept.
class SpawnPlan {
public:
    explicit SpawnPlan(int standardInput) {
        keep(::posix_spawnattr_init(&attributes_));
        keep(::posix_spawn_file_actions_init(&actions_));
        setSignals();
        setDescriptors(standardInput);
    }
    SpawnPlan(const SpawnPlan&) = delete;
    SpawnPlan& operator=(const SpawnPlan&) = delete;
    ~SpawnPlan() {
        ::posix_spawn_file_actions_destroy(&actions_);
        ::posix_spawnattr_destroy(&attributes_);
    }

    int spawn(int& process, std::vector<std::string>& arguments) {
        std::vector<char*> list;
        list.reserve(arguments.size() + 1);
        for (std::string& argument : arguments)
            list.push_back(argument.data());
        list.push_back(nullptr);
        return failure_ != 0
                   ? failure_
                   : ::posix_spawn(&process, list.front(), &actions_, &attributes_, list.data(), environ);
    }

private:
    void setSignals() {
        sigset_t all;
        sigset_t none;
        ::sigfillset(&all);
        ::sigemptyset(&none);
        keep(::posix_spawnattr_setsigdefault(&attributes_, &all));
        keep(::posix_spawnattr_setsigmask(&attributes_, &none));
        keep(::posix_spawnattr_setflags(&attributes_,
                                        POSIX_SPAWN_SETSID | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK));
    }

    // Everything of this library is close-on-exec; a library that this process also uses may be less careful.
    void setDescriptors(int standardInput) {
        if (standardInput >= 0)
            keep(::posix_spawn_file_actions_adddup2(&actions_, standardInput, STDIN_FILENO));
        else
            keep(::posix_spawn_file_actions_addopen(&actions_, STDIN_FILENO, "/dev/null", O_RDONLY, 0));
        keep(::posix_spawn_file_actions_addopen(&actions_, STDOUT_FILENO, "/dev/null", O_WRONLY, 0));
        keep(::posix_spawn_file_actions_addclosefrom_np(&actions_, STDERR_FILENO + 1));
        keep(::posix_spawn_file_actions_addchdir_np(&actions_, "/"));
    }

    void keep(int failure) {
        if (failure_ == 0)
            failure_ = failure;
    }

    posix_spawnattr_t attributes_{};
    posix_spawn_file_actions_t actions_{};
    int failure_ = 0;
};

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
    arguments.insert(arguments.begin(), executable);
    int process = 0;
    if (const int failure = SpawnPlan(standardInput).spawn(process, arguments); failure != 0)
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
