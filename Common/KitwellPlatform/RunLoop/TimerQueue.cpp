#include "KitwellPlatform/RunLoop/TimerQueue.h"

#include <algorithm>

#include "KitwellPlatform/RunLoop/RunLoopState.h"

namespace kitwell::platform {

void TimerQueue::add(std::uint64_t id, TimePoint due, RunLoop::Duration interval, RunLoopModes modes,
                     std::function<void()> handler) {
    auto alarm = std::make_shared<const Alarm>(Alarm{interval, modes, std::move(handler)});
    places_.insert({due, id, alarm.get()});
    alarms_.emplace(id, std::move(alarm));
}

void TimerQueue::end(std::uint64_t id) {
    // Dropping the handler may end other timers: the tables must be whole by then.
    const auto ended = alarms_.extract(id);
    if (!ended.empty())
        std::erase_if(places_, [&](const Place& place) { return place.id == id; });
}

TimerQueue::TimePoint TimerQueue::firstDue(RunLoopMode mode) const {
    const auto first = firstIn(mode);
    return first == places_.end() ? kNever : first->due;
}

bool TimerQueue::fireDue(RunLoopMode mode, TimePoint now) {
    bool any = false;
    // Looked up anew each time, since a handler may change the list.
    for (auto next = firstIn(mode); next != places_.end() && next->due <= now; next = firstIn(mode)) {
        fire(next, now);
        any = true;
    }
    return any;
}

TimerQueue::Places::const_iterator TimerQueue::firstIn(RunLoopMode mode) const {
    return std::ranges::find_if(places_,
                                [&](const Place& place) { return includes(place.alarm->modes, mode); });
}

void TimerQueue::fire(Places::const_iterator place, TimePoint now) {
    auto node = places_.extract(place);
    const std::uint64_t id = node.value().id;
    const auto held = alarms_.find(id)->second;
    if (held->interval == RunLoop::Duration::zero())
        alarms_.erase(id);
    held->handler();
    if (!alarms_.contains(id))
        return;
    TimePoint& due = node.value().due;
    due += ((now - due) / held->interval + 1) * held->interval;
    places_.insert(std::move(node));
}

} // namespace kitwell::platform
