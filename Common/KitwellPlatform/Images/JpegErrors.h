#pragma once

#include <memory>

struct jpeg_error_mgr;

namespace kitwell::platform {

// What the JPEG library does with its messages: an error jumps out of it, and so does a warning that tells of
// damaged pixels; all others are passed over in silence.
class JpegErrors {
public:
    JpegErrors();
    ~JpegErrors();
    JpegErrors(const JpegErrors&) = delete;
    JpegErrors& operator=(const JpegErrors&) = delete;

    jpeg_error_mgr* manager();

    // Runs `work`, which calls the library. False when it met an error: `work` has then been left by a jump,
    // so nothing with a destructor may live in it or in what it calls.
    template <class Work>
    bool guard(const Work& work) {
        return run([](const void* known) { (*static_cast<const Work*>(known))(); }, &work);
    }

private:
    struct State;
    bool run(void (*work)(const void* known), const void* known);

    std::unique_ptr<State> state_;
};

} // namespace kitwell::platform
