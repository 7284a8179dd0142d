#pragma once

#include <string>
#include <sys/types.h>
#include <vector>

#include "KitwellPlatform/Files/FileDescriptor.h"

namespace kitwell::benchmarks {

// A private home and runtime folder for all processes of a benchmark; removed with what it holds.
class PrivateFolder {
public:
    PrivateFolder();
    ~PrivateFolder();
    PrivateFolder(const PrivateFolder&) = delete;
    PrivateFolder& operator=(const PrivateFolder&) = delete;
    std::string path(const std::string& name) const { return path_ + "/" + name; }

private:
    std::string path_;
};

// Another process of this program ("--role <name> <arguments>"), or another program. It is killed when the
// object goes.
class Partner {
public:
    Partner(const std::string& role, const std::vector<std::string>& arguments);
    static Partner program(const std::vector<std::string>& command);
    Partner(Partner&& other) noexcept;
    Partner& operator=(Partner&&) = delete;
    ~Partner();

    // A number that the partner reported; blocks until it does. Ends the benchmark when the partner has died.
    double hear();
    void go(); // lets the partner's `waitForGo` return
    void kill();
    int pid() const { return pid_; }

private:
    Partner(const std::vector<std::string>& command, bool isOwnRole);
    pid_t pid_ = -1;
    platform::FileDescriptor input_;
    platform::FileDescriptor output_;
};

// For the partner's side.
void report(double number);
void waitForGo();

// Seconds of the clock that all processes share.
double now();
// Keeps this process, and those it starts from then on, on one processor or sets it free.
void pinTo(int processor);
void unpin();
[[noreturn]] void fail(const std::string& reason);

} // namespace kitwell::benchmarks
