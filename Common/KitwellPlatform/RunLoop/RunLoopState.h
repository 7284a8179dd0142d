#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <unordered_map>
#include <vector>

#include "KitwellPlatform/Files/FileDescriptor.h"
#include "KitwellPlatform/RunLoop/RunLoop.h"
#include "KitwellPlatform/RunLoop/TimerQueue.h"
#include "KitwellPlatform/RunLoop/WorkQueue.h"

struct epoll_event;

namespace kitwell::platform {

inline bool includes(RunLoopModes modes, RunLoopMode mode) {
    return (static_cast<unsigned>(modes) & static_cast<unsigned>(mode)) != 0;
}

// What stands behind a loop. Sources and timers are known by numbers that are never used twice: an event that
// was fetched before its source ended finds nothing, even when the descriptor's number lives on in a new
// source.
struct RunLoop::State {
    using TimePoint = Clock::time_point;

    State();

    std::uint64_t watch(int descriptor, Interest interest, RunLoopModes modes,
                        std::function<void(Events)> handler, Reentrancy reentrancy);
    std::uint64_t addTimer(Duration delay, Duration interval, RunLoopModes modes,
                           std::function<void()> handler);
    void end(std::uint64_t id);

    // Waits until `deadline` at the longest and handles what is there then; answers whether there was
    // anything.
    bool turn(RunLoopMode mode, TimePoint deadline);
    // Leaves everything as a host waits for it: awake for the default mode.
    void settle() { awaken(RunLoopMode::Default); }
    void post(std::function<void()> work) { work_.post(std::move(work)); } // any thread
    void stop();                                                           // any thread
    int pollableDescriptor();

    std::atomic<bool> stopped = false;

private:
    struct Watch {
        int descriptor;
        std::uint32_t events;
        RunLoopModes modes;
        Reentrancy reentrancy;
        std::function<void(Events)> handler;
        unsigned running = 0; // calls under way, one inside the other
        bool asleep = false;  // silenced in the kernel

        bool isHeededIn(RunLoopMode mode) const {
            return includes(modes, mode) && (running == 0 || reentrancy == Reentrancy::Allowed);
        }
    };

    int wait(RunLoopMode mode, TimePoint deadline, std::span<epoll_event> events);
    bool dispatch(const epoll_event& event, RunLoopMode mode, std::uint64_t workOfThisTurn);
    void putToSleep(std::uint64_t id, Watch& watch);
    void awaken(RunLoopMode mode);
    bool control(int operation, std::uint64_t id, int descriptor, std::uint32_t events);
    void armHostTimer();

    FileDescriptor epoll_;
    FileDescriptor hostEpoll_; // for a host: the one above and the timer below, since our own waits carry
    FileDescriptor hostTimer_; // their time limit with them
    TimePoint hostTimerDue_ = TimerQueue::kNever;
    WorkQueue work_;
    TimerQueue timers_;
    std::unordered_map<std::uint64_t, std::shared_ptr<Watch>> watches_;
    std::vector<std::uint64_t> asleep_; // sources that were ready when they were not to be heeded
    std::uint64_t lastId_;
    std::uint64_t turns_ = 0;
};

} // namespace kitwell::platform
