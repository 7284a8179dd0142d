#include <iostream>
#include <sys/stat.h>

#include "KitwellPlatform/Applications/Application.h"
#include "KitwellPlatform/Applications/RunningApplication.h"
#include "KitwellPlatform/Files/FileManager.h"
#include "KitwellPlatform/Files/LockedFile.h"
#include "KitwellPlatform/Files/SearchPaths.h"
#include "KitwellPlatform/RunLoop/NotificationCenter.h"
#include "KitwellPlatform/RunLoop/RunLoop.h"
#include "Support/Harness.h"

using namespace kitwell::platform;
using namespace kitwell::test;

namespace {

NotificationCenter::Subscription whenPosted(const char* name, std::function<void()> handler) {
    return NotificationCenter::defaultCenter().observe(
        name, &Application::shared(), [handler = std::move(handler)](const Notification&) { handler(); });
}

} // namespace

// Waits for its end in the pass of the loop that the argument names.
CHILD_BODY(waitsForItsEnd) {
    const auto launched = whenPosted(kApplicationDidFinishLaunchingNotification, [&] {
        say("launched");
        if (arguments[0] == "in a nested pass")
            RunLoop::current().run();
        if (arguments[0] == "in a modal pass")
            RunLoop::current().run(RunLoopMode::Modal);
    });
    const auto ending = whenPosted(kApplicationWillTerminateNotification, [] {
        bool answered = false;
        ::raise(SIGTERM);
        RunLoop::current().post([&] { answered = true; });
        while (!answered && RunLoop::current().runOnce(kPatience)) {
        }
        say(answered ? "persisted" : "no pass of the loop was left");
    });
    const int code = Application::shared().run();
    say(FileManager::namesInFolder(*SearchPaths::runtimeFolder() + "/applications").empty() ? "gone"
                                                                                            : "still there");
    ::raise(SIGTERM);
    return code;
}

class ApplicationTest : public InTestHome {};
class RunningApplicationTest : public InTestHome {};

TEST_F(ApplicationTest, ASignalEndsItTheOrderlyWayFromEveryPassOfTheLoop) {
    for (const int signal : {SIGTERM, SIGINT, SIGHUP}) {
        for (const char* pass : {"in the outermost pass", "in a nested pass", "in a modal pass"}) {
            SCOPED_TRACE(pass + std::string(" by signal ") + std::to_string(signal));
            auto application = ChildProcess::started("waitsForItsEnd", {pass});
            application.signal(signal);
            EXPECT_TRUE(application.waitForLine("persisted"));
            EXPECT_TRUE(application.waitForLine("gone"));
            EXPECT_EQ(application.wait(), 0) << "a later signal cut the end short";
        }
    }
}

CHILD_BODY(endsBeforeItRuns) {
    int launches = 0;
    int ends = 0;
    const auto launched = whenPosted(kApplicationDidFinishLaunchingNotification, [&] { ++launches; });
    const auto ending = whenPosted(kApplicationWillTerminateNotification, [&] {
        ++ends;
        Application::shared().terminate();
    });
    Application::shared().terminate();
    Application::shared().terminate();
    const int code = Application::shared().run();
    say(std::to_string(launches) + " " + std::to_string(ends));
    return code;
}

TEST_F(ApplicationTest, OneThatIsEndedBeforeItRunsReturnsAtOnceAndTellsSoOnce) {
    auto application = ChildProcess::body("endsBeforeItRuns");
    EXPECT_EQ(application.readLine(), "0 1");
    EXPECT_EQ(application.wait(), 0);
}

CHILD_BODY(runs) {
    const auto launched = whenPosted(kApplicationDidFinishLaunchingNotification, [] { say("launched"); });
    return Application::shared().run();
}

TEST_F(RunningApplicationTest, OneThatIsKilledDisappearsAtOnceWithItsFileAndNoOther) {
    const std::string program = makeTestBundle(home.path("data"), "child-runs", "sample.runs");
    auto first = ChildProcess::program(program);
    auto second = ChildProcess::body("runs"); // outside any bundle
    ASSERT_TRUE(first.waitForLine("launched") && second.waitForLine("launched"));
    ASSERT_EQ(RunningApplication::all().size(), 2U);
    const auto inBundle = RunningApplication::withBundleIdentifier("sample.runs");
    ASSERT_EQ(inBundle.size(), 1U);
    EXPECT_EQ(inBundle[0].processIdentifier, first.pid());
    EXPECT_EQ(inBundle[0].bundlePath, testBundlePath(home.path("data"), "child-runs"));
    first.signal(SIGKILL);
    ASSERT_EQ(first.wait(), 128 + SIGKILL);
    const auto running = RunningApplication::all();
    ASSERT_EQ(running.size(), 1U);
    EXPECT_EQ(running[0].processIdentifier, second.pid());
    EXPECT_EQ(running[0].bundleIdentifier, "");
    EXPECT_EQ(FileManager::namesInFolder(home.path("run/kitwell/applications")).size(), 1U);
}

TEST_F(RunningApplicationTest, AFileThatLiesOrIsDamagedIsNoApplication) {
    const std::string folder = *SearchPaths::runtimeFolder() + "/applications/";
    ASSERT_TRUE(FileManager::createFolder(folder));
    const std::pair<std::string, std::string> rows[] = {
        {"8-1", std::string("9\0sample\0/a\0", 12)}, // another process than its name says
        {"0-1", std::string("0\0sample\0/a\0", 12)}, // a signal to it would reach the caller's own group
        {"-1-1", std::string("-1\0sample\0/a\0", 13)},
        {"99999999999-1", std::string("99999999999\0sample\0/a\0", 22)},
        {"10-1", std::string("10\0sample\0/a", 12)},
        {"11-1", std::string("11\0sample\0/a\0more", 17)},
        {"12-1", std::string("12\0sample\0", 10) + std::string(1U << 20, 'x') + '\0'},
    };
    const auto honest = LockedFile::createLocked(folder + "7-1", std::string("7\0sample\0/a\0", 12));
    for (const auto& [name, content] : rows) {
        const auto liar = LockedFile::createLocked(folder + name, content);
        EXPECT_EQ(RunningApplication::all().size(), 1U) << name;
    }
    ASSERT_EQ(::mkfifo((folder + "14-1").c_str(), 0600), 0);
    ASSERT_EQ(::symlink("/etc/passwd", (folder + "15-1").c_str()), 0);
    EXPECT_EQ(RunningApplication::all().size(), 1U);
}

CHILD_BODY(listsDescriptors) {
    for (const auto& name : FileManager::namesInFolder("/proc/self/fd"))
        std::cout << name << " ";
    say("");
    return 0;
}

CHILD_BODY(opensEverythingAndBecomesAnother) {
    ::closefrom(3);
    const auto file = LockedFile::lockFile(*SearchPaths::runtimeFolder() + "/lock");
    const auto folder = LockedFile::lockFolder(*SearchPaths::runtimeFolder());
    const auto launched = whenPosted(kApplicationDidFinishLaunchingNotification, [] {
        RunLoop::current().pollableDescriptor();
        ::execl("/proc/self/exe", "again", "--child", "listsDescriptors", nullptr);
    });
    return Application::shared().run();
}

TEST_F(ApplicationTest, NoDescriptorOfOursIsInheritedByAProgramThatIsExecuted) {
    // The fourth is the one that reads the list.
    EXPECT_EQ(ChildProcess::body("opensEverythingAndBecomesAnother").readLine(), "0 1 2 3 ");
}
