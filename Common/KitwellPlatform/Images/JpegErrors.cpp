#include "KitwellPlatform/Images/JpegErrors.h"

#include <csetjmp>
#include <cstdio>

#include <jpeglib.h>

#include <jerror.h>

namespace kitwell::platform {

// The manager comes first: the library hands over a pointer to it alone.
struct JpegErrors::State {
    jpeg_error_mgr manager{};
    std::jmp_buf escape{};

    [[noreturn]] static void leave(j_common_ptr codec) {
        std::longjmp(reinterpret_cast<State*>(codec->err)->escape, 1);
    }
    static void hear(j_common_ptr codec, int level) {
        const int code = codec->err->msg_code;
        if (level < 0 && code != JWRN_EXTRANEOUS_DATA && code != JWRN_JFIF_MAJOR && code != JWRN_ADOBE_XFORM)
            leave(codec);
    }
    static void staySilent(j_common_ptr) {}
};

JpegErrors::JpegErrors() : state_(std::make_unique<State>()) {
    jpeg_std_error(&state_->manager);
    state_->manager.error_exit = State::leave;
    state_->manager.emit_message = State::hear;
    state_->manager.output_message = State::staySilent;
}

JpegErrors::~JpegErrors() = default;

jpeg_error_mgr* JpegErrors::manager() {
    return &state_->manager;
}

bool JpegErrors::run(void (*work)(const void* known), const void* known) {
    if (setjmp(state_->escape))
        return false;
    work(known);
    return true;
}

} // namespace kitwell::platform
