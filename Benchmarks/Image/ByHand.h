#pragma once

#include "KitwellPlatform/Images/BitmapFile.h"

namespace kitwell::benchmarks {

// Writes the picture, which is opaque, with the type's codec library and the same settings, as its manual
// shows how; BMP, which needs no library, in two plain loops. Answers the bytes of the file.
std::size_t writeByHand(const platform::ImageRepresentation& picture, platform::BitmapFileType type);

} // namespace kitwell::benchmarks
