#pragma once

#include <span>
#include <string_view>

#include "KitwellCommon/Export.h"

// The suite's product data: which tools there are.
namespace kitwell {

// What precedes the tool's name in its bundle identifier.
inline constexpr std::string_view kToolIdentifierPrefix = "com.corvalen.kitwell.";

// The bundle identifiers of all tools, in the letter case that the tools themselves use. A new tool is added
// here, or nobody may use it.
KITWELL_API std::span<const std::string_view> toolCatalogue();

// Those of them that do not belong to the predefined set for business.
KITWELL_API std::span<const std::string_view> toolsWithoutBusinessUse();

} // namespace kitwell
