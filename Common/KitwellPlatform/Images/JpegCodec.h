#pragma once

#include <optional>

#include "KitwellPlatform/Images/Image.h"
#include "KitwellPlatform/Values/Data.h"

namespace kitwell::platform {

// A JPEG in grey, RGB, YCbCr, CMYK or YCCK, turned upright as its Exif block tells. One that stands upright
// and that every reader of embedded JPEGs takes keeps a hold on `data`. Nothing when it is damaged, beyond
// kMaxImagePixels, or cut into more scans than any program makes.
std::optional<ImageRepresentation> readJpeg(const Data& data);

// Quality 90 with colours in full resolution, so that coloured text stays sharp; alpha is laid over white. A
// grey picture is stored as one. Nothing when a side is longer than 65500 pixels.
std::optional<Data> writeJpeg(const ImageRepresentation& picture);

} // namespace kitwell::platform
