#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <set>
#include <unordered_map>

#include "KitwellPlatform/RunLoop/RunLoop.h"

namespace kitwell::platform {

// The timers of one loop, in the order in which they are due. Belongs to the loop's thread.
class TimerQueue {
public:
    using TimePoint = RunLoop::Clock::time_point;
    static constexpr TimePoint kNever = TimePoint::max();

    // An interval of zero means once. `id` is the caller's and must be new.
    void add(std::uint64_t id, TimePoint due, RunLoop::Duration interval, RunLoopModes modes,
             std::function<void()> handler);
    void end(std::uint64_t id);
    // When the first timer of this mode is due; kNever when there is none.
    TimePoint firstDue(RunLoopMode mode) const;
    // Calls the handlers of all that is due by `now`; answers whether there was any.
    bool fireDue(RunLoopMode mode, TimePoint now);

private:
    struct Alarm {
        RunLoop::Duration interval;
        RunLoopModes modes;
        std::function<void()> handler;
    };
    struct Place {
        TimePoint due;
        std::uint64_t id;
        const Alarm* alarm;
        bool operator<(const Place& other) const {
            return due != other.due ? due < other.due : id < other.id;
        }
    };
    using Places = std::set<Place>;

    Places::const_iterator firstIn(RunLoopMode mode) const;
    void fire(Places::const_iterator place, TimePoint now);

    std::unordered_map<std::uint64_t, std::shared_ptr<const Alarm>> alarms_;
    Places places_; // a timer whose handler is running has no place
};

} // namespace kitwell::platform
