#include "Support/ChildProcess.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <gtest/gtest.h>
#include <iostream>
#include <iterator>
#include <map>
#include <poll.h>
#include <spawn.h>
#include <stdexcept>
#include <string_view>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <utility>

namespace kitwell::test {

namespace {

std::map<std::string, ChildBody>& bodies() {
    static std::map<std::string, ChildBody> all;
    return all;
}

std::vector<char*> pointers(std::vector<std::string>& texts) {
    std::vector<char*> list;
    for (std::string& text : texts)
        list.push_back(text.data());
    list.push_back(nullptr);
    return list;
}

} // namespace

bool waitUntil(const std::function<bool()>& condition, std::chrono::milliseconds bound) {
    const auto end = std::chrono::steady_clock::now() + bound;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}

ChildProcess ChildProcess::body(const std::string& name, const std::vector<std::string>& arguments) {
    std::vector<std::string> all{"--child", name};
    all.insert(all.end(), arguments.begin(), arguments.end());
    return program("/proc/self/exe", all);
}

ChildProcess ChildProcess::started(const std::string& name, const std::vector<std::string>& arguments) {
    ChildProcess child = body(name, arguments);
    if (!child.readLine())
        throw std::runtime_error(name + " does not get ready");
    return child;
}

ChildProcess ChildProcess::program(const std::string& path, const std::vector<std::string>& arguments,
                                   const std::vector<std::string>& extraEnvironment) {
    int toChild[2];
    int fromChild[2];
    if (::pipe2(toChild, O_CLOEXEC) != 0 || ::pipe2(fromChild, O_CLOEXEC) != 0)
        throw std::runtime_error("no pipes");
    posix_spawn_file_actions_t actions;
    ::posix_spawn_file_actions_init(&actions);
    ::posix_spawn_file_actions_adddup2(&actions, toChild[0], STDIN_FILENO);
    ::posix_spawn_file_actions_adddup2(&actions, fromChild[1], STDOUT_FILENO);

    std::vector<std::string> texts{path};
    texts.insert(texts.end(), arguments.begin(), arguments.end());
    std::vector<std::string> environment = extraEnvironment;
    for (char** entry = environ; *entry; ++entry)
        environment.emplace_back(*entry);

    ChildProcess child;
    const int failure = ::posix_spawn(&child.pid_, path.c_str(), &actions, nullptr, pointers(texts).data(),
                                      pointers(environment).data());
    ::posix_spawn_file_actions_destroy(&actions);
    ::close(toChild[0]);
    ::close(fromChild[1]);
    child.input_.reset(toChild[1]);
    child.output_.reset(fromChild[0]);
    if (failure != 0) {
        child.pid_ = -1;
        throw std::runtime_error("cannot start " + path);
    }
    return child;
}

ChildProcess::ChildProcess(ChildProcess&& other) noexcept
    : pid_(std::exchange(other.pid_, -1)), input_(std::move(other.input_)), output_(std::move(other.output_)),
      unread_(std::move(other.unread_)) {}

ChildProcess::~ChildProcess() {
    if (pid_ > 0) {
        signal(SIGKILL);
        ::waitpid(pid_, nullptr, 0);
    }
}

std::optional<std::string> ChildProcess::readLine(std::chrono::milliseconds bound) {
    const auto end = std::chrono::steady_clock::now() + bound;
    for (;;) {
        if (const auto lineEnd = unread_.find('\n'); lineEnd != std::string::npos) {
            std::string line = unread_.substr(0, lineEnd);
            unread_.erase(0, lineEnd + 1);
            return line;
        }
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(end - std::chrono::steady_clock::now())
                .count();
        pollfd entry{output_.get(), POLLIN, 0};
        if (left <= 0 || ::poll(&entry, 1, static_cast<int>(left)) <= 0)
            return std::nullopt;
        char buffer[4096];
        const ssize_t count = ::read(output_.get(), buffer, sizeof buffer);
        if (count <= 0)
            return std::nullopt;
        unread_.append(buffer, static_cast<std::size_t>(count));
    }
}

bool ChildProcess::waitForLine(const std::string& text, std::chrono::milliseconds bound) {
    const auto end = std::chrono::steady_clock::now() + bound;
    const auto left = [&] {
        return std::chrono::ceil<std::chrono::milliseconds>(end - std::chrono::steady_clock::now());
    };
    while (const auto line = readLine(left())) {
        if (line->find(text) != std::string::npos)
            return true;
    }
    return false;
}

void ChildProcess::writeLine(const std::string& line) {
    const std::string whole = line + "\n";
    if (::write(input_.get(), whole.data(), whole.size()) != static_cast<ssize_t>(whole.size()))
        throw std::runtime_error("the child does not read its input");
}

void ChildProcess::signal(int number) {
    if (pid_ > 0)
        ::kill(pid_, number);
}

void ChildProcess::kill() {
    signal(SIGKILL);
    wait();
}

int ChildProcess::wait(std::chrono::milliseconds bound) {
    int status = 0;
    if (!waitUntil([&] { return ::waitpid(pid_, &status, WNOHANG) != 0; }, bound))
        return -1;
    pid_ = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

std::string commandLineOf(int pid) {
    std::ifstream file("/proc/" + std::to_string(pid) + "/cmdline");
    std::string words(std::istreambuf_iterator<char>(file), {});
    std::replace(words.begin(), words.end(), '\0', ' ');
    return words;
}

void say(const std::string& line) {
    std::cout << line << std::endl;
}

std::string hear() {
    std::string line;
    std::getline(std::cin, line);
    return line;
}

ChildBodyRegistration::ChildBodyRegistration(const char* name, ChildBody body) {
    bodies()[name] = body;
}

} // namespace kitwell::test

namespace {

int runBody(const std::string& name, std::vector<std::string> arguments) {
    const auto found = kitwell::test::bodies().find(name);
    return found != kitwell::test::bodies().end() ? found->second(arguments) : 127;
}

} // namespace

int main(int argc, char** argv) {
    ::signal(SIGPIPE, SIG_IGN);
    if (argc >= 3 && std::string(argv[1]) == "--child")
        return runBody(argv[2], {argv + 3, argv + argc});
    // The executable of a test's own bundle is this program under another name, and is started without its
    // body's name.
    constexpr std::string_view kBodyPrefix = "child-";
    const std::string program = program_invocation_short_name;
    if (program.starts_with(kBodyPrefix))
        return runBody(program.substr(kBodyPrefix.size()), {argv + 1, argv + argc});
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
