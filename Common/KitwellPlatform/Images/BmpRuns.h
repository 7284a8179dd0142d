#pragma once

#include <array>
#include <cstddef>
#include <span>

#include "KitwellPlatform/Images/PixelBuffer.h"

namespace kitwell::platform {

// Red, green, blue and alpha of each colour that a BMP's pixels name by number.
using BmpPalette = std::array<std::array<std::byte, 4>, 256>;

// Whether so little code may stand for so many pixels: a picture most of which is skipped is none, and no
// memory is taken for it.
bool mayBeBmpRuns(std::span<const std::byte> code, std::uint64_t width, std::uint64_t height);

// Reads rows that are stored as runs of colours of 8 or 4 bits, from the bottom. Pixels that are skipped get
// the first colour, what is beyond a row's end is dropped. False when the code ends before the picture does.
// Inside the library only; any thread.
bool readBmpRuns(std::span<const std::byte> code, unsigned bits, const BmpPalette& palette,
                 PixelBuffer& pixels);

} // namespace kitwell::platform
