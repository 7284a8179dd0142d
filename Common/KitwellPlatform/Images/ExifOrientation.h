#pragma once

#include <cstddef>
#include <span>

namespace kitwell::platform {

// The orientation, 1 to 8, that an Exif block (the content of a JPEG's APP1 segment) gives its picture; 1
// when it gives none or is no Exif block.
unsigned exifOrientation(std::span<const std::byte> segment);

} // namespace kitwell::platform
