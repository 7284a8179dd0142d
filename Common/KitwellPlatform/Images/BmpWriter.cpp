#include "KitwellPlatform/Images/BmpCodec.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <memory>
#include <utility>

namespace kitwell::platform {

namespace {

constexpr std::size_t kFileHeaderSize = 14;
constexpr std::size_t kPlainHeaderSize = 40;
constexpr std::size_t kAlphaHeaderSize = 108;
constexpr std::uint32_t kMasks = 3;
constexpr std::uint32_t kDotsPerMetre = 2835; // 72 to the inch
constexpr std::uint32_t kSrgb = 0x73524742;

class HeaderWriter {
public:
    explicit HeaderWriter(std::byte* at) : at_(at) {}

    HeaderWriter& number(std::size_t value, unsigned size) {
        for (; size > 0; --size, value >>= 8)
            *at_++ = static_cast<std::byte>(value & 0xff);
        return *this;
    }

private:
    std::byte* at_;
};

void writeHeader(std::byte* file, std::size_t fileSize, const ImageRepresentation& picture, bool isOpaque,
                 std::size_t pixelsAt) {
    HeaderWriter header(file);
    header.number('B', 1).number('M', 1).number(fileSize, 4).number(0, 4).number(pixelsAt, 4);
    header.number(pixelsAt - kFileHeaderSize, 4)
        .number(picture.width, 4)
        .number(picture.height, 4)
        .number(1, 2);
    header.number(isOpaque ? 24 : 32, 2).number(isOpaque ? 0 : kMasks, 4).number(fileSize - pixelsAt, 4);
    header.number(kDotsPerMetre, 4).number(kDotsPerMetre, 4).number(0, 4).number(0, 4);
    if (isOpaque)
        return;
    header.number(0xff0000, 4).number(0xff00, 4).number(0xff, 4).number(0xff000000, 4).number(kSrgb, 4);
    for (int i = 0; i < 12; ++i) // the primaries and gammas, which sRGB has of its own
        header.number(0, 4);
}

// What is left of a row. Answers whether all pixels are opaque.
template <std::size_t pixelSize>
bool writePixels(const std::byte* pixels, std::uint32_t count, std::byte* row) {
    std::byte alpha{255};
    for (; count > 0; --count, pixels += 4, row += pixelSize) {
        row[0] = pixels[2];
        row[1] = pixels[1];
        row[2] = pixels[0];
        if constexpr (pixelSize == 4)
            row[3] = pixels[3];
        alpha &= pixels[3];
    }
    return alpha == std::byte{255};
}

// Two pixels at a time, in a word whose last two bytes the next pixels go over: half the time of single
// bytes.
bool writeOpaqueRow(const std::byte* pixels, std::uint32_t width, std::byte* row) {
    std::uint64_t allBits = ~std::uint64_t{0};
    for (; std::endian::native == std::endian::little && width > 2; width -= 2, pixels += 8, row += 6) {
        std::uint64_t two = 0;
        std::memcpy(&two, pixels, 8);
        allBits &= two;
        two = __builtin_bswap64(two);
        two = (two >> 40 & 0xffffff) | (two >> 8 & 0xffffff) << 24;
        std::memcpy(row, &two, 8);
    }
    constexpr std::uint64_t kAlpha = 0xff000000ff000000;
    return writePixels<3>(pixels, width, row) && (allBits & kAlpha) == kAlpha;
}

// With three bytes a pixel nothing when a pixel is not opaque. That is found out row by row, as a row that
// has just been looked at need not come from memory again.
template <std::size_t pixelSize>
std::optional<Data> writeFile(const ImageRepresentation& picture) {
    constexpr bool isOpaque = pixelSize == 3;
    const std::size_t sourceSize = std::size_t{picture.width} * 4;
    const std::size_t used = picture.width * pixelSize;
    const std::size_t rowSize = (used + 3) / 4 * 4;
    const std::size_t pixelsAt = kFileHeaderSize + (isOpaque ? kPlainHeaderSize : kAlphaHeaderSize);
    const std::size_t size = pixelsAt + rowSize * picture.height;
    auto file = std::make_shared_for_overwrite<std::byte[]>(size);
    writeHeader(file.get(), size, picture, isOpaque, pixelsAt);
    std::byte* row = file.get() + pixelsAt;
    for (std::size_t y = picture.height; y-- > 0; row += rowSize) {
        const std::byte* source = picture.pixels.data() + y * sourceSize;
        if constexpr (!isOpaque)
            writePixels<pixelSize>(source, picture.width, row);
        else if (!writeOpaqueRow(source, picture.width, row))
            return std::nullopt;
        std::fill(row + used, row + rowSize, std::byte{0});
    }
    const std::span<const std::byte> bytes(file.get(), size);
    return Data::sharing(std::move(file), bytes);
}

} // namespace

std::optional<Data> writeBmp(const ImageRepresentation& picture) {
    const auto opaque = writeFile<3>(picture);
    return opaque ? opaque : writeFile<4>(picture);
}

} // namespace kitwell::platform
