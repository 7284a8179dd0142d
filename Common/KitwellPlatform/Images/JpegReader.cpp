#include "KitwellPlatform/Images/JpegCodec.h"

#include <cstdio>

#include <jpeglib.h>

#include <jerror.h>

#include "KitwellPlatform/Images/ExifOrientation.h"
#include "KitwellPlatform/Images/JpegErrors.h"
#include "KitwellPlatform/Images/PixelBuffer.h"
#include "KitwellPlatform/Images/PixelOrder.h"

namespace kitwell::platform {

namespace {

// Each scan of a progressive file goes over the whole picture, however few bytes it has. Programs make about
// ten.
constexpr int kMaxScans = 64;
constexpr int kExifMarker = JPEG_APP0 + 1;

void beginNothing(j_decompress_ptr) {}

// All bytes are there from the beginning: who asks for more has a file that ends too early.
boolean refuseMore(j_decompress_ptr codec) {
    ERREXIT(codec, JERR_INPUT_EOF);
    return FALSE;
}

void skip(j_decompress_ptr codec, long count) {
    jpeg_source_mgr& source = *codec->src;
    if (count <= 0)
        return;
    if (static_cast<unsigned long>(count) > source.bytes_in_buffer)
        refuseMore(codec);
    source.next_input_byte += count;
    source.bytes_in_buffer -= static_cast<std::size_t>(count);
}

void countScans(j_common_ptr codec) {
    if (reinterpret_cast<j_decompress_ptr>(codec)->input_scan_number > kMaxScans)
        ERREXIT(codec, JERR_BAD_PROGRESSION);
}

class Reader {
public:
    explicit Reader(std::span<const std::byte> data) : source_{} {
        codec.err = errors.manager();
        source_.next_input_byte = reinterpret_cast<const JOCTET*>(data.data());
        source_.bytes_in_buffer = data.size();
        source_.init_source = beginNothing;
        source_.fill_input_buffer = refuseMore;
        source_.skip_input_data = skip;
        source_.resync_to_restart = jpeg_resync_to_restart;
        source_.term_source = beginNothing;
        progress_.progress_monitor = countScans;
    }
    ~Reader() { jpeg_destroy_decompress(&codec); }
    Reader(const Reader&) = delete;
    Reader& operator=(const Reader&) = delete;

    bool readHeader() {
        return errors.guard([this] {
            jpeg_create_decompress(&codec);
            codec.src = &source_;
            codec.progress = &progress_;
            jpeg_save_markers(&codec, kExifMarker, 0xffff);
            jpeg_read_header(&codec, TRUE);
        });
    }
    bool readPixels(PixelBuffer& pixels) {
        return errors.guard([this, &pixels] {
            codec.out_color_space = isInk() ? JCS_CMYK : JCS_EXT_RGBA;
            jpeg_start_decompress(&codec);
            while (codec.output_scanline < codec.output_height) {
                auto* row = reinterpret_cast<JSAMPROW>(pixels.row(codec.output_scanline));
                jpeg_read_scanlines(&codec, &row, 1);
            }
        });
    }

    bool isInk() const { return codec.jpeg_color_space == JCS_CMYK || codec.jpeg_color_space == JCS_YCCK; }
    unsigned orientation() const {
        for (const jpeg_marker_struct* marker = codec.marker_list; marker; marker = marker->next)
            if (const unsigned told = exifOrientation(
                    std::as_bytes(std::span<const JOCTET>(marker->data, marker->data_length)));
                told != 1)
                return told;
        return 1;
    }
    // Without the marker that tells it, red, green and blue are taken for YCbCr; arithmetic coding is known
    // to few.
    bool isUnderstoodEverywhere() const {
        const J_COLOR_SPACE space = codec.jpeg_color_space;
        // Of two markers that contradict each other, readers believe different ones.
        if (codec.saw_JFIF_marker && codec.saw_Adobe_marker && codec.Adobe_transform != 1)
            return false;
        return codec.data_precision == 8 && !codec.arith_code &&
               (space == JCS_GRAYSCALE || space == JCS_YCbCr || (space == JCS_RGB && codec.saw_Adobe_marker));
    }

    JpegErrors errors;
    jpeg_decompress_struct codec{};

private:
    jpeg_source_mgr source_;
    jpeg_progress_mgr progress_{};
};

// With the marker of the program that made four inks usual, 255 stands for no ink at all.
void convertInk(std::span<std::byte> pixels, bool isInverted) {
    const unsigned turn = isInverted ? 0 : 255;
    for (std::size_t at = 0; at < pixels.size(); at += 4) {
        const unsigned black = std::to_integer<unsigned>(pixels[at + 3]) ^ turn;
        for (std::byte& colour : pixels.subspan(at, 3))
            colour = static_cast<std::byte>(((std::to_integer<unsigned>(colour) ^ turn) * black + 127) / 255);
        pixels[at + 3] = std::byte{255};
    }
}

} // namespace

std::optional<ImageRepresentation> readJpeg(const Data& data) {
    Reader reader(data.bytes());
    if (!reader.readHeader() || !PixelBuffer::isPossible(reader.codec.image_width, reader.codec.image_height))
        return std::nullopt;
    PixelBuffer pixels(reader.codec.image_width, reader.codec.image_height);
    if (!reader.readPixels(pixels))
        return std::nullopt;
    if (reader.isInk())
        convertInk(pixels.bytes(), reader.codec.saw_Adobe_marker);
    const unsigned orientation = reader.orientation();
    if (orientation != 1)
        return uprightPicture(pixels.picture(), orientation);
    ImageRepresentation picture = pixels.picture();
    if (reader.isUnderstoodEverywhere())
        picture.jpeg = data;
    return picture;
}

} // namespace kitwell::platform
