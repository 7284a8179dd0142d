#include "KitwellPlatform/Applications/Task.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <fstream>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>

#include "KitwellPlatform/Files/AtomicFile.h"
#include "KitwellPlatform/Files/FileManager.h"
#include "Support/ChildProcess.h"
#include "Support/TestHome.h"

using namespace kitwell::platform;
using namespace kitwell::test;

namespace {

constexpr char kText[] = "a 'b' \"c\" $d\n%s";
volatile std::sig_atomic_t heard = 0;

// A shell that writes the text to the file, which has its name when it is whole, after a line from the gate.
bool startWriter(const std::string& file, const std::string& gate) {
    return bool(Task::startDetached("/bin/sh", {"-c",
                                                "read -r go < \"$2\"; printf '%s %s' \"$1\" \"$(cat)\" > "
                                                "\"$0.new\" && mv \"$0.new\" \"$0\"",
                                                file, kText, gate}));
}

bool waitForText(const std::string& file) {
    return waitUntil([&] { return FileManager::fileExists(file); }) &&
           readFile(file, 100)->text() == std::string(kText) + " ";
}

} // namespace

CHILD_BODY(startsTasks) {
    ::signal(SIGCHLD, [](int) { heard = heard + 1; });
    std::atomic<int> started = 0;
    std::vector<std::thread> threads;
    for (int index = 0; index < 8; ++index)
        threads.emplace_back(
            [&, index] { started += startWriter(arguments[0] + std::to_string(index), "/dev/null"); });
    for (std::thread& thread : threads)
        thread.join();
    started += startWriter(arguments[0], arguments[1]);
    const bool isParent = ::waitpid(-1, nullptr, __WALL | WNOHANG) >= 0 || errno != ECHILD;
    say(std::to_string(started) + (isParent ? " children" : " strangers") + (heard ? " heard" : " unheard"));
    hear();
    return 0;
}

class TaskTest : public InTestHome {};

TEST_F(TaskTest, IsNoChildOfItsStarterAndOutlivesIt) {
    const std::string gate = home.path("gate");
    ASSERT_EQ(::mkfifo(gate.c_str(), 0600), 0);
    ChildProcess starter = ChildProcess::body("startsTasks", {home.path("text"), gate});
    EXPECT_EQ(starter.readLine(), "9 strangers unheard");
    for (int index = 0; index < 8; ++index)
        EXPECT_TRUE(waitForText(home.path("text") + std::to_string(index)));
    starter.kill();
    starter.wait();
    std::ofstream(gate) << "go\n"; // opens when the last program has come there, too
    EXPECT_TRUE(waitForText(home.path("text")));
}

TEST_F(TaskTest, WhatCannotBeExecutedIsAnErrorAndLeavesNoProcess) {
    std::ofstream(home.path("plain")) << "exit 0";
    const std::pair<std::string, int> rows[] = {
        {home.path("missing"), ENOENT}, {home.path("plain"), EACCES}, {home.path(), EACCES}};
    for (const auto& [executable, code] : rows) {
        const auto started = Task::startDetached(executable, {});
        EXPECT_EQ(started ? 0 : started.error().code, code) << executable;
    }
    EXPECT_EQ(::waitpid(-1, nullptr, __WALL | WNOHANG), -1);
}
