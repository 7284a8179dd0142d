#pragma once

#include <optional>

#include "KitwellPlatform/Images/Image.h"
#include "KitwellPlatform/Values/Data.h"

namespace kitwell::platform {

// A BMP with 1, 4 or 8 bits of a palette, plain or in runs, or 16, 24 or 32 bits of colours with or without
// masks, from the bottom or from the top. Nothing when it is damaged, holds a JPEG or PNG or is beyond
// kMaxImagePixels.
std::optional<ImageRepresentation> readBmp(const Data& data);

// 24 bits a pixel, or 32 with alpha when a pixel needs it.
std::optional<Data> writeBmp(const ImageRepresentation& picture);

} // namespace kitwell::platform
