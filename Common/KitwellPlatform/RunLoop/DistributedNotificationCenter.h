#pragma once

#include <functional>
#include <memory>
#include <string_view>

#include "KitwellPlatform/Export.h"

namespace kitwell::platform {

// Tells observers in every process of this user, this one included. A notification is a name and nothing
// else; names are plain path components of at most 80 bytes, any other name reaches nobody.
//
// Posting never waits. Every observer that had subscribed when `post` was called is told at least once after
// it, on the run loop of the thread that subscribed, in the common modes; several postings that it has not
// read yet may reach it as one. Observers that died, hang, or do not read cost a poster nothing.
class PLATFORM_API DistributedNotificationCenter {
public:
    using Handler = std::function<void(std::string_view name)>;

    // Ends the subscription when it goes. Belongs to the thread that subscribed.
    class PLATFORM_API Subscription {
    public:
        struct State;
        Subscription();
        Subscription(Subscription&&) noexcept;
        Subscription& operator=(Subscription&&) noexcept;
        ~Subscription();
        explicit operator bool() const { return state_ != nullptr; }

    private:
        friend class DistributedNotificationCenter;
        std::unique_ptr<State> state_;
    };

    static DistributedNotificationCenter& defaultCenter();

    // The handler may end its own subscription, observe, and post; while it runs, it is not called a second
    // time from within. An empty subscription for a name that reaches nobody; also, with one log line, when
    // the runtime folder cannot be used.
    [[nodiscard]] Subscription observe(std::string_view name, Handler handler);
    // Any thread. What keeps it from posting at all is logged the first time.
    void post(std::string_view name);
};

} // namespace kitwell::platform
