#include "KitwellPlatform/Images/PngCodec.h"

#include <csetjmp>
#include <utility>
#include <vector>

#include <png.h>

#include "KitwellPlatform/Images/OutOfMemory.h"
#include "KitwellPlatform/Images/PixelKind.h"

namespace kitwell::platform {

namespace {

// A quarter of the usual level's time for files that are a fifteenth larger.
constexpr int kLevel = 3;
constexpr int kFilters = PNG_FILTER_SUB;

[[noreturn]] void fail(png_structp png, png_const_charp) {
    png_longjmp(png, 1);
}
void staySilent(png_structp, png_const_charp) {}

void append(png_structp png, png_bytep bytes, std::size_t count) {
    auto& output = *static_cast<std::vector<std::byte>*>(png_get_io_ptr(png));
    if (!appendBytes(output, bytes, count))
        png_longjmp(png, 1);
}
void flushNothing(png_structp) {}

struct Writer {
    Writer() : png(png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, fail, staySilent)) {
        if (png)
            info = png_create_info_struct(png);
    }
    ~Writer() { png_destroy_write_struct(&png, &info); }
    Writer(const Writer&) = delete;
    Writer& operator=(const Writer&) = delete;

    png_structp png;
    png_infop info = nullptr;
};

int colourType(PixelKind kind) {
    return (kind.isGrey ? 0 : PNG_COLOR_MASK_COLOR) | (kind.isOpaque ? 0 : PNG_COLOR_MASK_ALPHA);
}

void writeRows(png_structp png, const ImageRepresentation& picture, PixelKind kind, std::byte* row) {
    const std::size_t size = std::size_t{picture.width} * 4;
    for (std::uint32_t y = 0; y < picture.height; ++y) {
        packPixels(picture.pixels.bytes().subspan(y * size, size), kind, row);
        png_write_row(png, reinterpret_cast<png_const_bytep>(row));
    }
}

// An error jumps out of the library to this function; nothing that has a destructor may live in it or in what
// it calls.
bool write(Writer& writer, const ImageRepresentation& picture, PixelKind kind, std::byte* row) {
    if (setjmp(png_jmpbuf(writer.png)))
        return false;
    png_set_IHDR(writer.png, writer.info, picture.width, picture.height, 8, colourType(kind),
                 PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_set_filter(writer.png, PNG_FILTER_TYPE_BASE, kFilters);
    png_set_compression_level(writer.png, kLevel);
    png_write_info(writer.png, writer.info);
    writeRows(writer.png, picture, kind, row);
    png_write_end(writer.png, nullptr);
    return true;
}

} // namespace

std::optional<Data> writePng(const ImageRepresentation& picture) {
    const PixelKind kind = kindOfPixels(picture.pixels.bytes());
    std::vector<std::byte> row(picture.width * kind.samples());
    std::vector<std::byte> output;
    Writer writer;
    if (!writer.info)
        return std::nullopt;
    png_set_write_fn(writer.png, &output, append, flushNothing);
    if (!write(writer, picture, kind, row.data()))
        return std::nullopt;
    return Data::adopting(std::move(output));
}

} // namespace kitwell::platform
