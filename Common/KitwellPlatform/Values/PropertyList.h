#pragma once

#include <cstddef>
#include <span>
#include <string_view>

#include "KitwellPlatform/Export.h"
#include "KitwellPlatform/Values/Data.h"
#include "KitwellPlatform/Values/Result.h"
#include "KitwellPlatform/Values/Value.h"

namespace kitwell::platform {

inline constexpr std::string_view kPropertyListErrorDomain = "propertylist";

// Bounds of what is read. Whatever is beyond them is an error, found before memory is taken. The bytes bound
// the file and also all texts and data that are read from it; they and the values are counted at each place
// of use.
inline constexpr std::size_t kMaxPropertyListDepth = 512;
inline constexpr std::size_t kMaxPropertyListBytes = 64U << 20;
inline constexpr std::size_t kMaxPropertyListValues = 4U << 20;

// Reads a binary or an XML property list; which of the two is seen from the first bytes. An error's code is
// the byte position of the fault. Any thread.
PLATFORM_API Result<Value> parsePropertyList(std::span<const std::byte> bytes);

// A binary property list ("bplist00"). Every double and date is kept bit for bit. An error, of code 0, for
// what property lists cannot hold: null, a number kept by its text, a text that is not UTF-8, anything beyond
// the bounds. Any thread.
PLATFORM_API Result<Data> writeBinaryPropertyList(const Value& root);

} // namespace kitwell::platform
