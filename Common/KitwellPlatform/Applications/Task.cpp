#include "KitwellPlatform/Applications/Task.h"

#include <cerrno>
#include <csignal>
#include <memory>
#include <sched.h>
#include <sys/wait.h>

#include "KitwellPlatform/Applications/SpawnPlan.h"

namespace kitwell::platform {

namespace {

// Answers 0 or an errno value, which fits an exit code.
int carryOut(void* plan) {
    int process = 0;
    return static_cast<SpawnPlan*>(plan)->spawn(process);
}

// While it lives, no handler of this process can run in a copy of it.
class AllSignalsBlocked {
public:
    AllSignalsBlocked() {
        sigset_t all;
        ::sigfillset(&all);
        ::pthread_sigmask(SIG_SETMASK, &all, &before_);
    }
    AllSignalsBlocked(const AllSignalsBlocked&) = delete;
    AllSignalsBlocked& operator=(const AllSignalsBlocked&) = delete;
    ~AllSignalsBlocked() { ::pthread_sigmask(SIG_SETMASK, &before_, nullptr); }

private:
    sigset_t before_{};
};

// A copy of this process, with this thread only, starts the program and ends at once, so that the program is
// nobody's child. It takes no lock, which another thread might hold at the moment of the copy, and ends
// without a signal: no handler and no wait for any child hears of it.
int throughAMiddleProcess(SpawnPlan& plan) {
    constexpr std::size_t kStackBytes = 256U << 10;
    const auto stack = std::make_unique_for_overwrite<std::byte[]>(kStackBytes);
    const AllSignalsBlocked blocked;
    const int middle = ::clone(carryOut, stack.get() + kStackBytes, 0, &plan);
    if (middle < 0)
        return errno;
    int status = 0;
    while (::waitpid(middle, &status, __WALL) < 0) {
        if (errno != EINTR)
            return errno;
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : ECANCELED;
}

} // namespace

Result<void> Task::startDetached(const std::string& executable, std::vector<std::string> arguments) {
    SpawnPlan plan(executable, std::move(arguments));
    const int failure = throughAMiddleProcess(plan);
    return failure == 0 ? Result<void>() : systemError("start " + executable, failure);
}

} // namespace kitwell::platform
