#include "KitwellPlatform/Values/Result.h"

#include <cerrno>
#include <system_error>

namespace kitwell::platform {

Error systemError(std::string_view doing, int errnoValue) {
    return {std::string(kSystemErrorDomain), errnoValue,
            std::string(doing) + ": " + std::system_category().message(errnoValue)};
}

bool isNoSuchFile(const Error& error) {
    return error.domain == kSystemErrorDomain && error.code == ENOENT;
}

bool isFileExists(const Error& error) {
    return error.domain == kSystemErrorDomain && error.code == EEXIST;
}

} // namespace kitwell::platform
