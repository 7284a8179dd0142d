#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "KitwellPlatform/Export.h"
#include "KitwellPlatform/Values/Result.h"

namespace kitwell::platform {

// Extended attributes of a file, symlinks followed. This system keeps a user's attributes in the name space
// "user.": attribute "a" is stored as "user.a". Any thread.

PLATFORM_API Result<void> setExtendedAttribute(const std::string& path, std::string_view name,
                                               std::span<const std::byte> value);

// The attribute's bytes; nothing when the file or the attribute is missing, or it is longer than `limit`
// bytes.
PLATFORM_API std::optional<std::vector<std::byte>>
extendedAttribute(const std::string& path, std::string_view name, std::size_t limit);

} // namespace kitwell::platform
