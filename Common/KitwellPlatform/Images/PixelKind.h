#pragma once

#include <cstddef>
#include <span>

namespace kitwell::platform {

// What a file has to store of a picture.
struct PixelKind {
    bool isOpaque = true;
    bool isGrey = true;

    std::size_t samples() const { return (isGrey ? 1U : 3U) + (isOpaque ? 0U : 1U); }
};

// Looks at pixels (red, green, blue, alpha) until both answers are known to be no.
PixelKind kindOfPixels(std::span<const std::byte> pixels);

// Writes the samples that `kind` has, of as many pixels as there are, one behind the other.
void packPixels(std::span<const std::byte> pixels, PixelKind kind, std::byte* packed);

// Lays pixels over white and writes red, green, blue and a fourth byte without meaning.
void layOverWhite(std::span<const std::byte> pixels, std::byte* opaque);

} // namespace kitwell::platform
