#include "KitwellPlatform/Machine/Environment.h"

#include <cstdlib>

namespace kitwell::platform {

std::optional<std::string> environmentVariable(const char* name) {
    const char* value = std::getenv(name);
    return value ? std::optional<std::string>(value) : std::nullopt;
}

} // namespace kitwell::platform
