#pragma once

#include <optional>

#include "KitwellPlatform/Images/Image.h"
#include "KitwellPlatform/Values/Data.h"

namespace kitwell::platform {

// A JPEG 2000 picture, as a JP2 file or as a bare codestream, in grey, RGB or YCbCr with or without alpha,
// reduced to 8 bits a sample. Nothing when it is damaged, in other colours or beyond kMaxImagePixels.
std::optional<ImageRepresentation> readJpeg2000(const Data& data);

// A lossless JP2 in grey or RGB, with alpha where a pixel needs it.
std::optional<Data> writeJpeg2000(const ImageRepresentation& picture);

} // namespace kitwell::platform
