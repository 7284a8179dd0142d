#pragma once

#include <optional>

#include "KitwellPlatform/Images/Image.h"
#include "KitwellPlatform/Values/Data.h"

namespace kitwell::platform {

// The first frame of a GIF in its place on the file's canvas; an animation's other frames are not looked at.
// Nothing when that much of the file is damaged or beyond kMaxImagePixels.
std::optional<ImageRepresentation> readGif(const Data& data);

// 256 colours chosen for the picture; pixels that are less than half opaque become transparent. Nothing when
// a side is longer than 65535 pixels.
std::optional<Data> writeGif(const ImageRepresentation& picture);

} // namespace kitwell::platform
