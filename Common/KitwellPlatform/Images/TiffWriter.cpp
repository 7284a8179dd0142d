#include "KitwellPlatform/Images/TiffCodec.h"

#include <utility>

#include <tiffio.h>

#include "KitwellPlatform/Images/TiffStream.h"

namespace kitwell::platform {

namespace {

// Room for the header, a directory's entries and the values that do not fit into them.
constexpr std::size_t kDirectoryRoom = 256;

std::size_t expectedSize(std::span<const ImageRepresentation> pictures) {
    std::size_t total = kDirectoryRoom;
    for (const ImageRepresentation& picture : pictures)
        total += picture.pixels.size() + kDirectoryRoom;
    return total;
}

bool describe(TIFF* file, const ImageRepresentation& picture) {
    const std::uint16_t alpha = EXTRASAMPLE_UNASSALPHA;
    return TIFFSetField(file, TIFFTAG_IMAGEWIDTH, picture.width) &&
           TIFFSetField(file, TIFFTAG_IMAGELENGTH, picture.height) &&
           TIFFSetField(file, TIFFTAG_ROWSPERSTRIP, picture.height) &&
           TIFFSetField(file, TIFFTAG_BITSPERSAMPLE, 8) && TIFFSetField(file, TIFFTAG_SAMPLESPERPIXEL, 4) &&
           TIFFSetField(file, TIFFTAG_EXTRASAMPLES, 1, &alpha) &&
           TIFFSetField(file, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_RGB) &&
           TIFFSetField(file, TIFFTAG_COMPRESSION, COMPRESSION_NONE) &&
           TIFFSetField(file, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG) &&
           TIFFSetField(file, TIFFTAG_ORIENTATION, ORIENTATION_TOPLEFT);
}

// The pixels stand in memory as they stand in the file, so they pass through no encoder.
bool write(TIFF* file, const ImageRepresentation& picture) {
    const auto size = static_cast<tmsize_t>(picture.pixels.size());
    void* pixels = const_cast<std::byte*>(picture.pixels.data());
    return describe(file, picture) && TIFFWriteRawStrip(file, 0, pixels, size) == size &&
           TIFFWriteDirectory(file);
}

} // namespace

std::optional<Data> writeTiff(std::span<const ImageRepresentation> pictures) {
    TiffOutput output;
    output.bytes.reserve(expectedSize(pictures));
    {
        const TiffHandle file = createTiff(output);
        if (!file)
            return std::nullopt;
        for (const ImageRepresentation& picture : pictures)
            if (!write(file.get(), picture))
                return std::nullopt;
    }
    return Data::adopting(std::move(output.bytes));
}

} // namespace kitwell::platform
