#include "KitwellPlatform/Images/PixelKind.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <cstring>

namespace kitwell::platform {

namespace {

constexpr std::size_t kPixelSize = 4;
constexpr std::size_t kBlock = 256 * kPixelSize;

constexpr std::uint32_t pixelMask(std::uint8_t red, std::uint8_t green, std::uint8_t blue,
                                  std::uint8_t alpha) {
    return std::bit_cast<std::uint32_t>(std::array{red, green, blue, alpha});
}

// Without a way out, and for blocks of constant length, which the compiler turns into wide instructions.
template <std::size_t extent>
void look(std::span<const std::byte, extent> pixels, std::uint32_t& allBits, std::uint32_t& unlike) {
    for (std::size_t at = 0; at < pixels.size(); at += kPixelSize) {
        std::uint32_t pixel = 0;
        std::memcpy(&pixel, pixels.data() + at, kPixelSize);
        allBits &= pixel;
        // A colour beside its neighbour: red beside green and green beside blue.
        unlike |= pixel ^ std::rotl(pixel, 8);
    }
}

} // namespace

PixelKind kindOfPixels(std::span<const std::byte> pixels) {
    constexpr std::uint32_t kAlpha = pixelMask(0, 0, 0, 255);
    // After the rotation by a byte, either the first colour or the last has met the alpha.
    constexpr std::uint32_t kNeighbours =
        std::endian::native == std::endian::little ? pixelMask(0, 255, 255, 0) : pixelMask(255, 255, 0, 0);
    std::uint32_t allBits = ~0U;
    std::uint32_t unlike = 0;
    PixelKind kind;
    while (!pixels.empty() && (kind.isOpaque || kind.isGrey)) {
        const std::size_t length = std::min(kBlock, pixels.size());
        if (length == kBlock)
            look(pixels.first<kBlock>(), allBits, unlike);
        else
            look(pixels.first(length), allBits, unlike);
        kind = {(allBits & kAlpha) == kAlpha, (unlike & kNeighbours) == 0};
        pixels = pixels.subspan(length);
    }
    return kind;
}

void packPixels(std::span<const std::byte> pixels, PixelKind kind, std::byte* packed) {
    const std::size_t samples = kind.samples();
    if (samples == kPixelSize) {
        std::memcpy(packed, pixels.data(), pixels.size());
        return;
    }
    std::size_t at = 0;
    // Each pixel's fourth byte is written over by the next.
    for (; samples == 3 && at + kPixelSize < pixels.size(); at += kPixelSize, packed += samples)
        std::memcpy(packed, pixels.data() + at, kPixelSize);
    for (; at < pixels.size(); at += kPixelSize, packed += samples) {
        const std::byte* pixel = pixels.data() + at;
        packed[0] = pixel[0];
        if (samples == 2) {
            packed[1] = pixel[3];
        } else if (samples == 3) {
            packed[1] = pixel[1];
            packed[2] = pixel[2];
        }
    }
}

void layOverWhite(std::span<const std::byte> pixels, std::byte* opaque) {
    for (std::size_t at = 0; at < pixels.size(); at += kPixelSize) {
        const auto alpha = std::to_integer<unsigned>(pixels[at + 3]);
        for (std::size_t colour = 0; colour < 3; ++colour) {
            const unsigned sum = std::to_integer<unsigned>(pixels[at + colour]) * alpha + 255 * (255 - alpha);
            opaque[at + colour] = static_cast<std::byte>((sum + 127) / 255);
        }
        opaque[at + 3] = std::byte{255};
    }
}

} // namespace kitwell::platform
