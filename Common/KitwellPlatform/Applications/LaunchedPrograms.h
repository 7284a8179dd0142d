#pragma once

#include <list>
#include <optional>
#include <string>
#include <vector>

#include "KitwellPlatform/Files/FileDescriptor.h"
#include "KitwellPlatform/RunLoop/RunLoop.h"
#include "KitwellPlatform/Values/Result.h"

namespace kitwell::platform {

// The programs that this process started, until they end: each is collected by the loop of the thread that
// started it. Inside the library only; belongs to the main thread.
class LaunchedPrograms {
public:
    static LaunchedPrograms& shared();

    // Starts a program as SpawnPlan tells. An error when it cannot be executed.
    Result<int> start(const std::string& executable, std::vector<std::string> arguments,
                      int standardInput = -1);
    // The process that was started from this file and still lives.
    std::optional<int> processOf(const std::string& executable);

private:
    struct Program {
        int processIdentifier = 0;
        std::string executable;
        FileDescriptor process; // must outlive the source that watches it
        RunLoop::Source ending;
    };

    LaunchedPrograms() = default;
    void collectEnded();

    std::list<Program> programs_; // entries never move
};

} // namespace kitwell::platform
