#include "KitwellPlatform/RunLoop/NotificationCenter.h"

#include <map>
#include <utility>

#include "KitwellPlatform/Values/NeverDestroyed.h"

namespace kitwell::platform {

struct NotificationCenter::State {
    struct Observer {
        std::string name;
        const void* object;
        Handler handler;
    };
    std::map<std::uint64_t, std::shared_ptr<const Observer>> observers; // by number: the order of subscribing
    std::uint64_t lastId = 0;
};

NotificationCenter::Subscription::Subscription(std::weak_ptr<State> center, std::uint64_t id)
    : center_(std::move(center)), id_(id) {}

NotificationCenter::Subscription::Subscription(Subscription&& other) noexcept
    : center_(std::move(other.center_)), id_(std::exchange(other.id_, 0)) {}

NotificationCenter::Subscription& NotificationCenter::Subscription::operator=(Subscription&& other) noexcept {
    if (this != &other) {
        end();
        center_ = std::move(other.center_);
        id_ = std::exchange(other.id_, 0);
    }
    return *this;
}

NotificationCenter::Subscription::~Subscription() {
    end();
}

void NotificationCenter::Subscription::end() {
    const std::uint64_t id = std::exchange(id_, 0);
    const auto center = center_.lock();
    if (id == 0 || !center)
        return;
    // Dropping the handler may end other subscriptions: the table must be whole by then.
    const auto ended = center->observers.extract(id);
}

NotificationCenter::NotificationCenter() : state_(std::make_shared<State>()) {}

NotificationCenter::~NotificationCenter() = default;

NotificationCenter& NotificationCenter::defaultCenter() {
    static NeverDestroyed<NotificationCenter> center;
    return *center;
}

NotificationCenter::Subscription NotificationCenter::observe(std::string_view name, const void* object,
                                                             Handler handler) {
    const std::uint64_t id = ++state_->lastId;
    state_->observers.emplace(id, std::make_shared<const State::Observer>(
                                      State::Observer{std::string(name), object, std::move(handler)}));
    return {state_, id};
}

void NotificationCenter::post(std::string_view name, const void* object) {
    const std::shared_ptr<State> state = state_; // an observer may drop the centre
    const std::uint64_t last = state->lastId;
    std::uint64_t told = 0;
    // The place is looked up anew after each call, since an observer may change the list.
    for (auto next = state->observers.upper_bound(told);
         next != state->observers.end() && next->first <= last; next = state->observers.upper_bound(told)) {
        told = next->first;
        const auto observer = next->second;
        if (observer->name == name && (!observer->object || observer->object == object))
            observer->handler({name, object});
    }
}

} // namespace kitwell::platform
