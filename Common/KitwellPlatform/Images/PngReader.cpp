#include "KitwellPlatform/Images/PngCodec.h"

#include <png.h>

#include "KitwellPlatform/Images/PixelBuffer.h"

namespace kitwell::platform {

namespace {

// The library's plain interface keeps its jumps to itself, passes over the chunks that are of no use here
// (and so over what is packed into them) and refuses a file that ends before its pixels do.
struct Reader : png_image {
    Reader() : png_image{} { version = PNG_IMAGE_VERSION; }
    ~Reader() { png_image_free(this); }
    Reader(const Reader&) = delete;
    Reader& operator=(const Reader&) = delete;
};

} // namespace

std::optional<ImageRepresentation> readPng(const Data& data) {
    Reader reader;
    if (!png_image_begin_read_from_memory(&reader, data.data(), data.size()) ||
        !PixelBuffer::isPossible(reader.width, reader.height))
        return std::nullopt;
    reader.format = PNG_FORMAT_RGBA;
    reader.flags |= PNG_IMAGE_FLAG_16BIT_sRGB;
    PixelBuffer pixels(reader.width, reader.height);
    if (!png_image_finish_read(&reader, nullptr, pixels.bytes().data(), 0, nullptr))
        return std::nullopt;
    return pixels.picture();
}

} // namespace kitwell::platform
