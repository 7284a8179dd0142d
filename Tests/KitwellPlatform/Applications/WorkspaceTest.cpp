#include <fcntl.h>
#include <sys/stat.h>

#include "KitwellPlatform/Applications/Application.h"
#include "KitwellPlatform/Applications/RunningApplication.h"
#include "KitwellPlatform/Applications/Workspace.h"
#include "KitwellPlatform/Files/AtomicFile.h"
#include "KitwellPlatform/Files/FileManager.h"
#include "KitwellPlatform/RunLoop/RunLoop.h"
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
class BundleTest : public InTestHome {};

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
    const auto expectSame = [&] {
        EXPECT_EQ(launch(), process);
        for (const std::string& url : {path + "/", home.path("Link.app")})
            EXPECT_EQ(*Workspace::launchApplication(FileUrl(url), LaunchOptions::Default), process);
    };
    expectSame(); // too young to have told that it runs
    EXPECT_TRUE(
        waitUntil([] { return !RunningApplication::withBundleIdentifier("sample.reports").empty(); }));
    expectSame();
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
    const std::string installed = makeTestBundle(home.path(kApplications), "Main", "sample.main");
    EXPECT_EQ(ChildProcess::program(installed, body).readLine(),
              "/data/Kitwell/Applications/Main.app " + kept + " " + kept);
}

TEST_F(WorkspaceTest, WhatCannotBeExecutedIsAnErrorAndStartsNothing) {
    const std::string executable = makeTestBundle(home.path(kApplications), "Broken", "sample.broken");
    const auto code = [] {
        const auto process = Workspace::launchApplication("sample.broken", LaunchOptions::Default);
        return process ? 0 : process.error().code;
    };
    std::filesystem::remove(executable);
    EXPECT_EQ(code(), ENOENT);
    const std::string script = "touch " + home.path("ran");
    ASSERT_TRUE(replaceFile(executable, std::as_bytes(std::span(script))));
    EXPECT_EQ(code(), EACCES);
    ASSERT_EQ(::chmod(executable.c_str(), 0700), 0);
    EXPECT_EQ(code(), ENOEXEC) << "a shell was asked";
    EXPECT_FALSE(Workspace::launchApplication("", LaunchOptions::Default))
        << "a program without identifier was taken";
    EXPECT_FALSE(FileManager::fileExists(home.path("ran")));
}

TEST_F(BundleTest, KeysThatLieNeverNameAnExecutableOutsideTheBundle) {
    std::filesystem::create_directories(home.path("Sample.app/Contents"));
    const struct {
        std::string info, identifier, executable;
    } rows[] = {
        {"<dict><key>CFBundleIdentifier</key><string>a.b</string>"
         "<key>CFBundleExecutable</key><string>run</string></dict>",
         "a.b", home.path("Sample.app/Contents/Linux/run")},
        {"<dict><key>CFBundleExecutable</key><string>../../other</string></dict>", "", ""},
        {"<dict><key>CFBundleExecutable</key><array/><key>CFBundleIdentifier</key><true/></dict>", "", ""},
        {"<string>CFBundleIdentifier</string>", "", ""},
        {"<dict><key>CFBundleIdentifier</key><string>cut", "", ""},
        {"<dict><key>CFBundleIdentifier</key><string>a.b</string></dict>" + std::string(1U << 20, ' '), "",
         ""},
    };
    for (const auto& row : rows) {
        const std::string info = "<plist version=\"1.0\">" + row.info + "</plist>";
        ASSERT_TRUE(replaceFile(home.path("Sample.app/Contents/Info.plist"), std::as_bytes(std::span(info))));
        const Bundle bundle(FileUrl(home.path("Sample.app/")));
        EXPECT_EQ(bundle.identifier(), row.identifier) << info.substr(0, 100);
        EXPECT_EQ(bundle.executableUrl().path(), row.executable) << info.substr(0, 100);
    }
}
