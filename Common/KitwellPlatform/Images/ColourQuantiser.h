#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

#include "KitwellPlatform/Images/Image.h"

namespace kitwell::platform {

using Rgb = std::array<std::uint8_t, 3>;

// A picture in at most 256 colours.
struct IndexedPicture {
    std::vector<Rgb> palette;
    std::optional<std::uint8_t> transparent; // the colour of the palette that stands for no colour
    std::vector<std::uint8_t> pixels;        // rows from the top, places in the palette
};

// Chooses the palette for the picture and gives each pixel the colour nearest to its own: exactly its own
// when the picture has no more than 256, or 255 beside transparency. Where there are very many, those that
// differ by less than 4 in each part may count as one. Pixels less than half opaque are transparent, all
// others opaque.
IndexedPicture quantise(const ImageRepresentation& picture);

} // namespace kitwell::platform
