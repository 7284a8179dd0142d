#include "KitwellPlatform/Applications/Application.h"

#include <csignal>

#include "KitwellPlatform/Applications/Announcement.h"
#include "KitwellPlatform/Applications/TerminationSignals.h"
#include "KitwellPlatform/Logging/Log.h"
#include "KitwellPlatform/RunLoop/NotificationCenter.h"
#include "KitwellPlatform/RunLoop/RunLoop.h"

namespace kitwell::platform {

struct Application::State {
    explicit State(std::function<void()> terminate) : signals(loop, std::move(terminate)) {}

    RunLoop& loop = RunLoop::current();
    ApplicationDelegate* delegate = nullptr;
    std::size_t visibleWindows = 0;
    bool finishedLaunching = false;
    bool terminating = false;
    bool active = false;
    TerminationSignals signals;
};

bool ApplicationDelegate::applicationShouldHandleReopen(Application&, bool) {
    return true;
}

Application& Application::shared() {
    static Application application;
    return application;
}

// Before the application does anything of its own: what it begins shall end in order. A reader of its output
// that is gone is an error of the write, and no reason to die of.
Application::Application() : state_(std::make_unique<State>([this] { terminate(); })) {
    ::signal(SIGPIPE, SIG_IGN);
}

Application::~Application() = default;

void Application::setDelegate(ApplicationDelegate* delegate) {
    state_->delegate = delegate;
}

ApplicationDelegate* Application::delegate() const {
    return state_->delegate;
}

int Application::run() {
    if (state_->terminating)
        return 0;
    const auto announcement = Announcement::make();
    if (!announcement)
        writeLogLine("Others cannot see that this application runs: " + announcement.error().description);
    state_->loop.post([this] { finishLaunching(); });
    state_->loop.run();
    terminate(); // whoever stopped the loop by itself ended the application all the same
    return 0;
}

void Application::finishLaunching() {
    if (state_->terminating)
        return;
    state_->finishedLaunching = true;
    NotificationCenter::defaultCenter().post(kApplicationDidFinishLaunchingNotification, this);
}

void Application::terminate() {
    if (state_->terminating)
        return;
    state_->terminating = true;
    // The loop is stopped last: an observer may still need a pass of it, to wait for an answer.
    NotificationCenter::defaultCenter().post(kApplicationWillTerminateNotification, this);
    state_->loop.stop();
}

bool Application::isFinishedLaunching() const {
    return state_->finishedLaunching;
}

bool Application::isTerminating() const {
    return state_->terminating;
}

void Application::setVisibleWindows(std::size_t count) {
    state_->visibleWindows = count;
}

bool Application::hasVisibleWindows() const {
    return state_->visibleWindows > 0;
}

void Application::activateIgnoringOtherApps(bool flag) {
    state_->active = flag;
}

bool Application::isActive() const {
    return state_->active;
}

} // namespace kitwell::platform
