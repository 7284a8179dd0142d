#include "KitwellPlatform/Images/BitmapFile.h"

#include <span>

#include "KitwellPlatform/Images/BmpCodec.h"
#include "KitwellPlatform/Images/GifCodec.h"
#include "KitwellPlatform/Images/Jpeg2000Codec.h"
#include "KitwellPlatform/Images/JpegCodec.h"
#include "KitwellPlatform/Images/OutOfMemory.h"
#include "KitwellPlatform/Images/PngCodec.h"
#include "KitwellPlatform/Images/TiffCodec.h"

namespace kitwell::platform {

namespace {

std::optional<Data> dataOf(const ImageRepresentation& picture, BitmapFileType type) {
    switch (type) {
    case BitmapFileType::TIFF:
        return writeTiff(std::span(&picture, 1));
    case BitmapFileType::BMP:
        return writeBmp(picture);
    case BitmapFileType::GIF:
        return writeGif(picture);
    case BitmapFileType::JPEG:
        return writeJpeg(picture);
    case BitmapFileType::PNG:
        return writePng(picture);
    case BitmapFileType::JPEG2000:
        return writeJpeg2000(picture);
    }
    return std::nullopt;
}

} // namespace

std::optional<Data> bitmapData(const ImageRepresentation& picture, BitmapFileType type) {
    if (!picture.isBitmap() || picture.pixels.size() > kMaxImagePixels * 4)
        return std::nullopt;
    return orNothingWithoutMemory([&] { return dataOf(picture, type); });
}

} // namespace kitwell::platform
