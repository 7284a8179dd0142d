#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "KitwellPlatform/Files/FileDescriptor.h"

namespace kitwell::test {

inline constexpr std::chrono::seconds kPatience{20};

// Waits until the condition holds, looking every few milliseconds; false when the bound passed first.
bool waitUntil(const std::function<bool()>& condition, std::chrono::milliseconds bound = kPatience);

// A process that runs a named body of this test program, or another program, with its input and output on
// pipes. It is killed and collected when the object goes, so no test leaves one behind.
class ChildProcess {
public:
    // Runs the body that CHILD_BODY(name) defines.
    static ChildProcess body(const std::string& name, const std::vector<std::string>& arguments = {});
    // The same, when the body has said a first line: that it is ready.
    static ChildProcess started(const std::string& name, const std::vector<std::string>& arguments = {});
    // `extraEnvironment` holds "NAME=value" texts.
    static ChildProcess program(const std::string& path, const std::vector<std::string>& arguments = {},
                                const std::vector<std::string>& extraEnvironment = {});

    ChildProcess(ChildProcess&& other) noexcept;
    ChildProcess& operator=(ChildProcess&&) = delete;
    ~ChildProcess();

    int pid() const { return pid_; }
    // The next line that the child prints, without its break; nothing at its end or when the bound passes.
    std::optional<std::string> readLine(std::chrono::milliseconds bound = kPatience);
    // Reads lines until one contains `text`; false when none comes.
    bool waitForLine(const std::string& text, std::chrono::milliseconds bound = kPatience);
    void writeLine(const std::string& line);
    void closeInput() { input_.reset(); }
    void signal(int number);
    void kill();
    // The exit code, 128 + the signal that ended it, or -1 when it is still running at the bound.
    int wait(std::chrono::milliseconds bound = kPatience);

private:
    ChildProcess() = default;
    int pid_ = -1;
    platform::FileDescriptor input_;
    platform::FileDescriptor output_;
    std::string unread_;
};

// The command line of a running process, with a space behind each word.
std::string commandLineOf(int pid);

// For bodies: prints a line and flushes; reads a line of the parent's (empty at the end).
void say(const std::string& line);
std::string hear();

using ChildBody = int (*)(const std::vector<std::string>& arguments);
struct ChildBodyRegistration {
    ChildBodyRegistration(const char* name, ChildBody body);
};

} // namespace kitwell::test

// Defines what a child process does (also of a link to the test program that is called "child-<name>"); the
// number it returns is its exit code. `arguments` are the texts handed over.
#define CHILD_BODY(name)                                                                                     \
    static int childBody_##name(const std::vector<std::string>& arguments);                                  \
    static const kitwell::test::ChildBodyRegistration childRegistration_##name(#name, childBody_##name);     \
    static int childBody_##name([[maybe_unused]] const std::vector<std::string>& arguments)
