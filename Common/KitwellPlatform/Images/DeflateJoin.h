#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace kitwell::platform {

// Deflate streams that were compressed apart become one stream, one behind the other, when each but the last
// was opened. Inside the library only; any thread.

// Takes from a whole raw deflate stream the mark of its end and lets it end at a byte's border. False when it
// is no whole deflate stream. For a while the stream is up to kOpeningRoom bytes longer.
inline constexpr std::size_t kOpeningRoom = 8;
bool openDeflateStream(std::vector<std::byte>& stream);

// The checksum of two contents one behind the other.
std::uint32_t combineAdler32(std::uint32_t first, std::uint32_t second, std::uint64_t secondLength);

} // namespace kitwell::platform
