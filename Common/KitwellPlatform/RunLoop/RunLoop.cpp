#include "KitwellPlatform/RunLoop/RunLoop.h"

#include <algorithm>
#include <utility>

#include "KitwellPlatform/RunLoop/RunLoopState.h"

namespace kitwell::platform {

namespace {

RunLoop::Clock::time_point deadlineAfter(RunLoop::Duration limit) {
    const auto now = RunLoop::Clock::now();
    return now + std::clamp(limit, RunLoop::Duration::zero(), TimerQueue::kNever - now);
}

} // namespace

RunLoop::Source::Source(std::weak_ptr<State> loop, std::uint64_t id) : loop_(std::move(loop)), id_(id) {}

RunLoop::Source::Source(Source&& other) noexcept
    : loop_(std::move(other.loop_)), id_(std::exchange(other.id_, 0)) {}

RunLoop::Source& RunLoop::Source::operator=(Source&& other) noexcept {
    if (this != &other) {
        end();
        loop_ = std::move(other.loop_);
        id_ = std::exchange(other.id_, 0);
    }
    return *this;
}

RunLoop::Source::~Source() {
    end();
}

void RunLoop::Source::end() {
    const std::uint64_t id = std::exchange(id_, 0);
    if (id == 0)
        return;
    if (const auto loop = loop_.lock())
        loop->end(id);
}

RunLoop::RunLoop() : state_(std::make_shared<State>()) {}

RunLoop::~RunLoop() = default;

RunLoop& RunLoop::current() {
    thread_local RunLoop loop;
    return loop;
}

RunLoop::Source RunLoop::watch(int descriptor, Interest interest, RunLoopModes modes,
                               std::function<void(Events)> handler, Reentrancy reentrancy) {
    return {state_, state_->watch(descriptor, interest, modes, std::move(handler), reentrancy)};
}

void RunLoop::run(RunLoopMode mode) {
    while (!state_->stopped)
        state_->turn(mode, TimerQueue::kNever);
    state_->settle();
}

void RunLoop::runFor(Duration limit, RunLoopMode mode) {
    const auto deadline = deadlineAfter(limit);
    bool timeIsLeft = true;
    while (timeIsLeft && !state_->stopped) {
        state_->turn(mode, deadline);
        timeIsLeft = Clock::now() < deadline;
    }
    state_->settle();
}

bool RunLoop::runOnce(Duration limit, RunLoopMode mode) {
    const auto deadline = deadlineAfter(limit);
    bool handled = false;
    bool timeIsLeft = true;
    while (!handled && timeIsLeft && !state_->stopped) {
        handled = state_->turn(mode, deadline);
        timeIsLeft = handled || Clock::now() < deadline;
    }
    state_->settle();
    return handled;
}

void RunLoop::stop() {
    state_->stop();
}

void RunLoop::restart() {
    state_->stopped = false;
}

bool RunLoop::isStopped() const {
    return state_->stopped;
}

void RunLoop::post(std::function<void()> work) {
    state_->post(std::move(work));
}

int RunLoop::pollableDescriptor() {
    return state_->pollableDescriptor();
}

void RunLoop::dispatchPending() {
    state_->turn(RunLoopMode::Default, Clock::time_point());
    state_->settle();
}

Timer Timer::once(RunLoop& loop, RunLoop::Duration delay, RunLoopModes modes, std::function<void()> handler) {
    const auto id = loop.state_->addTimer(delay, RunLoop::Duration::zero(), modes, std::move(handler));
    return Timer(RunLoop::Source(loop.state_, id));
}

Timer Timer::repeating(RunLoop& loop, RunLoop::Duration interval, RunLoopModes modes,
                       std::function<void()> handler) {
    const auto step = std::max(interval, RunLoop::Duration(1));
    return Timer(RunLoop::Source(loop.state_, loop.state_->addTimer(step, step, modes, std::move(handler))));
}

} // namespace kitwell::platform
