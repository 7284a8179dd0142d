#pragma once

#include <optional>
#include <string>

#include "KitwellPlatform/Images/BitmapFile.h"

namespace kitwell::applications {

// Whether the file's name has that ending (".pdf"), upper and lower case being alike.
bool hasEnding(const std::string& path, std::string_view ending);

// The type of picture that the ending of the file's name tells; nothing for every other ending.
std::optional<platform::BitmapFileType> pictureTypeOf(const std::string& path);

} // namespace kitwell::applications
