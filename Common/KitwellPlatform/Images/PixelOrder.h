#pragma once

#include <cstddef>
#include <span>

#include "KitwellPlatform/Images/Image.h"

namespace kitwell::platform {

// Divides the colours of premultiplied pixels (red, green, blue, alpha) by their alpha, in place. A wholly
// transparent pixel has no colour left and becomes 0, 0, 0, 0.
void unpremultiply(std::span<std::byte> pixels);

// Turns a picture upright. `orientation` tells where its first row and first column belong, 1 to 8 in the
// numbering that TIFF and Exif share; any other number leaves it as it is.
ImageRepresentation uprightPicture(ImageRepresentation stored, unsigned orientation);

} // namespace kitwell::platform
