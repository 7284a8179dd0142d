#include "KitwellPlatform/Values/Result.h"

#include <system_error>

namespace kitwell::platform {

Error systemError(std::string_view doing, int errnoValue) {
    return {std::string(kSystemErrorDomain), errnoValue,
            std::string(doing) + ": " + std::system_category().message(errnoValue)};
}

} // namespace kitwell::platform
