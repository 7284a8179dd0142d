#include "KitwellPlatform/RunLoop/RunLoopState.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <span>
#include <sys/epoll.h>
#include <sys/timerfd.h>

#include "KitwellPlatform/Logging/Log.h"
#include "KitwellPlatform/RunLoop/EventWait.h"

namespace kitwell::platform {

namespace {

constexpr std::uint64_t kWorkId = 1;
// The system hands ready descriptors out in rotation, so none starves.
constexpr std::size_t kEventsInTurn = 64;

std::uint32_t epollEvents(RunLoop::Interest interest) {
    switch (interest) {
    case RunLoop::Interest::Readable:
        return EPOLLIN;
    case RunLoop::Interest::Writable:
        return EPOLLOUT;
    case RunLoop::Interest::HangUp:
        break;
    }
    return 0; // the system tells hang-ups and errors unasked
}

RunLoop::Events eventsFrom(std::uint32_t events) {
    return {(events & EPOLLIN) != 0, (events & EPOLLOUT) != 0, (events & (EPOLLHUP | EPOLLERR)) != 0};
}

timespec timespecOf(RunLoop::Duration duration) {
    const auto nanoseconds = std::chrono::nanoseconds(duration).count();
    return {static_cast<time_t>(nanoseconds / 1'000'000'000), static_cast<long>(nanoseconds % 1'000'000'000)};
}

bool addTo(int epoll, int descriptor) {
    epoll_event event{EPOLLIN, {}};
    return ::epoll_ctl(epoll, EPOLL_CTL_ADD, descriptor, &event) == 0;
}

} // namespace

RunLoop::State::State() : epoll_(::epoll_create1(EPOLL_CLOEXEC)), lastId_(kWorkId) {
    if (!control(EPOLL_CTL_ADD, kWorkId, work_.descriptor(), EPOLLIN)) {
        writeLogLine("no descriptor is left for the run loop of this thread");
        std::abort();
    }
}

std::uint64_t RunLoop::State::watch(int descriptor, Interest interest, RunLoopModes modes,
                                    std::function<void(Events)> handler, Reentrancy reentrancy) {
    auto watch = std::make_shared<Watch>(
        Watch{descriptor, epollEvents(interest), modes, reentrancy, std::move(handler)});
    const std::uint64_t id = ++lastId_;
    if (!control(EPOLL_CTL_ADD, id, watch->descriptor, watch->events))
        return 0;
    watches_.emplace(id, std::move(watch));
    return id;
}

std::uint64_t RunLoop::State::addTimer(Duration delay, Duration interval, RunLoopModes modes,
                                       std::function<void()> handler) {
    const TimePoint now = Clock::now();
    const TimePoint due = now + std::clamp(delay, Duration::zero(), TimerQueue::kNever - now);
    const std::uint64_t id = ++lastId_;
    timers_.add(id, due, interval, modes, std::move(handler));
    armHostTimer();
    return id;
}

void RunLoop::State::end(std::uint64_t id) {
    // Dropping the handler may end other sources: the tables must be whole by then.
    const auto ended = watches_.extract(id);
    if (!ended.empty()) {
        control(EPOLL_CTL_DEL, id, ended.mapped()->descriptor, 0);
        return;
    }
    timers_.end(id);
    armHostTimer();
}

bool RunLoop::State::turn(RunLoopMode mode, TimePoint deadline) {
    awaken(mode);
    std::array<epoll_event, kEventsInTurn> events;
    const int count = wait(mode, deadline, events);
    const std::uint64_t thisTurn = ++turns_;
    const std::uint64_t workOfThisTurn = work_.posted();
    bool handled = false;
    if (const TimePoint due = timers_.firstDue(mode); due != TimerQueue::kNever) {
        handled = timers_.fireDue(mode, Clock::now());
        armHostTimer();
    }
    // After a nested turn the rest of this list may no longer hold; what does is told again.
    for (int index = 0; index < count && turns_ == thisTurn; ++index)
        handled |= dispatch(events[static_cast<std::size_t>(index)], mode, workOfThisTurn);
    return handled;
}

int RunLoop::State::wait(RunLoopMode mode, TimePoint deadline, std::span<epoll_event> events) {
    const TimePoint until = std::min(deadline, timers_.firstDue(mode));
    timespec limit{};
    if (until != TimerQueue::kNever)
        limit = timespecOf(std::max(until - Clock::now(), Duration::zero()));
    return waitForEvents(epoll_.get(), events, until == TimerQueue::kNever ? nullptr : &limit);
}

bool RunLoop::State::dispatch(const epoll_event& event, RunLoopMode mode, std::uint64_t workOfThisTurn) {
    const std::uint64_t id = event.data.u64;
    if (id == kWorkId) {
        work_.runUpTo(workOfThisTurn);
        return true;
    }
    const auto found = watches_.find(id);
    if (found == watches_.end())
        return false;
    const std::shared_ptr<Watch> watch = found->second;
    if (!watch->isHeededIn(mode)) {
        putToSleep(id, *watch);
        return false;
    }
    ++watch->running;
    watch->handler(eventsFrom(event.events));
    --watch->running;
    return true;
}

// Edge triggering without interest: the loop can wait instead of being woken in vain for ever. A hang-up is
// still told once, and must not be asked for again.
void RunLoop::State::putToSleep(std::uint64_t id, Watch& watch) {
    if (watch.asleep)
        return;
    watch.asleep = control(EPOLL_CTL_MOD, id, watch.descriptor, EPOLLET);
    asleep_.push_back(id);
}

void RunLoop::State::awaken(RunLoopMode mode) {
    std::erase_if(asleep_, [&](std::uint64_t id) {
        const auto found = watches_.find(id);
        if (found == watches_.end())
            return true;
        Watch& watch = *found->second;
        if (!watch.isHeededIn(mode))
            return false;
        watch.asleep = !control(EPOLL_CTL_MOD, id, watch.descriptor, watch.events);
        return true;
    });
}

bool RunLoop::State::control(int operation, std::uint64_t id, int descriptor, std::uint32_t events) {
    epoll_event event{events, {.u64 = id}};
    return ::epoll_ctl(epoll_.get(), operation, descriptor, &event) == 0;
}

void RunLoop::State::stop() {
    if (!stopped.exchange(true))
        work_.post([] {}); // wakes the wait
}

int RunLoop::State::pollableDescriptor() {
    if (!hostEpoll_) {
        hostEpoll_.reset(::epoll_create1(EPOLL_CLOEXEC));
        hostTimer_.reset(::timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK));
        if (!addTo(hostEpoll_.get(), epoll_.get()) || !addTo(hostEpoll_.get(), hostTimer_.get()))
            writeLogLine("no descriptor is left for the host of this thread's run loop");
        armHostTimer();
    }
    return hostEpoll_.get();
}

void RunLoop::State::armHostTimer() {
    const TimePoint due = hostTimer_ ? timers_.firstDue(RunLoopMode::Default) : TimerQueue::kNever;
    if (due == hostTimerDue_)
        return;
    hostTimerDue_ = due;
    itimerspec setting{}; // zero disarms, and setting forgets an expiry that was already told
    if (due != TimerQueue::kNever)
        setting.it_value = timespecOf(due.time_since_epoch());
    ::timerfd_settime(hostTimer_.get(), TFD_TIMER_ABSTIME, &setting, nullptr);
}

} // namespace kitwell::platform
