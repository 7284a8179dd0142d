#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "KitwellPlatform/Export.h"

namespace kitwell::platform {

// What an observer is told: the name, and the object it is about (its identity only; null when it is about
// none).
struct Notification {
    std::string_view name;
    const void* object = nullptr;
};

// Tells observers within this process, synchronously, in the order in which they subscribed. An observer may
// subscribe, end any subscription (its own included) or post while it is being told: who has ended is not
// told any more, who is new is told from the next posting on. Belongs to the thread that uses it: in practice
// the main thread.
class PLATFORM_API NotificationCenter {
public:
    struct State;
    using Handler = std::function<void(const Notification&)>;

    // Ends the subscription when it goes. May outlive the centre.
    class PLATFORM_API Subscription {
    public:
        Subscription() = default;
        Subscription(Subscription&&) noexcept;
        Subscription& operator=(Subscription&&) noexcept;
        ~Subscription();
        explicit operator bool() const { return id_ != 0; }
        void end();

    private:
        friend class NotificationCenter;
        Subscription(std::weak_ptr<State> center, std::uint64_t id);
        std::weak_ptr<State> center_;
        std::uint64_t id_ = 0;
    };

    NotificationCenter();
    ~NotificationCenter();
    static NotificationCenter& defaultCenter();

    // A null `object` means any object.
    [[nodiscard]] Subscription observe(std::string_view name, const void* object, Handler handler);
    void post(std::string_view name, const void* object = nullptr);

private:
    std::shared_ptr<State> state_;
};

} // namespace kitwell::platform
