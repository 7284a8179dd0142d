#include "KitwellPlatform/Applications/Application.h"
#include "KitwellPlatform/Applications/RunningApplication.h"
#include "KitwellPlatform/Files/LockedFile.h"
#include "KitwellPlatform/RunLoop/NotificationCenter.h"
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
    const auto launched = whenPosted(kApplicationDidFinishLaunchingNotification, [] { say("launched"); });
    const auto ending = whenPosted(kApplicationWillTerminateNotification, [] {
        say("ending");
        Application::shared().terminate();
    });
    Application::shared().terminate();
    return Application::shared().run();
}

TEST_F(ApplicationTest, OneThatIsEndedBeforeItRunsReturnsAtOnceAndTellsSoOnce) {
    auto application = ChildProcess::body("endsBeforeItRuns");
    EXPECT_EQ(application.readLine(), "ending");
    EXPECT_EQ(application.readLine(), std::nullopt);
    EXPECT_EQ(application.wait(), 0);
}

TEST_F(ApplicationTest, AFileThatLiesOrIsDamagedIsNoApplication) {
    const std::string folder = *SearchPaths::runtimeFolder() + "/applications/";
    ASSERT_TRUE(FileManager::createFolder(folder));
    const std::pair<std::string, std::string> rows[] = {
        {"8-1", std::string("9\0sample\0/a\0", 12)}, // another process than its name says
        {"0-1", std::string("0\0sample\0/a\0", 12)}, // a signal to it would reach the caller's own group
        {"99999999999-1", std::string("99999999999\0sample\0/a\0", 22)},
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
