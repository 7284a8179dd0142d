#include "KitwellPlatform/Images/TiffCodec.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <cstring>
#include <memory>
#include <utility>

#include <tiffio.h>

#include "KitwellPlatform/Images/PixelBuffer.h"
#include "KitwellPlatform/Images/PixelOrder.h"
#include "KitwellPlatform/Images/TiffStream.h"

namespace kitwell::platform {

namespace {

constexpr std::size_t kPixelSize = 4;
// The library takes memory for one strip or tile at a time.
constexpr std::uint64_t kMaxBlockSize = kMaxImagePixels * kPixelSize;

enum class Alpha { none, associated, unassociated };

struct Layout {
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::uint16_t samples = 0;
    std::uint16_t orientation = ORIENTATION_TOPLEFT;
    Alpha alpha = Alpha::none;
    bool isUncompressed = false;
    bool isExact = false; // 8-bit grey or RGB, pixel by pixel: can be copied without a conversion

    std::uint64_t pixels() const { return std::uint64_t{width} * height; }
    std::uint64_t storedSize() const { return pixels() * samples; }
};

template <class T>
T field(TIFF* file, std::uint32_t tag) {
    T value = 0;
    return TIFFGetFieldDefaulted(file, tag, &value) ? value : T{0};
}

// The directory may describe an alpha that its pixels have no sample for. An unexplained sample beyond three
// is taken for associated alpha, as the library itself takes it.
Alpha alphaKind(TIFF* file, std::uint16_t samples) {
    std::uint16_t count = 0;
    const std::uint16_t* kinds = nullptr;
    const bool hasRoom = samples == 2 || samples > 3;
    if (!hasRoom || !TIFFGetFieldDefaulted(file, TIFFTAG_EXTRASAMPLES, &count, &kinds) || count == 0)
        return Alpha::none;
    if (kinds[0] == EXTRASAMPLE_UNASSALPHA)
        return Alpha::unassociated;
    return kinds[0] == EXTRASAMPLE_ASSOCALPHA || samples > 3 ? Alpha::associated : Alpha::none;
}

bool isExact(TIFF* file, std::uint16_t samples) {
    const auto photometric = field<std::uint16_t>(file, TIFFTAG_PHOTOMETRIC);
    const auto compression = field<std::uint16_t>(file, TIFFTAG_COMPRESSION);
    const bool isGrey = photometric == PHOTOMETRIC_MINISBLACK && (samples == 1 || samples == 2);
    const bool isRgb = photometric == PHOTOMETRIC_RGB && (samples == 3 || samples == 4);
    return (isGrey || isRgb) && field<std::uint16_t>(file, TIFFTAG_BITSPERSAMPLE) == 8 &&
           field<std::uint16_t>(file, TIFFTAG_SAMPLEFORMAT) == SAMPLEFORMAT_UINT &&
           field<std::uint16_t>(file, TIFFTAG_PLANARCONFIG) == PLANARCONFIG_CONTIG &&
           compression != COMPRESSION_JPEG && compression != COMPRESSION_OJPEG;
}

Layout layoutOfDirectory(TIFF* file) {
    Layout layout;
    layout.width = field<std::uint32_t>(file, TIFFTAG_IMAGEWIDTH);
    layout.height = field<std::uint32_t>(file, TIFFTAG_IMAGELENGTH);
    layout.samples = field<std::uint16_t>(file, TIFFTAG_SAMPLESPERPIXEL);
    layout.orientation = field<std::uint16_t>(file, TIFFTAG_ORIENTATION);
    layout.alpha = alphaKind(file, layout.samples);
    layout.isUncompressed = field<std::uint16_t>(file, TIFFTAG_COMPRESSION) == COMPRESSION_NONE;
    layout.isExact = isExact(file, layout.samples);
    return layout;
}

// A strip or a tile: the piece in which a picture is stored.
struct Blocks {
    bool isTiled = false;
    std::uint32_t width = 0;
    std::uint32_t height = 0;

