#pragma once

#include <csetjmp>
#include <cstddef>
#include <cstdio>

#include <jpeglib.h>

namespace kitwell::platform {

// What the JPEG library does with its messages: an error jumps out of it, and so does a warning that tells of
// damaged pixels; all others are passed over in silence.
class JpegErrors {
public:
    JpegErrors();
    JpegErrors(const JpegErrors&) = delete;
    JpegErrors& operator=(const JpegErrors&) = delete;

    jpeg_error_mgr* manager() { return &manager_; }

    // Runs `work`, which calls the library. False when it met an error: `work` has then been left by a jump,
    // so nothing with a destructor may live in it or in what it calls.
    template <class Work>
    bool guard(const Work& work) {
        if (setjmp(escape_))
            return false;
        work();
        return true;
    }

private:
    [[noreturn]] static void leave(j_common_ptr codec);
    static void hear(j_common_ptr codec, int level);
    static void staySilent(j_common_ptr) {}

    jpeg_error_mgr manager_{};
    std::jmp_buf escape_{};
};

} // namespace kitwell::platform
