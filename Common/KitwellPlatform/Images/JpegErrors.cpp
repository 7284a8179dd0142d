#include "KitwellPlatform/Images/JpegErrors.h"

#include <jerror.h>

namespace kitwell::platform {

JpegErrors::JpegErrors() {
    jpeg_std_error(&manager_);
    manager_.error_exit = leave;
    manager_.emit_message = hear;
    manager_.output_message = staySilent;
}

void JpegErrors::leave(j_common_ptr codec) {
    // The manager is the first member of a class without virtual functions.
    std::longjmp(reinterpret_cast<JpegErrors*>(codec->err)->escape_, 1);
}

void JpegErrors::hear(j_common_ptr codec, int level) {
    if (level >= 0)
        return;
    switch (codec->err->msg_code) {
    case JWRN_EXTRANEOUS_DATA:
    case JWRN_JFIF_MAJOR:
    case JWRN_ADOBE_XFORM:
        return;
    default:
        leave(codec);
    }
}

} // namespace kitwell::platform
