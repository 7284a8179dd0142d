#include "KitwellPlatform/Images/PictureReader.h"

#include <optional>
#include <string_view>
#include <utility>

#include "KitwellPlatform/Images/BmpCodec.h"
#include "KitwellPlatform/Images/GifCodec.h"
#include "KitwellPlatform/Images/Jpeg2000Codec.h"
#include "KitwellPlatform/Images/JpegCodec.h"
#include "KitwellPlatform/Images/PngCodec.h"
#include "KitwellPlatform/Images/TiffCodec.h"

namespace kitwell::platform {

namespace {

using namespace std::string_view_literals;

// A page is drawn by the programs that know PDF; here it is only known to be one.
std::optional<ImageRepresentation> pageOfPdf(const Data&) {
    return ImageRepresentation{};
}

struct Type {
    std::string_view beginning;
    std::optional<ImageRepresentation> (*read)(const Data& data);
};

constexpr Type kTypes[] = {
    {"\x89PNG\r\n\x1a\n"sv, readPng},
    {"\xff\xd8\xff"sv, readJpeg},
    {"GIF87a"sv, readGif},
    {"GIF89a"sv, readGif},
    {"BM"sv, readBmp},
    {"\0\0\0\x0cjP  \r\n\x87\n"sv, readJpeg2000},
    {"\xff\x4f\xff\x51"sv, readJpeg2000},
    {"%PDF-"sv, pageOfPdf},
};

} // namespace

std::vector<ImageRepresentation> readPictures(const Data& data, ImagePictures wanted) {
    for (const Type& type : kTypes) {
        if (!data.text().starts_with(type.beginning))
            continue;
        auto picture = type.read(data);
        std::vector<ImageRepresentation> pictures;
        if (picture)
            pictures.push_back(std::move(*picture));
        return pictures;
    }
    return readTiff(data, wanted).value_or(std::vector<ImageRepresentation>());
}

} // namespace kitwell::platform
