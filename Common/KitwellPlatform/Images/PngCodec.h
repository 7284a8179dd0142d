#pragma once

#include <optional>

#include "KitwellPlatform/Images/Image.h"
#include "KitwellPlatform/Values/Data.h"

namespace kitwell::platform {

// A PNG of any kind as 8-bit sRGB; a picture of 8 bits a sample without a gamma of its own comes out exactly.
// Nothing when it is damaged, beyond kMaxImagePixels, or longer than a million pixels on one side.
std::optional<ImageRepresentation> readPng(const Data& data);

// Grey or RGB, with alpha where a pixel needs it. Nothing when a side is longer than a million pixels.
std::optional<Data> writePng(const ImageRepresentation& picture);

} // namespace kitwell::platform
