#include "KitwellPlatform/Images/JpegCodec.h"

#include <array>
#include <cstdio>
#include <utility>
#include <vector>

#include <jpeglib.h>

#include "KitwellPlatform/Images/JpegErrors.h"
#include "KitwellPlatform/Images/OutOfMemory.h"
#include "KitwellPlatform/Images/PixelKind.h"

namespace kitwell::platform {

namespace {

constexpr int kQuality = 90;

// The output first stands in a block of fixed size, so that the file's bytes are never cleared before they
// are written.
class Writer {
public:
    Writer() {
        codec.err = errors.manager();
        codec.client_data = this;
        target_.init_destination = beginBlock;
        target_.empty_output_buffer = takeBlock;
        target_.term_destination = takeRest;
    }
    ~Writer() { jpeg_destroy_compress(&codec); }
    Writer(const Writer&) = delete;
    Writer& operator=(const Writer&) = delete;

    // `row` has room for a row of the picture.
    bool write(const ImageRepresentation& picture, PixelKind kind, std::byte* row) {
        return errors.guard([&] {
            jpeg_create_compress(&codec);
            codec.dest = &target_;
            describe(picture, kind);
            jpeg_start_compress(&codec, TRUE);
            const std::size_t size = std::size_t{picture.width} * 4;
            for (std::uint32_t y = 0; y < picture.height; ++y) {
                auto* samples = const_cast<std::byte*>(
                    samplesOfRow(picture.pixels.bytes().subspan(y * size, size), kind, row));
                auto* pointer = reinterpret_cast<JSAMPROW>(samples);
                jpeg_write_scanlines(&codec, &pointer, 1);
            }
            jpeg_finish_compress(&codec);
        });
    }

    JpegErrors errors;
    jpeg_compress_struct codec{};
    std::vector<std::byte> output;
    bool isWhole = true; // until memory runs out

private:
    static Writer& self(j_compress_ptr codec) { return *static_cast<Writer*>(codec->client_data); }
    static void beginBlock(j_compress_ptr codec) {
        Writer& writer = self(codec);
        writer.target_.next_output_byte = writer.block_.data();
        writer.target_.free_in_buffer = writer.block_.size();
    }
    static boolean takeBlock(j_compress_ptr codec) {
        self(codec).append(self(codec).block_.size());
        beginBlock(codec);
        return TRUE;
    }
    static void takeRest(j_compress_ptr codec) {
        self(codec).append(self(codec).block_.size() - self(codec).target_.free_in_buffer);
    }
    void append(std::size_t count) { isWhole = appendBytes(output, block_.data(), count) && isWhole; }

    void describe(const ImageRepresentation& picture, PixelKind kind) {
        codec.image_width = picture.width;
        codec.image_height = picture.height;
        codec.input_components = kind.isGrey ? 1 : 4;
        codec.in_color_space = kind.isGrey ? JCS_GRAYSCALE : JCS_EXT_RGBX;
        jpeg_set_defaults(&codec);
        jpeg_set_quality(&codec, kQuality, TRUE);
        codec.comp_info[0].h_samp_factor = 1;
        codec.comp_info[0].v_samp_factor = 1;
    }

    // In place where the library reads pixels as they are.
    static const std::byte* samplesOfRow(std::span<const std::byte> pixels, PixelKind kind, std::byte* row) {
        if (!kind.isOpaque) {
            layOverWhite(pixels, row);
            pixels = {row, pixels.size()};
        }
        if (!kind.isGrey)
            return pixels.data();
        packPixels(pixels, {true, true}, row);
        return row;
    }

    jpeg_destination_mgr target_{};
    std::array<JOCTET, 1 << 16> block_;
};

} // namespace

std::optional<Data> writeJpeg(const ImageRepresentation& picture) {
    Writer writer;
    std::vector<std::byte> row(std::size_t{picture.width} * 4);
    if (!writer.write(picture, kindOfPixels(picture.pixels.bytes()), row.data()) || !writer.isWhole)
        return std::nullopt;
    return Data::adopting(std::move(writer.output));
}

} // namespace kitwell::platform
