#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <span>

namespace kitwell::platform {

// The number that up to 8 bytes at a place of a file hold; 0 when the file does not have them all.
inline std::uint64_t numberAt(std::span<const std::byte> file, std::size_t at, std::size_t size,
                              std::endian order) {
    std::uint64_t number = 0;
    for (std::size_t i = 0; i < size && size <= file.size() && at <= file.size() - size; ++i) {
        const std::size_t next = order == std::endian::big ? i : size - 1 - i;
        number = number << 8U | std::to_integer<std::uint64_t>(file[at + next]);
    }
    return number;
}

} // namespace kitwell::platform