    bool isEmpty() const { return width == 0 || height == 0; }
};

Blocks blocksOfDirectory(TIFF* file, const Layout& layout) {
    if (TIFFIsTiled(file))
        return {true, field<std::uint32_t>(file, TIFFTAG_TILEWIDTH),
                field<std::uint32_t>(file, TIFFTAG_TILELENGTH)};
    return {false, layout.width, std::min(layout.height, field<std::uint32_t>(file, TIFFTAG_ROWSPERSTRIP))};
}

// All blocks together, for which the places in the file may be the same bytes over and over: what the library
// unpacks, and what it prepares for that. Room for a tile that is far larger than its picture, and for rows
// that fill none.
bool isWorthReading(TIFF* file, std::uint64_t blockSize, const Layout& layout, std::size_t dataSize) {
    constexpr std::uint64_t kRoom = std::uint64_t{64} << 20U;
    const std::uint32_t blocks = TIFFIsTiled(file) ? TIFFNumberOfTiles(file) : TIFFNumberOfStrips(file);
    const std::uint64_t bits = field<std::uint16_t>(file, TIFFTAG_BITSPERSAMPLE);
    if (blocks == 0 || blocks > (2 * layout.storedSize() * bits / 8 + kRoom) / blockSize)
        return false;
    std::uint64_t packed = 0;
    for (std::uint32_t i = 0; i < blocks; ++i)
        packed += std::min<std::uint64_t>(TIFFGetStrileByteCount(file, i), dataSize);
    return packed <= 2 * dataSize + kRoom;
}

// Looks at what the directory claims, before any memory is taken for it.
bool isWithinBounds(TIFF* file, const Layout& layout, std::uint64_t pixelsLeft, std::size_t dataSize) {
    if (layout.width == 0 || layout.height == 0 || layout.samples == 0 || layout.pixels() > pixelsLeft)
        return false;
    if (blocksOfDirectory(file, layout).isEmpty())
        return false;
    const std::uint64_t blockSize = TIFFIsTiled(file) ? TIFFTileSize64(file) : TIFFStripSize64(file);
    if (blockSize == 0 || blockSize > kMaxBlockSize || !isWorthReading(file, blockSize, layout, dataSize))
        return false;
    return !layout.isExact || !layout.isUncompressed || layout.storedSize() <= dataSize;
}

void copyRow(const std::byte* source, std::byte* target, std::uint32_t count, const Layout& layout) {
    if (layout.samples == 4) {
        std::memcpy(target, source, count * kPixelSize);
        return;
    }
    const bool isRgb = layout.samples == 3;
    for (std::uint32_t i = 0; i < count; ++i, source += layout.samples, target += kPixelSize) {
        target[0] = source[0];
        target[1] = source[isRgb ? 1 : 0];
        target[2] = source[isRgb ? 2 : 0];
        target[3] = layout.alpha == Alpha::none ? std::byte{255} : source[1];
    }
}

// Decodes the block that begins at the given pixel into `block`. False when it is damaged or too short.
bool readBlock(TIFF* file, const Blocks& blocks, std::uint32_t x, std::uint32_t y,
               std::span<std::byte> block) {
    const auto size = static_cast<tmsize_t>(block.size());
    const tmsize_t got =
        blocks.isTiled ? TIFFReadEncodedTile(file, TIFFComputeTile(file, x, y, 0, 0), block.data(), size)
                       : TIFFReadEncodedStrip(file, TIFFComputeStrip(file, y, 0), block.data(), size);
    return got == size;
}

std::optional<Data> readExactly(TIFF* file, const Layout& layout) {
    const Blocks blocks = blocksOfDirectory(file, layout);
    const std::size_t rowSize = std::size_t{blocks.width} * layout.samples;
    const auto block = std::make_unique_for_overwrite<std::byte[]>(rowSize * blocks.height);
    PixelBuffer pixels(layout.width, layout.height);
    for (std::uint32_t y = 0; y < layout.height; y += std::min(blocks.height, layout.height - y)) {
        const std::uint32_t rows = std::min(blocks.height, layout.height - y);
        const std::span<std::byte> stored(block.get(), rowSize * (blocks.isTiled ? blocks.height : rows));
        for (std::uint32_t x = 0; x < layout.width; x += std::min(blocks.width, layout.width - x)) {
            if (!readBlock(file, blocks, x, y, stored))
                return std::nullopt;
            for (std::uint32_t row = 0; row < rows; ++row)
                copyRow(stored.data() + row * rowSize, pixels.row(y + row) + x * kPixelSize,
                        std::min(blocks.width, layout.width - x), layout);
        }
    }
    if (layout.alpha == Alpha::associated)
        unpremultiply(pixels.bytes());
    return pixels.picture().pixels;
}

// A picture that stands in the data as it stands in memory needs no copy; the receiver of a large icon then
// pays for no more than the look at its directory.
std::optional<Data> shareStrip(TIFF* file, const Layout& layout, const Data& data) {
    if (!layout.isExact || !layout.isUncompressed || layout.samples != 4 ||
        layout.alpha != Alpha::unassociated || TIFFIsTiled(file) || TIFFNumberOfStrips(file) != 1 ||
        field<std::uint16_t>(file, TIFFTAG_FILLORDER) != FILLORDER_MSB2LSB)
        return std::nullopt;
    const std::uint64_t offset = TIFFGetStrileOffset(file, 0);
    const std::uint64_t size = layout.storedSize();
    if (TIFFGetStrileByteCount(file, 0) < size || offset > data.size() || size > data.size() - offset)
        return std::nullopt;
    return Data::sharing(std::make_shared<Data>(data), data.bytes().subspan(offset, size));
}

// The library's own conversion. It answers premultiplied pixels packed into integers; asking for the
// orientation that is stored keeps it from mirroring, which uprightPicture() does for all kinds alike.
std::optional<Data> readConverted(TIFF* file, const Layout& layout) {
    char reason[1024];
    if (!TIFFRGBAImageOK(file, reason))
        return std::nullopt;
    const auto raster = std::make_shared_for_overwrite<std::uint32_t[]>(layout.pixels());
    if (!TIFFReadRGBAImageOriented(file, layout.width, layout.height, raster.get(), layout.orientation, 1))
        return std::nullopt;
    const std::span words(raster.get(), layout.pixels());
    for (std::uint32_t& pixel : words)
        pixel = std::bit_cast<std::uint32_t>(std::array{
            static_cast<std::uint8_t>(TIFFGetR(pixel)), static_cast<std::uint8_t>(TIFFGetG(pixel)),
            static_cast<std::uint8_t>(TIFFGetB(pixel)), static_cast<std::uint8_t>(TIFFGetA(pixel))});
    const std::span<std::byte> pixels = std::as_writable_bytes(words);
    if (layout.alpha != Alpha::none)
        unpremultiply(pixels);
    return Data::sharing(raster, pixels);
}

std::optional<ImageRepresentation> readPicture(TIFF* file, const Data& data, std::uint64_t pixelsLeft) {
    const Layout layout = layoutOfDirectory(file);
    if (!isWithinBounds(file, layout, pixelsLeft, data.size()))
        return std::nullopt;
    std::optional<Data> pixels = shareStrip(file, layout, data);
    if (!pixels)
        pixels = layout.isExact ? readExactly(file, layout) : readConverted(file, layout);
    if (!pixels)
        return std::nullopt;
    return uprightPicture({layout.width, layout.height, std::move(*pixels)}, layout.orientation);
}

} // namespace

std::optional<std::vector<ImageRepresentation>> readTiff(const Data& data, ImagePictures wanted) {
    TiffInput input{data.bytes()};
    const TiffHandle file = openTiff(input, kMaxBlockSize);
    if (!file)
        return std::nullopt;
    std::vector<ImageRepresentation> pictures;
    std::uint64_t pixelsLeft = kMaxImagePixels;
    for (;;) {
        auto picture = readPicture(file.get(), data, pixelsLeft);
        if (!picture)
            return std::nullopt;
        pixelsLeft -= std::uint64_t{picture->width} * picture->height;
        pictures.push_back(std::move(*picture));
        if (wanted == ImagePictures::First || TIFFLastDirectory(file.get()))
            return pictures;
        if (pictures.size() == kMaxImageRepresentations || !TIFFReadDirectory(file.get()))
            return std::nullopt;
    }
}

} // namespace kitwell::platform
