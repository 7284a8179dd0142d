#pragma once

#include <optional>

#include "KitwellPlatform/Export.h"
#include "KitwellPlatform/Images/Image.h"
#include "KitwellPlatform/Values/Data.h"

namespace kitwell::platform {

enum class BitmapFileType { TIFF, BMP, GIF, JPEG, PNG, JPEG2000 };

// The content of a file of that type which holds the picture. TIFF, BMP, PNG and JPEG 2000 keep every pixel;
// GIF reduces it to 256 colours and lets pixels be either opaque or transparent; JPEG lays it over white and
// has a quality of 90. The same picture gives the same bytes. Nothing when it is no bitmap or is too large
// for the type (a side of 65535 pixels for GIF, 65500 for JPEG, a million for PNG) or for an image. Any
// thread.
PLATFORM_API std::optional<Data> bitmapData(const ImageRepresentation& picture, BitmapFileType type);

} // namespace kitwell::platform
