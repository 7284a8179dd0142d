#include "KitwellPlatform/Images/BmpCodec.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>

#include "KitwellPlatform/Images/BmpRuns.h"
#include "KitwellPlatform/Images/ByteOrder.h"
#include "KitwellPlatform/Images/PixelBuffer.h"

namespace kitwell::platform {

namespace {

constexpr std::size_t kFileHeaderSize = 14;
constexpr std::uint32_t kOldHeaderSize = 12;
constexpr std::uint32_t kInfoHeaderSize = 40;
constexpr std::uint32_t kAlphaHeaderSize = 56; // from here on the header itself has a mask for alpha
constexpr std::uint32_t kMaxHeaderSize = 124;
constexpr std::size_t kMasksAt = kFileHeaderSize + kInfoHeaderSize;

// The other compressions are refused: they are for printers.
constexpr std::uint32_t kPlain = 0;
constexpr std::uint32_t kRunsOf8Bits = 1;
constexpr std::uint32_t kRunsOf4Bits = 2;
constexpr std::uint32_t kMasks = 3;
constexpr std::uint32_t kMasksWithAlpha = 6;

std::uint32_t number(std::span<const std::byte> file, std::size_t at, std::size_t size) {
    return static_cast<std::uint32_t>(numberAt(file, at, size, std::endian::little));
}

// Takes one colour out of a pixel's bits and spreads it over 0 to 255.
struct Channel {
    explicit Channel(std::uint32_t bits)
        : mask(bits), shift(bits ? static_cast<unsigned>(std::countr_zero(bits)) : 0), top(bits >> shift) {}

    std::byte of(std::uint32_t pixel, unsigned without) const {
        if (top == 0)
            return static_cast<std::byte>(without);
        if (top == 255)
            return static_cast<std::byte>(pixel >> shift & 255);
        return static_cast<std::byte>((std::uint64_t{(pixel & mask) >> shift} * 255 + top / 2) / top);
    }

    std::uint32_t mask;
    unsigned shift;
    std::uint32_t top;
};

struct Layout {
    std::uint32_t headerSize = 0;
    std::uint64_t width = 0;
    std::uint64_t height = 0;
    bool isFromTop = false;
    std::uint32_t bits = 0;
    std::uint32_t compression = kPlain;
    std::uint32_t pixelsAt = 0;

