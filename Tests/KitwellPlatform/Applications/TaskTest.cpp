#include "KitwellPlatform/Applications/Task.h"

#include <sys/wait.h>

#include "Support/Harness.h"

using namespace kitwell::platform;
using namespace kitwell::test;

namespace {

constexpr char kText[] = "a 'b' \"c\" $d\n%s";
volatile std::sig_atomic_t heard = 0;

} // namespace

// Starts a shell that writes the text to the file, which has its name when it is whole, after a line from the
// gate.
CHILD_BODY(startsATask) {
    ::signal(SIGCHLD, [](int) { heard = heard + 1; });
    constexpr char kScript[] =
        "read -r go < \"$2\"; printf '%s %s' \"$1\" \"$(cat)\" > \"$0.new\" && mv \"$0.new\" \"$0\"";
    const auto started = Task::startDetached("/bin/sh", {"-c", kScript, arguments[0], kText, arguments[1]});
    const bool isParent = ::waitpid(-1, nullptr, __WALL | WNOHANG) >= 0 || errno != ECHILD;
    say(started && !isParent && heard == 0 ? "a stranger" : "a child");
    hear();
    return 0;
}

class TaskTest : public InTestHome {};

TEST_F(TaskTest, IsNoChildOfItsStarterAndOutlivesIt) {
    const std::string gate = home.path("gate");
    ASSERT_EQ(::mkfifo(gate.c_str(), 0600), 0);
    ChildProcess starter = ChildProcess::body("startsATask", {home.path("text"), gate});
    EXPECT_EQ(starter.readLine(), "a stranger");
    starter.kill();
    starter.wait();
    std::ofstream(gate) << "go\n"; // opens when the program has come there, too
    EXPECT_TRUE(waitUntil([&] { return FileManager::fileExists(home.path("text")); }));
    EXPECT_EQ(readFile(home.path("text"), 100)->text(), std::string(kText) + " ");
}

TEST_F(TaskTest, WhatCannotBeExecutedIsAnErrorAndLeavesNoProcess) {
    std::ofstream(home.path("plain")) << "exit 0";
    EXPECT_EQ(Task::startDetached(home.path("missing"), {}).error().code, ENOENT);
    EXPECT_EQ(Task::startDetached(home.path("plain"), {}).error().code, EACCES);
    ASSERT_EQ(::chmod(home.path("plain").c_str(), 0700), 0);
    EXPECT_EQ(Task::startDetached(home.path("plain"), {}).error().code, ENOEXEC) << "a shell was asked";
    EXPECT_EQ(::waitpid(-1, nullptr, __WALL | WNOHANG), -1);
}
