#pragma once

#include <utility>

namespace kitwell::platform {

// An object that a function keeps for the whole process as a static of its own: no destructor runs, so that a
// thread or a destructor that is still at work while the process ends may use it. As safe among threads as
// the object itself.
template <typename Object>
union NeverDestroyed {
public:
    template <typename... Arguments>
    explicit NeverDestroyed(Arguments&&... arguments) : object_(std::forward<Arguments>(arguments)...) {}
    NeverDestroyed(const NeverDestroyed&) = delete;
    NeverDestroyed& operator=(const NeverDestroyed&) = delete;
    ~NeverDestroyed() {}

    Object& operator*() { return object_; }
    Object* operator->() { return &object_; }

private:
    Object object_;
};

} // namespace kitwell::platform
