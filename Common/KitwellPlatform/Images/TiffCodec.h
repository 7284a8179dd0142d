#pragma once

#include <optional>
#include <span>
#include <vector>

#include "KitwellPlatform/Images/Image.h"
#include "KitwellPlatform/Values/Data.h"

namespace kitwell::platform {

// The pictures of a TIFF, in its order. Nothing when one of the wanted ones is damaged or all together are
// beyond kMaxImagePixels or kMaxImageRepresentations. Pictures of 8 bits a sample in grey or RGB, with or
// without alpha, come out exactly; what is stored as writeTiff() stores it shares the bytes of `data`. All
// other kinds (palette, 16 bits, separate planes, JPEG ...) are reduced to 8 bits by way of premultiplied
// alpha.
std::optional<std::vector<ImageRepresentation>> readTiff(const Data& data, ImagePictures wanted);

// Uncompressed little-endian TIFF, a directory with one strip for each picture. The pictures must be such as
// Image::fromRepresentations takes.
std::optional<Data> writeTiff(std::span<const ImageRepresentation> pictures);

} // namespace kitwell::platform
