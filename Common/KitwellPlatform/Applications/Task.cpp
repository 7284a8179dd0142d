#include "KitwellPlatform/Applications/Task.h"

#include <cerrno>
#include <csignal>
#include <memory>
#include <sched.h>
#include <sys/wait.h>

#include "KitwellPlatform/Applications/SpawnPlan.h"

namespace kitwell::platform {

namespace {

struct Order {
    SpawnPlan plan;
    int failure = ECANCELED; // what stays when the middle process is killed at its work
};

int carryOut(void* given) {
    auto& order = *static_cast<Order*>(given);
    int process = 0;
    order.failure = order.plan.spawn(process);
    return 0;
}

// While it lives, no handler of this process can run in one that shares its memory.
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

// A process in the middle starts the program and ends at once, so that the program is nobody's child. It
// shares the memory of this process and holds only this thread, so nothing is copied and other threads go on.
// It ends without a signal: no handler and no wait for any child of the program's owner hears of it.
int throughAMiddleProcess(Order& order) {
    constexpr std::size_t kStackBytes = 256U << 10;
    const auto stack = std::make_unique_for_overwrite<std::byte[]>(kStackBytes);
    const AllSignalsBlocked blocked;
    const int middle = ::clone(carryOut, stack.get() + kStackBytes, CLONE_VM | CLONE_VFORK, &order);
    if (middle < 0)
        return errno;
    while (::waitpid(middle, nullptr, __WALL) < 0 && errno == EINTR) {
    }
    return order.failure;
}

} // namespace

Result<void> Task::startDetached(const std::string& executable, std::vector<std::string> arguments) {
    Order order{SpawnPlan(executable, std::move(arguments))};
    const int failure = throughAMiddleProcess(order);
    return failure == 0 ? Result<void>() : systemError("start " + executable, failure);
}

} // namespace kitwell::platform
