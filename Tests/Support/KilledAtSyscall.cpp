#include "Support/KilledAtSyscall.h"

#include <cerrno>
#include <csignal>
#include <gtest/gtest.h>
#include <stdexcept>
#include <string>
#include <sys/ptrace.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

namespace kitwell::test {

namespace {

constexpr int kSyscallStop = SIGTRAP | 0x80; // so marked by PTRACE_O_TRACESYSGOOD
constexpr int kNoTracing = 126;
constexpr int kWorkThrew = 125;

// Never returns: the copy of the test program must not go on with the tests.
[[noreturn]] void runWork(const std::function<void()>& work) {
    if (::ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) != 0 || ::kill(::getpid(), SIGSTOP) != 0)
        ::_exit(kNoTracing);
    try {
        work();
    } catch (...) {
        ::_exit(kWorkThrew);
    }
    ::_exit(0);
}

// The watched child, which does not outlast the object.
class Watched {
public:
    explicit Watched(const std::function<void()>& work) : pid_(::fork()) {
        if (pid_ == 0)
            runWork(work);
        if (pid_ < 0)
            throw std::system_error(errno, std::generic_category(), "fork");
        waitForStop();
        if (hasEnded_)
            throw std::runtime_error("processes cannot be watched here");
        if (::ptrace(PTRACE_SETOPTIONS, pid_, nullptr, long{PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL}) != 0)
            throw std::system_error(errno, std::generic_category(), "watch a child");
        signal_ = 0; // the stop at the beginning was for this watcher alone
    }
    ~Watched() {
        if (hasEnded_)
            return;
        ::kill(pid_, SIGKILL);
        ::waitpid(pid_, nullptr, __WALL);
    }
    Watched(const Watched&) = delete;
    Watched& operator=(const Watched&) = delete;

    // Lets the child run until it enters a system call; false at its end.
    bool runToSyscall() {
        do {
            ::ptrace(PTRACE_SYSCALL, pid_, nullptr, static_cast<long>(signal_));
            waitForStop();
        } while (!hasEnded_ && !isEntering());
        return !hasEnded_;
    }
    int exitStatus() const { return status_; }

private:
    void waitForStop() {
        while (::waitpid(pid_, &status_, __WALL) < 0) {
            if (errno != EINTR)
                throw std::system_error(errno, std::generic_category(), "wait for a child");
        }
        hasEnded_ = !WIFSTOPPED(status_);
        const int stop = hasEnded_ ? 0 : WSTOPSIG(status_);
        signal_ = stop == kSyscallStop ? 0 : stop; // any other signal is the child's own
    }
    bool isEntering() const {
        __ptrace_syscall_info info{};
        return WSTOPSIG(status_) == kSyscallStop &&
               ::ptrace(PTRACE_GET_SYSCALL_INFO, pid_, sizeof info, &info) > 0 &&
               info.op == PTRACE_SYSCALL_INFO_ENTRY;
    }

    pid_t pid_;
    int status_ = 0;
    int signal_ = 0; // to hand over when the child goes on
    bool hasEnded_ = false;
};

} // namespace

bool killedAtSyscall(std::size_t number, const std::function<void()>& work) {
    Watched child(work);
    for (std::size_t entered = 0; entered < number; ++entered) {
        if (child.runToSyscall())
            continue;
        if (!WIFEXITED(child.exitStatus()) || WEXITSTATUS(child.exitStatus()) != 0)
            throw std::runtime_error("the work did not come to its end: wait status " +
                                     std::to_string(child.exitStatus()));
        return false;
    }
    return true;
}

std::size_t killAtEachSyscall(const std::function<void()>& prepare, const std::function<void()>& work,
                              const std::function<void()>& check) {
    for (std::size_t number = 1;; ++number) {
        SCOPED_TRACE("killed at system call " + std::to_string(number));
        prepare();
        const bool wasKilled = killedAtSyscall(number, work);
        check();
        if (!wasKilled)
            return number - 1;
    }
}

} // namespace kitwell::test
