#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "KitwellPlatform/Images/BitmapFile.h"
#include "KitwellPlatform/Images/Image.h"
#include "KitwellPlatform/Images/PdfContext.h"

using namespace kitwell::platform;

namespace {

// Beyond it a picture is only read: writing it over and over would leave no time for the bytes.
constexpr std::size_t kMaxWritten = 1 << 14;

void require(bool holds) {
    if (!holds)
        std::abort();
}

void requireSame(const std::optional<Data>& written, const std::vector<ImageRepresentation>& pictures,
                 bool isLossless) {
    require(written.has_value());
    const auto again = Image::fromData(*written);
    require(again && (!isLossless || again->representations() == pictures));
}

} // namespace

// Whatever is read can be written, and is the same when it is read again; and it can become a document.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    const auto image = Image::fromData(Data::copying(std::as_bytes(std::span(bytes, size))));
    if (!image || !image->representations().front().isBitmap())
        return 0;
    requireSame(image->tiffRepresentation(), image->representations(), true);
    const ImageRepresentation& first = image->representations().front();
    if (first.pixels.size() > kMaxWritten)
        return 0;
    for (const BitmapFileType type : {BitmapFileType::BMP, BitmapFileType::GIF, BitmapFileType::JPEG,
                                      BitmapFileType::PNG, BitmapFileType::JPEG2000})
        requireSame(bitmapData(first, type), {first},
                    type != BitmapFileType::GIF && type != BitmapFileType::JPEG);
    PdfContext document;
    require(document.addPage({0, 0, 9, 9}, first, {0, 0, 9, 9}));
    const auto file = document.close();
    require(file && file->text().starts_with("%PDF-") && file->text().ends_with("%%EOF\n"));
    return 0;
}
