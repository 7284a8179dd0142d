#include "KitwellPlatform/Images/PixelOrder.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <utility>
#include <vector>

namespace kitwell::platform {

namespace {

constexpr std::size_t kPixelSize = 4;

// Where the first stored row and column belong.
struct Placement {
    bool rowsFromEnd;    // the first row is the bottom one, or the rightmost where rows stand upright
    bool columnsFromEnd; // the first column is the rightmost, or the bottom one
    bool rowsUpright;
};

constexpr Placement kPlacements[] = {
    {false, false, false}, {false, true, false}, {true, true, false}, {true, false, false},
    {false, false, true},  {true, false, true},  {true, true, true},  {false, true, true},
};

std::byte undividedColour(std::byte colour, unsigned alpha) {
    return static_cast<std::byte>(
        std::min(255U, (std::to_integer<unsigned>(colour) * 255 + alpha / 2) / alpha));
}

} // namespace

void unpremultiply(std::span<std::byte> pixels) {
    for (std::size_t at = 0; at + kPixelSize <= pixels.size(); at += kPixelSize) {
        const auto alpha = std::to_integer<unsigned>(pixels[at + 3]);
        if (alpha == 255)
            continue;
        for (std::byte& colour : pixels.subspan(at, 3))
            colour = alpha == 0 ? std::byte{0} : undividedColour(colour, alpha);
    }
}

ImageRepresentation uprightPicture(ImageRepresentation stored, unsigned orientation) {
    if (orientation < 2 || orientation > std::size(kPlacements))
        return stored;
    const Placement placement = kPlacements[orientation - 1];
    ImageRepresentation upright{stored.width, stored.height, {}};
    if (placement.rowsUpright)
        std::swap(upright.width, upright.height);
    std::vector<std::byte> pixels(stored.pixels.size());
    const std::byte* source = stored.pixels.data();
    for (std::size_t row = 0; row < stored.height; ++row)
        for (std::size_t column = 0; column < stored.width; ++column, source += kPixelSize) {
            std::size_t y = placement.rowsFromEnd ? stored.height - 1 - row : row;
            std::size_t x = placement.columnsFromEnd ? stored.width - 1 - column : column;
            if (placement.rowsUpright)
                std::swap(x, y);
            std::memcpy(pixels.data() + (y * upright.width + x) * kPixelSize, source, kPixelSize);
        }
    upright.pixels = Data::adopting(std::move(pixels));
    return upright;
}

} // namespace kitwell::platform
