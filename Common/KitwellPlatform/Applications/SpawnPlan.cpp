#include "KitwellPlatform/Applications/SpawnPlan.h"

#include <csignal>
#include <fcntl.h>
#include <unistd.h>

namespace kitwell::platform {

SpawnPlan::SpawnPlan(const std::string& executable, std::vector<std::string> arguments, int standardInput)
    : texts_(std::move(arguments)) {
    texts_.insert(texts_.begin(), executable);
    for (std::string& text : texts_)
        list_.push_back(text.data());
    list_.push_back(nullptr);
    keep(::posix_spawnattr_init(&attributes_));
    keep(::posix_spawn_file_actions_init(&actions_));
    setSignals();
    setDescriptors(standardInput);
}

SpawnPlan::~SpawnPlan() {
    ::posix_spawn_file_actions_destroy(&actions_);
    ::posix_spawnattr_destroy(&attributes_);
}

int SpawnPlan::spawn(int& process) {
    return failure_ != 0
               ? failure_
               : ::posix_spawn(&process, list_.front(), &actions_, &attributes_, list_.data(), environ);
}

void SpawnPlan::setSignals() {
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
void SpawnPlan::setDescriptors(int standardInput) {
    if (standardInput >= 0)
        keep(::posix_spawn_file_actions_adddup2(&actions_, standardInput, STDIN_FILENO));
    else
        keep(::posix_spawn_file_actions_addopen(&actions_, STDIN_FILENO, "/dev/null", O_RDONLY, 0));
    keep(::posix_spawn_file_actions_addopen(&actions_, STDOUT_FILENO, "/dev/null", O_WRONLY, 0));
    keep(::posix_spawn_file_actions_addclosefrom_np(&actions_, STDERR_FILENO + 1));
    keep(::posix_spawn_file_actions_addchdir_np(&actions_, "/"));
}

void SpawnPlan::keep(int failure) {
    if (failure_ == 0)
        failure_ = failure;
}

} // namespace kitwell::platform
