#include <fcntl.h>

#include "KitwellPlatform/Applications/Application.h"
#include "KitwellPlatform/Applications/RunningApplication.h"
#include "KitwellPlatform/Applications/Workspace.h"
#include "Support/Harness.h"

using namespace kitwell::platform;
using namespace kitwell::test;

namespace {

constexpr char kApplications[] = "data/Kitwell/Applications";

// Ends what a test launched; answers whether the loop then collected it, rather than leaving a zombie.
bool endLaunched(int process) {
    ::kill(process, SIGKILL);
    return waitUntil([=] {
        RunLoop::current().runOnce(std::chrono::milliseconds(5));
        return ::kill(process, 0) != 0;
    });
}

} // namespace

CHILD_BODY(reports) {
    std::string report;
    for (const std::string& argument : arguments)
        report += argument + " ";
    report += "fds:";
    for (const auto& name : FileManager::namesInFolder("/proc/self/fd"))
        report += " " + name;
    sigset_t mask;
    ::sigprocmask(SIG_BLOCK, nullptr, &mask);
    report += ::sigismember(&mask, SIGUSR1) == 1 ? " blocked" : " open";
    report += ::signal(SIGUSR2, SIG_DFL) == SIG_IGN ? " ignored" : " default";
    report += ::getsid(0) == ::getpid() ? " own session" : " shared session";
    report += " in " + std::filesystem::current_path().string();
    if (!replaceFile(std::string(::getenv("HOME")) + "/report", std::as_bytes(std::span(report))))
        return 1;
    return Application::shared().run();
}

class WorkspaceTest : public InTestHome {};

TEST_F(WorkspaceTest, ALaunchedApplicationInheritsNothingOfItsStarterAndIsCollected) {
    makeTestBundle(home.path(kApplications), "child-reports", "sample.reports");
    const int leaky = ::fcntl(STDERR_FILENO, F_DUPFD, 100); // as another library would open it
    sigset_t blocked;
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGUSR1);
    ::sigprocmask(SIG_BLOCK, &blocked, nullptr);
    ::signal(SIGUSR2, SIG_IGN);
    const auto process = Workspace::launchApplication("sample.reports", LaunchOptions::Hidden);
    ::signal(SIGUSR2, SIG_DFL);
    ::sigprocmask(SIG_UNBLOCK, &blocked, nullptr);
    ::close(leaky);
    ASSERT_TRUE(process);
    EXPECT_TRUE(waitUntil([&] { return FileManager::fileExists(home.path("report")); }));
    EXPECT_EQ(readFile(home.path("report"), 1U << 16)->text(),
              "--hidden fds: 0 1 2 3 open default own session in /");
    EXPECT_TRUE(endLaunched(*process)) << "a zombie was left";
}

TEST_F(WorkspaceTest, AnApplicationThatRunsIsNotStartedASecondTime) {
    makeTestBundle(home.path(kApplications), "child-reports", "sample.reports");
    const std::string path = testBundlePath(home.path(kApplications), "child-reports");
    std::filesystem::create_directory_symlink(path, home.path("Link.app"));
    const auto launch = [] {
        return *Workspace::launchApplication("sample.reports", LaunchOptions::Default);
    };
    const int process = launch();
    EXPECT_EQ(launch(), process); // too young to have told that it runs
    EXPECT_TRUE(
        waitUntil([] { return !RunningApplication::withBundleIdentifier("sample.reports").empty(); }));
    for (const std::string& url : {path + "/", home.path("Link.app")})
        EXPECT_EQ(*Workspace::launchApplication(FileUrl(url), LaunchOptions::Default), process);
    ASSERT_TRUE(endLaunched(process));
    const int next = launch();
    EXPECT_NE(next, process) << "one that has ended was taken for running";
    EXPECT_TRUE(endLaunched(next));
}

CHILD_BODY(findsApplications) {
    std::string found;
    for (const Bundle& bundle : Workspace::applications())
        found += bundle.bundleUrl().path().substr(arguments[0].size()) + " ";
    say(found + Workspace::urlForBundleIdentifier("sample.wanted")->path().substr(arguments[0].size()));
    return 0;
}

TEST_F(WorkspaceTest, TheSiblingsOfTheMainBundleComeFirstAndNothingIsListedTwice) {
    makeTestBundle(home.path(kApplications), "Wanted", "sample.wanted");
    makeTestBundle(home.path("suite"), "Wanted", "sample.wanted");
    const std::string sibling = makeTestBundle(home.path("suite"), "Main", "sample.main");
    const std::string kept = "/data/Kitwell/Applications/Wanted.app";
    const std::vector<std::string> body{"--child", "findsApplications", home.path()};
    EXPECT_EQ(ChildProcess::program("/proc/self/exe", body).readLine(), kept + " " + kept);
    EXPECT_EQ(ChildProcess::program(sibling, body).readLine(),
              "/suite/Main.app /suite/Wanted.app " + kept + " /suite/Wanted.app");
}

TEST_F(WorkspaceTest, KeysOfABundleThatLieNeverNameAnExecutableOutsideTheBundle) {
    std::filesystem::create_directories(home.path("Sample.app/Contents"));
    const std::string rows[] = {
        "<dict><key>CFBundleExecutable</key><string>../../other</string></dict>",
        "<dict><key>CFBundleExecutable</key><array/><key>CFBundleIdentifier</key><true/></dict>",
        "<dict><key>CFBundleIdentifier</key><string>cut",
        "<dict><key>CFBundleIdentifier</key><string>a.b</string></dict>" + std::string(1U << 20, ' ')};
    for (const std::string& row : rows) {
        const std::string info = "<plist>" + row + "</plist>";
        ASSERT_TRUE(replaceFile(home.path("Sample.app/Contents/Info.plist"), std::as_bytes(std::span(info))));
        const Bundle bundle(FileUrl(home.path("Sample.app/")));
        EXPECT_EQ(bundle.identifier() + bundle.executableUrl().path(), "") << info.substr(0, 100);
    }
}
