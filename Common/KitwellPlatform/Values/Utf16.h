#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <variant>

// Big-endian UTF-16, as binary property lists hold it. Not for users of the library.
namespace kitwell::platform {

// The characters as UTF-8, or the position of the first byte of half a surrogate pair. An even number of
// bytes.
std::variant<std::string, std::size_t> utf8FromUtf16(std::span<const std::byte> bytes);

// The characters of valid UTF-8.
std::string utf16FromUtf8(std::string_view text);

} // namespace kitwell::platform
