#pragma once

#include <vector>

#include "KitwellPlatform/Images/Image.h"

namespace kitwell::platform {

// The pictures of a file's content, which tells by itself what it is. None when it is not of a known type, is
// damaged, or is beyond the bounds of an image.
std::vector<ImageRepresentation> readPictures(const Data& data, ImagePictures wanted);

} // namespace kitwell::platform
