#pragma once

#include <cstddef>
#include <memory>

#include "KitwellPlatform/Export.h"

namespace kitwell::platform {

// Posted to the default notification centre with the application as their object.
inline constexpr char kApplicationDidFinishLaunchingNotification[] =
    "ApplicationDidFinishLaunchingNotification";
inline constexpr char kApplicationWillTerminateNotification[] = "ApplicationWillTerminateNotification";

class Application;

// What an application decides for itself. Called on the main thread.
class PLATFORM_API ApplicationDelegate {
public:
    virtual ~ApplicationDelegate() = default;
    // The user asked for the application again while it runs. The default does nothing and answers true.
    virtual bool applicationShouldHandleReopen(Application& application, bool hasVisibleWindows);
};

// The one application object of this process. Belongs to the main thread.
//
// `run` announces the process among the running applications, posts the finished-launching notification, and
// runs the main loop until `terminate`. From the first call of `shared` on, SIGTERM, SIGINT and SIGHUP
// terminate the application in the same orderly way as soon as the main loop runs, in a nested pass too; one
// that was ignored when the process started stays ignored. SIGPIPE is ignored.
class PLATFORM_API Application {
public:
    static Application& shared();

    void setDelegate(ApplicationDelegate* delegate); // not owned; null for none
    ApplicationDelegate* delegate() const;

    // Answers the exit code for `main` to return.
    int run();
    // Posts the will-terminate notification (once) and ends every run of the main loop, nested ones included:
    // control goes back through the callers to `run`, which then returns. The loop still serves nested passes
    // while observers are being told. Before `run`, that returns at once.
    void terminate();
    bool isFinishedLaunching() const;
    bool isTerminating() const;

    // This system's tools have no windows of their own here; a program that shows one says so.
    void setVisibleWindows(std::size_t count);
    bool hasVisibleWindows() const;
    // Asks for the front. There is no window here to bring there: the wish is remembered, for a program that
    // shows one.
    void activateIgnoringOtherApps(bool flag);
    bool isActive() const;

private:
    struct State;
    Application();
    ~Application();
    void finishLaunching();
    std::unique_ptr<State> state_;
};

} // namespace kitwell::platform
