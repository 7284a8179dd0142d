#include "KitwellPlatform/Images/Jpeg2000Claims.h"

#include "KitwellPlatform/Images/ByteOrder.h"
#include "KitwellPlatform/Images/PixelBuffer.h"

namespace kitwell::platform {

namespace {

constexpr std::uint64_t kMaxTiles = 4096;

constexpr std::uint64_t kCodestreamAndSize = 0xff4fff51; // the two markers that every codestream begins with
constexpr std::uint64_t kHeaderBox = 0x6a703268;         // "jp2h", which holds other boxes
constexpr std::uint64_t kPaletteBox = 0x70636c72;        // "pclr"
constexpr std::uint64_t kCodestreamBox = 0x6a703263;     // "jp2c"

std::uint64_t numberAt(std::span<const std::byte> bytes, std::size_t at, std::size_t size) {
    return platform::numberAt(bytes, at, size, std::endian::big);
}

bool codestreamClaimsLittle(std::span<const std::byte> codestream) {
    const auto field = [&](std::size_t index) { return numberAt(codestream, 8 + 4 * index, 4); };
    const std::uint64_t right = field(0), bottom = field(1), left = field(2), top = field(3);
    const std::uint64_t tileWidth = field(4), tileHeight = field(5);
    const std::uint64_t components = numberAt(codestream, 40, 2);
    if (numberAt(codestream, 0, 4) != kCodestreamAndSize || right <= left || bottom <= top ||
        tileWidth == 0 || tileHeight == 0 || components == 0 || components > kMaxJpeg2000Components ||
        !PixelBuffer::isPossible(right - left, bottom - top))
        return false;
    return (right / tileWidth + 1) * (bottom / tileHeight + 1) <= kMaxTiles;
}

bool paletteClaimsLittle(std::span<const std::byte> palette) {
    return numberAt(palette, 2, 1) <= kMaxJpeg2000Components;
}

// Looks at the boxes up to the one with the codestream. A palette is looked for wherever the codec might take
// one from.
bool boxesClaimLittle(std::span<const std::byte> boxes, bool isInHeader) {
    while (boxes.size() >= 8) {
        const std::uint64_t told = numberAt(boxes, 0, 4), type = numberAt(boxes, 4, 4);
        const std::size_t head = told == 1 ? 16 : 8;
        const std::uint64_t size = told == 0 ? boxes.size() : told == 1 ? numberAt(boxes, 8, 8) : told;
        if (size < head || size > boxes.size())
            return type == kCodestreamBox && !isInHeader && boxes.size() > head &&
                   codestreamClaimsLittle(boxes.subspan(head));
        const auto content = boxes.subspan(head, size - head);
        if (type == kCodestreamBox && !isInHeader)
            return codestreamClaimsLittle(boxes.subspan(head));
        if ((type == kHeaderBox && !isInHeader && !boxesClaimLittle(content, true)) ||
            (type == kPaletteBox && !paletteClaimsLittle(content)))
            return false;
        boxes = boxes.subspan(size);
    }
    return isInHeader;
}

} // namespace

bool isJpeg2000Codestream(std::span<const std::byte> file) {
    return numberAt(file, 0, 4) == kCodestreamAndSize;
}

bool claimsLittle(std::span<const std::byte> file) {
    return isJpeg2000Codestream(file) ? codestreamClaimsLittle(file) : boxesClaimLittle(file, false);
}

} // namespace kitwell::platform
