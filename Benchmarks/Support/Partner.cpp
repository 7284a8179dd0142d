#include "Support/Partner.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fcntl.h>
#include <filesystem>
#include <sched.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

namespace kitwell::benchmarks {

PrivateFolder::PrivateFolder() {
    std::string pattern = (std::filesystem::temp_directory_path() / "benchmark-XXXXXX").string();
    if (!::mkdtemp(pattern.data()))
        fail("no private folder");
    path_ = pattern;
    for (const char* name : {"HOME", "XDG_RUNTIME_DIR", "XDG_DATA_HOME", "XDG_CACHE_HOME"})
        ::setenv(name, path_.c_str(), 1);
}

PrivateFolder::~PrivateFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

Partner::Partner(const std::string& role, const std::vector<std::string>& arguments)
    : Partner(
          [&] {
              std::vector<std::string> command{"/proc/self/exe", "--role", role};
              command.insert(command.end(), arguments.begin(), arguments.end());
              return command;
          }(),
          true) {}

Partner Partner::program(const std::vector<std::string>& command) {
    return Partner(command, false);
}

Partner::Partner(const std::vector<std::string>& command, bool isOwnRole) {
    int toPartner[2];
    int fromPartner[2];
    if (::pipe2(toPartner, O_CLOEXEC) != 0 || ::pipe2(fromPartner, O_CLOEXEC) != 0)
        fail("no pipes");
    const platform::FileDescriptor ends[] = {platform::FileDescriptor(toPartner[0]),
                                             platform::FileDescriptor(fromPartner[1])};
    input_.reset(toPartner[1]);
    output_.reset(fromPartner[0]);
    posix_spawn_file_actions_t actions;
    ::posix_spawn_file_actions_init(&actions);
    ::posix_spawn_file_actions_adddup2(&actions, ends[0].get(), STDIN_FILENO);
    ::posix_spawn_file_actions_adddup2(&actions, ends[1].get(), STDOUT_FILENO);
    if (!isOwnRole)
        ::posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    std::vector<std::string> texts = command;
    std::vector<char*> pointers;
    for (std::string& text : texts)
        pointers.push_back(text.data());
    pointers.push_back(nullptr);
    const int failure = ::posix_spawnp(&pid_, pointers[0], &actions, nullptr, pointers.data(), environ);
    ::posix_spawn_file_actions_destroy(&actions);
    if (failure != 0)
        fail("cannot start " + command[0]);
}

Partner::Partner(Partner&& other) noexcept
    : pid_(std::exchange(other.pid_, -1)), input_(std::move(other.input_)),
      output_(std::move(other.output_)) {}

Partner::~Partner() {
    kill();
}

double Partner::hear() {
    double number = 0;
    if (::read(output_.get(), &number, sizeof number) != sizeof number)
        fail("a partner has died");
    return number;
}

void Partner::go() {
    if (::write(input_.get(), "g", 1) != 1)
        fail("a partner has died");
}

void Partner::kill() {
    if (pid_ <= 0)
        return;
    ::kill(pid_, SIGKILL);
    ::waitpid(std::exchange(pid_, -1), nullptr, 0);
}

void report(double number) {
    if (::write(STDOUT_FILENO, &number, sizeof number) != sizeof number)
        std::_Exit(1);
}

void waitForGo() {
    char letter = 0;
    if (::read(STDIN_FILENO, &letter, 1) != 1)
        std::_Exit(0);
}

double now() {
    timespec time{};
    ::clock_gettime(CLOCK_MONOTONIC, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

void pinTo(int processor) {
    cpu_set_t set;
    CPU_ZERO(&set);
    CPU_SET(static_cast<std::size_t>(processor), &set);
    ::sched_setaffinity(0, sizeof set, &set);
}

void unpin() {
    cpu_set_t set;
    CPU_ZERO(&set);
    for (std::size_t processor = 0; processor < CPU_SETSIZE; ++processor)
        CPU_SET(processor, &set);
    ::sched_setaffinity(0, sizeof set, &set);
}

void fail(const std::string& reason) {
    std::fprintf(stderr, "benchmark: %s\n", reason.c_str());
    std::exit(1);
}

} // namespace kitwell::benchmarks
