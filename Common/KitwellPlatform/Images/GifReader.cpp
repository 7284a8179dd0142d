#include "KitwellPlatform/Images/GifCodec.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>

#include <gif_lib.h>

#include "KitwellPlatform/Images/PixelBuffer.h"

namespace kitwell::platform {

namespace {

struct Closer {
    void operator()(GifFileType* file) const { DGifCloseFile(file, nullptr); }
};
using Gif = std::unique_ptr<GifFileType, Closer>;
using Palette = std::array<std::array<std::uint8_t, 4>, 256>;

int read(GifFileType* file, GifByteType* buffer, int count) {
    auto& rest = *static_cast<std::span<const std::byte>*>(file->UserData);
    const std::size_t taken = std::min(rest.size(), static_cast<std::size_t>(std::max(count, 0)));
    std::memcpy(buffer, rest.data(), taken);
    rest = rest.subspan(taken);
    return static_cast<int>(taken);
}

// What stands before a frame; the transparent colour is the one thing of interest.
bool readExtension(GifFileType* file, int& transparent) {
    int code = 0;
    GifByteType* block = nullptr;
    if (DGifGetExtension(file, &code, &block) == GIF_ERROR)
        return false;
    while (block) {
        GraphicsControlBlock control{};
        if (code == GRAPHICS_EXT_FUNC_CODE && DGifExtensionToGCB(block[0], block + 1, &control) == GIF_OK)
            transparent = control.TransparentColor;
        if (DGifGetExtensionNext(file, &block) == GIF_ERROR)
            return false;
    }
    return true;
}

bool findFirstFrame(GifFileType* file, int& transparent) {
    for (GifRecordType type = UNDEFINED_RECORD_TYPE; type != TERMINATE_RECORD_TYPE;) {
        if (DGifGetRecordType(file, &type) == GIF_ERROR)
            return false;
        if (type == IMAGE_DESC_RECORD_TYPE)
            return DGifGetImageDesc(file) == GIF_OK;
        if (type == EXTENSION_RECORD_TYPE && !readExtension(file, transparent))
            return false;
    }
    return false;
}

// Colours that the file does not have are black.
Palette paletteOf(const ColorMapObject& map, int transparent) {
    Palette palette;
    palette.fill({0, 0, 0, 255});
    for (std::size_t i = 0; i < static_cast<std::size_t>(map.ColorCount); ++i)
        palette[i] = {map.Colors[i].Red, map.Colors[i].Green, map.Colors[i].Blue, 255};
    if (transparent >= 0)
        palette[static_cast<std::size_t>(transparent)] = {};
    return palette;
}

struct Pass {
    std::uint32_t first;
    std::uint32_t step;
};
constexpr Pass kInterlaced[] = {{0, 8}, {4, 8}, {2, 4}, {1, 2}};
constexpr Pass kPlain[] = {{0, 1}};

class Frame {
public:
    explicit Frame(GifFileType* file)
        : file_(file), left_(number(file->Image.Left)), top_(number(file->Image.Top)),
          width_(number(file->Image.Width)), height_(number(file->Image.Height)) {}

    // A frame that looks over the canvas widens it.
    std::uint32_t canvasWidth() const { return std::max(number(file_->SWidth), left_ + width_); }
    std::uint32_t canvasHeight() const { return std::max(number(file_->SHeight), top_ + height_); }
    bool isEmpty() const { return width_ == 0 || height_ == 0; }
    bool coversCanvas() const { return width_ == canvasWidth() && height_ == canvasHeight(); }

    bool readInto(PixelBuffer& canvas, const Palette& palette) const {
        std::vector<GifPixelType> line(width_);
        const std::span<const Pass> passes =
            file_->Image.Interlace ? std::span<const Pass>(kInterlaced) : std::span<const Pass>(kPlain);
        for (const Pass& pass : passes)
            for (std::uint32_t y = pass.first; y < height_; y += pass.step) {
                if (DGifGetLine(file_, line.data(), static_cast<int>(width_)) == GIF_ERROR)
                    return false;
                std::byte* pixel = canvas.row(top_ + y) + std::size_t{left_} * 4;
                for (std::uint32_t x = 0; x < width_; ++x, pixel += 4)
                    std::memcpy(pixel, palette[line[x]].data(), 4);
            }
        return true;
    }

private:
    static std::uint32_t number(int value) { return static_cast<std::uint32_t>(value); }

    GifFileType* file_;
    std::uint32_t left_, top_, width_, height_;
};

} // namespace

std::optional<ImageRepresentation> readGif(const Data& data) {
    std::span<const std::byte> rest = data.bytes();
    int failure = 0;
    const Gif file(DGifOpen(&rest, read, &failure));
    int transparent = NO_TRANSPARENT_COLOR;
    if (!file || !findFirstFrame(file.get(), transparent))
        return std::nullopt;
    const ColorMapObject* colours = file->Image.ColorMap ? file->Image.ColorMap : file->SColorMap;
    const Frame frame(file.get());
    if (!colours || frame.isEmpty() || !PixelBuffer::isPossible(frame.canvasWidth(), frame.canvasHeight()))
        return std::nullopt;
    PixelBuffer canvas(frame.canvasWidth(), frame.canvasHeight());
    if (!frame.coversCanvas())
        std::fill(canvas.bytes().begin(), canvas.bytes().end(), std::byte{0});
    if (!frame.readInto(canvas, paletteOf(*colours, transparent)))
        return std::nullopt;
    return canvas.picture();
}

} // namespace kitwell::platform
