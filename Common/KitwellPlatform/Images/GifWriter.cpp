#include "KitwellPlatform/Images/GifCodec.h"

#include <algorithm>
#include <bit>
#include <memory>
#include <utility>

#include <gif_lib.h>

#include "KitwellPlatform/Images/ColourQuantiser.h"
#include "KitwellPlatform/Images/OutOfMemory.h"

namespace kitwell::platform {

namespace {

constexpr std::uint32_t kMaxSide = 65535;

struct Closer {
    void operator()(GifFileType* file) const { EGifCloseFile(file, nullptr); }
};
using Gif = std::unique_ptr<GifFileType, Closer>;

struct MapFree {
    void operator()(ColorMapObject* map) const { GifFreeMapObject(map); }
};
using Map = std::unique_ptr<ColorMapObject, MapFree>;

int append(GifFileType* file, const GifByteType* bytes, int count) {
    auto& output = *static_cast<std::vector<std::byte>*>(file->UserData);
    return appendBytes(output, bytes, static_cast<std::size_t>(count)) ? count : 0;
}

// The format counts colours in powers of two; what fills them up is black.
Map mapOf(const std::vector<Rgb>& palette) {
    const int bits = std::max(1, static_cast<int>(std::bit_width(palette.size() - 1)));
    Map map(GifMakeMapObject(1 << bits, nullptr));
    for (std::size_t i = 0; map && i < palette.size(); ++i)
        map->Colors[i] = {palette[i][0], palette[i][1], palette[i][2]};
    return map;
}

bool writeTransparency(GifFileType* file, std::uint8_t transparent) {
    GraphicsControlBlock control{};
    control.TransparentColor = transparent;
    GifByteType bytes[4];
    const auto size = static_cast<int>(EGifGCBToExtension(&control, bytes));
    return EGifPutExtension(file, GRAPHICS_EXT_FUNC_CODE, size, bytes) == GIF_OK;
}

// The pixels are in its hands alone: the library writes over them while it packs them.
bool write(GifFileType* file, int width, int height, IndexedPicture picture) {
    const Map map = mapOf(picture.palette);
    EGifSetGifVersion(file, picture.transparent.has_value());
    return map && EGifPutScreenDesc(file, width, height, 8, 0, map.get()) == GIF_OK &&
           (!picture.transparent || writeTransparency(file, *picture.transparent)) &&
           EGifPutImageDesc(file, 0, 0, width, height, false, nullptr) == GIF_OK &&
           EGifPutLine(file, picture.pixels.data(), static_cast<int>(picture.pixels.size())) == GIF_OK;
}

} // namespace

std::optional<Data> writeGif(const ImageRepresentation& picture) {
    if (picture.width > kMaxSide || picture.height > kMaxSide)
        return std::nullopt;
    std::vector<std::byte> output;
    int failure = 0;
    Gif file(EGifOpen(&output, append, &failure));
    if (!file || !write(file.get(), static_cast<int>(picture.width), static_cast<int>(picture.height),
                        quantise(picture)))
        return std::nullopt;
    if (EGifCloseFile(file.release(), nullptr) != GIF_OK)
        return std::nullopt;
    return Data::adopting(std::move(output));
}

} // namespace kitwell::platform
