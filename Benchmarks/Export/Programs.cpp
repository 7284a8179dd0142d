#include "Export/Programs.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include "Support/Partner.h"

namespace kitwell::benchmarks {

std::optional<double> timeProgram(const std::vector<std::string>& command) {
    std::vector<std::string> texts = command;
    std::vector<char*> pointers;
    for (std::string& text : texts)
        pointers.push_back(text.data());
    pointers.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    ::posix_spawn_file_actions_init(&actions);
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
        ::posix_spawn_file_actions_addopen(&actions, stream, "/dev/null", O_RDWR, 0);
    pid_t child = -1;
    const double start = now();
    const int failure = ::posix_spawnp(&child, pointers[0], &actions, nullptr, pointers.data(), environ);
    ::posix_spawn_file_actions_destroy(&actions);
    int status = 0;
    if (failure != 0 || ::waitpid(child, &status, 0) != child || status != 0)
        return std::nullopt;
    return now() - start;
}

} // namespace kitwell::benchmarks