    bool isOld() const { return headerSize == kOldHeaderSize; }
    std::uint64_t rowSize() const { return (width * bits + 31) / 32 * 4; }
    bool hasPalette() const { return bits <= 8; }
    bool hasMasks() const { return compression == kMasks || compression == kMasksWithAlpha; }
    bool isInRuns() const { return compression == kRunsOf8Bits || compression == kRunsOf4Bits; }
    bool isKnown() const {
        const bool isHeaderKnown = isOld() || (headerSize >= kInfoHeaderSize && headerSize <= kMaxHeaderSize);
        return isHeaderKnown && isDepthKnown();
    }

private:
    bool isDepthKnown() const {
        if (isInRuns())
            return bits == (compression == kRunsOf8Bits ? 8 : 4) && !isFromTop;
        if (hasMasks())
            return bits == 16 || bits == 24 || bits == 32;
        return compression == kPlain &&
               (bits == 1 || bits == 4 || bits == 8 || bits == 16 || bits == 24 || bits == 32);
    }
};

Layout layoutOf(std::span<const std::byte> file) {
    Layout layout;
    layout.pixelsAt = number(file, 10, 4);
    layout.headerSize = number(file, 14, 4);
    if (layout.isOld()) {
        layout.width = number(file, 18, 2);
        layout.height = number(file, 20, 2);
        layout.bits = number(file, 24, 2);
        return layout;
    }
    const auto height = static_cast<std::int64_t>(static_cast<std::int32_t>(number(file, 22, 4)));
    layout.width = number(file, 18, 4);
    layout.isFromTop = height < 0;
    layout.height = static_cast<std::uint64_t>(height < 0 ? -height : height);
    layout.bits = number(file, 28, 2);
    layout.compression = number(file, 30, 4);
    return layout;
}

// Black where the file has fewer colours than its pixels could name.
BmpPalette paletteOf(std::span<const std::byte> file, const Layout& layout) {
    const unsigned entrySize = layout.isOld() ? 3 : 4;
    const std::size_t at = kFileHeaderSize + layout.headerSize;
    const std::uint32_t told = layout.isOld() ? 0 : number(file, 46, 4);
    const std::uint32_t possible = 1U << layout.bits;
    const std::uint32_t count = told == 0 ? possible : std::min(told, possible);
    BmpPalette palette;
    palette.fill({std::byte{0}, std::byte{0}, std::byte{0}, std::byte{255}});
    for (std::size_t i = 0; i < count && at + (i + 1) * entrySize <= layout.pixelsAt; ++i)
        for (unsigned colour = 0; colour < 3; ++colour)
            palette[i][2 - colour] = static_cast<std::byte>(number(file, at + i * entrySize + colour, 1));
    return palette;
}

std::array<Channel, 4> channelsOf(std::span<const std::byte> file, const Layout& layout) {
    if (!layout.hasMasks() && layout.bits == 16)
        return {Channel(0x7c00), Channel(0x3e0), Channel(0x1f), Channel(0)};
    if (!layout.hasMasks())
        return {Channel(0xff0000), Channel(0xff00), Channel(0xff), Channel(0)};
    const bool hasAlpha = layout.compression == kMasksWithAlpha || layout.headerSize >= kAlphaHeaderSize;
    const auto mask = [&](std::size_t i) { return Channel(number(file, kMasksAt + i * 4, 4)); };
    return {mask(0), mask(1), mask(2), hasAlpha ? mask(3) : Channel(0)};
}

void readPaletteRow(const std::byte* row, std::uint32_t width, unsigned bits, const BmpPalette& palette,
                    std::byte* pixels) {
    for (std::uint32_t x = 0; x < width; ++x) {
        const std::size_t bit = std::size_t{x} * bits;
        const auto byte = std::to_integer<unsigned>(row[bit / 8]);
        const unsigned index = byte >> (8 - bits - bit % 8) & ((1U << bits) - 1);
        std::memcpy(pixels + std::size_t{x} * 4, palette[index].data(), 4);
    }
}

void readColourRow(const std::byte* row, std::uint32_t width, unsigned bits,
                   const std::array<Channel, 4>& channels, std::byte* pixels) {
    const unsigned size = bits / 8;
    for (std::uint32_t x = 0; x < width; ++x, row += size, pixels += 4) {
        std::uint32_t pixel = 0;
        for (unsigned i = 0; i < size; ++i)
            pixel |= std::to_integer<std::uint32_t>(row[i]) << (8 * i);
        for (std::size_t i = 0; i < 4; ++i)
            pixels[i] = channels[i].of(pixel, i == 3 ? 255 : 0);
    }
}

void readRows(std::span<const std::byte> file, const Layout& layout, std::span<const std::byte> rows,
              PixelBuffer& pixels) {
    const BmpPalette palette = layout.hasPalette() ? paletteOf(file, layout) : BmpPalette{};
    const auto channels = channelsOf(file, layout);
    for (std::uint32_t y = 0; y < pixels.height(); ++y) {
        const std::byte* row = rows.data() + y * layout.rowSize();
        std::byte* target = pixels.row(layout.isFromTop ? y : pixels.height() - 1 - y);
        if (layout.hasPalette())
            readPaletteRow(row, pixels.width(), layout.bits, palette, target);
        else
            readColourRow(row, pixels.width(), layout.bits, channels, target);
    }
}

} // namespace

std::optional<ImageRepresentation> readBmp(const Data& data) {
    const std::span<const std::byte> file = data.bytes();
    const Layout layout = layoutOf(file);
    if (!layout.isKnown() || !PixelBuffer::isPossible(layout.width, layout.height) ||
        layout.pixelsAt > data.size())
        return std::nullopt;
    const auto stored = file.subspan(layout.pixelsAt);
    const bool mayBeWhole = layout.isInRuns() ? mayBeBmpRuns(stored, layout.width, layout.height)
                                              : layout.rowSize() <= stored.size() / layout.height;
    if (!mayBeWhole)
        return std::nullopt;
    PixelBuffer pixels(static_cast<std::uint32_t>(layout.width), static_cast<std::uint32_t>(layout.height));
    if (!layout.isInRuns())
        readRows(file, layout, stored, pixels);
    else if (!readBmpRuns(stored, layout.bits, paletteOf(file, layout), pixels))
        return std::nullopt;
    return pixels.picture();
}

} // namespace kitwell::platform
