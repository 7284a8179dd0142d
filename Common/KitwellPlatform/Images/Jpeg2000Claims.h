#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace kitwell::platform {

inline constexpr std::uint32_t kMaxJpeg2000Components = 4;

// Whether the file is a bare codestream and no JP2 file that has one in a box.
bool isJpeg2000Codestream(std::span<const std::byte> file);

// Looks at what the file claims before the codec sees it, which takes memory for every tile as soon as it
// reads the header, and for every colour component, a palette's too, before it tells how many there are.
// Inside the library only; any thread.
bool claimsLittle(std::span<const std::byte> file);

} // namespace kitwell::platform
