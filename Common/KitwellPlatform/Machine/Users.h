#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "KitwellPlatform/Export.h"

namespace kitwell::platform {

// The group of those who may administer this machine: the first that exists of "admin", "sudo" and "wheel".
// Nothing where there is none of them. Main thread.
PLATFORM_API std::optional<std::uint32_t> administratorsGroup();

// The names in the user database, or the number as text where it has none. Main thread.
PLATFORM_API std::string userName(std::uint32_t userId);
PLATFORM_API std::string groupName(std::uint32_t groupId);

} // namespace kitwell::platform
