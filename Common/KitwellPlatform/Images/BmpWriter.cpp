#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <memory>
#include <utility>

#include "KitwellPlatform/Images/BmpCodec.h"
#include "KitwellPlatform/Images/PixelKind.h"

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
                 std::size_t headerSize) {
    const std::size_t pixelsAt = kFileHeaderSize + headerSize;
    HeaderWriter header(file);
    header.number('B', 1).number('M', 1).number(fileSize, 4).number(0, 4).number(pixelsAt, 4);
    header.number(headerSize, 4).number(picture.width, 4).number(picture.height, 4).number(1, 2);
    header.number(isOpaque ? 24 : 32, 2).number(isOpaque ? 0 : kMasks, 4).number(fileSize - pixelsAt, 4);
    header.number(kDotsPerMetre, 4).number(kDotsPerMetre, 4).number(0, 4).number(0, 4);
    if (isOpaque)
        return;
    header.number(0xff0000, 4).number(0xff00, 4).number(0xff, 4).number(0xff000000, 4).number(kSrgb, 4);
    for (int i = 0; i < 12; ++i) // the primaries and gammas, which sRGB has of its own
        header.number(0, 4);
}

// Blue, green, red, alpha.
std::uint32_t turned(const std::byte* pixel) {
    constexpr auto kKept = std::bit_cast<std::uint32_t>(std::array<std::uint8_t, 4>{0, 255, 0, 255});
    std::uint32_t word = 0;
    std::memcpy(&word, pixel, 4);
    return (word & kKept) | (std::rotl(word, 16) & ~kKept);
}

// Writes four bytes for a pixel even where it has three, as the next pixel goes over the fourth: whole words are
// much faster. The last pixel has no next one.
template <std::size_t pixelSize>
void writeRow(const std::byte* pixels, std::uint32_t width, std::byte* row) {
    std::uint32_t word = turned(pixels);
    for (std::uint32_t x = 1; x < width; ++x, row += pixelSize) {
        std::memcpy(row, &word, 4);
        word = turned(pixels += 4);
    }
    std::memcpy(row, &word, pixelSize);
}

} // namespace

std::optional<Data> writeBmp(const ImageRepresentation& picture) {
    const bool isOpaque = kindOfPixels(picture.pixels.bytes()).isOpaque;
    const std::size_t used = std::size_t{picture.width} * (isOpaque ? 3 : 4);
    const std::size_t rowSize = (used + 3) / 4 * 4;
    const std::size_t headerSize = isOpaque ? kPlainHeaderSize : kAlphaHeaderSize;
    const std::size_t size = kFileHeaderSize + headerSize + rowSize * picture.height;
    auto file = std::make_shared_for_overwrite<std::byte[]>(size);
    writeHeader(file.get(), size, picture, isOpaque, headerSize);
    std::byte* row = file.get() + kFileHeaderSize + headerSize;
    for (std::uint32_t y = picture.height; y-- > 0; row += rowSize) {
        const std::byte* pixels = picture.pixels.data() + std::size_t{y} * picture.width * 4;
        isOpaque ? writeRow<3>(pixels, picture.width, row) : writeRow<4>(pixels, picture.width, row);
        std::fill(row + used, row + rowSize, std::byte{0});
    }
    const std::span<const std::byte> bytes(file.get(), size);
    return Data::sharing(std::move(file), bytes);
}

} // namespace kitwell::platform
