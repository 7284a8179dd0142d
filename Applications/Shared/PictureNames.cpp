#include "Shared/PictureNames.h"

#include <filesystem>
#include <string_view>
#include <utility>

#include "Shared/Words.h"

namespace kitwell::applications {

using platform::BitmapFileType;

bool hasEnding(const std::string& path, std::string_view ending) {
    return isSameName(std::filesystem::path(path).extension().string(), ending);
}

std::optional<BitmapFileType> pictureTypeOf(const std::string& path) {
    constexpr std::pair<std::string_view, BitmapFileType> kTypes[] = {
        {".tif", BitmapFileType::TIFF}, {".tiff", BitmapFileType::TIFF},   {".bmp", BitmapFileType::BMP},
        {".gif", BitmapFileType::GIF},  {".jpg", BitmapFileType::JPEG},    {".jpeg", BitmapFileType::JPEG},
        {".png", BitmapFileType::PNG},  {".jp2", BitmapFileType::JPEG2000}};
    for (const auto& [ending, type] : kTypes)
        if (hasEnding(path, ending))
            return type;
    return std::nullopt;
}

} // namespace kitwell::applications
