#pragma once

#include <spawn.h>
#include <string>
#include <vector>

namespace kitwell::platform {

// How this library starts programs: in a session and with signals, descriptors and a working folder of their
// own; standard error and the environment are shared, standard output goes nowhere. Inside the library only;
// any thread.
class SpawnPlan {
public:
    // The executable by its absolute path. It reads `standardInput`, or nothing when that is -1.
    SpawnPlan(const std::string& executable, std::vector<std::string> arguments, int standardInput = -1);
    SpawnPlan(const SpawnPlan&) = delete;
    SpawnPlan& operator=(const SpawnPlan&) = delete;
    ~SpawnPlan();

    // Answers 0 and the new process, or why there is none as an errno value. Takes no memory: that was done
    // when the plan was made.
    int spawn(int& process);

private:
    void setSignals();
    void setDescriptors(int standardInput);
    void keep(int failure);

    std::vector<std::string> texts_;
    std::vector<char*> list_; // of the texts, as the system wants them
    posix_spawnattr_t attributes_{};
    posix_spawn_file_actions_t actions_{};
    int failure_ = 0; // the first one of making the plan: for want of memory only
};

} // namespace kitwell::platform
