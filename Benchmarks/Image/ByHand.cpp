#include "Image/ByHand.h"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

#include <gif_lib.h>
#include <jpeglib.h>
#include <openjpeg.h>
#include <png.h>
#include <tiffio.h>

namespace kitwell::benchmarks {

using platform::BitmapFileType;
using platform::ImageRepresentation;

namespace {

using Bytes = std::vector<unsigned char>;

unsigned char* pixelsOf(const ImageRepresentation& picture) {
    return reinterpret_cast<unsigned char*>(const_cast<std::byte*>(picture.pixels.data()));
}

std::size_t writeTiffFile(const ImageRepresentation& picture) {
    const int memory = ::memfd_create("tiff", MFD_CLOEXEC);
    TIFF* file = TIFFFdOpen(::dup(memory), "memory", "w");
    const std::uint16_t alpha = EXTRASAMPLE_UNASSALPHA;
    TIFFSetField(file, TIFFTAG_IMAGEWIDTH, picture.width);
    TIFFSetField(file, TIFFTAG_IMAGELENGTH, picture.height);
    TIFFSetField(file, TIFFTAG_ROWSPERSTRIP, picture.height);
    TIFFSetField(file, TIFFTAG_BITSPERSAMPLE, 8);
    TIFFSetField(file, TIFFTAG_SAMPLESPERPIXEL, 4);
    TIFFSetField(file, TIFFTAG_EXTRASAMPLES, 1, &alpha);
    TIFFSetField(file, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_RGB);
    TIFFSetField(file, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
    TIFFWriteEncodedStrip(file, 0, pixelsOf(picture), static_cast<tmsize_t>(picture.pixels.size()));
    TIFFClose(file);
    struct stat status {};
    ::fstat(memory, &status);
    ::close(memory);
    return static_cast<std::size_t>(status.st_size);
}

std::size_t writeBmpFile(const ImageRepresentation& picture) {
    const std::size_t rowSize = (std::size_t{picture.width} * 3 + 3) / 4 * 4;
    auto* file = static_cast<unsigned char*>(std::malloc(54 + rowSize * picture.height));
    std::memset(file, 0, 54);
    for (std::uint32_t y = 0; y < picture.height; ++y) {
        unsigned char* target = file + 54 + rowSize * (picture.height - 1 - y);
        const unsigned char* source = pixelsOf(picture) + std::size_t{y} * picture.width * 4;
        for (std::uint32_t x = 0; x < picture.width; ++x, source += 4, target += 3) {
            target[0] = source[2];
            target[1] = source[1];
            target[2] = source[0];
        }
    }
    asm volatile("" : : "r"(file) : "memory"); // the bytes count as looked at
    std::free(file);
    return 54 + rowSize * picture.height;
}

int appendToGif(GifFileType* file, const GifByteType* bytes, int count) {
    auto& output = *static_cast<Bytes*>(file->UserData);
    output.insert(output.end(), bytes, bytes + count);
    return count;
}

std::size_t writeGifFile(const ImageRepresentation& picture) {
    const std::size_t count = std::size_t{picture.width} * picture.height;
    std::array<Bytes, 3> planes;
    for (std::size_t i = 0; i < planes.size(); ++i) {
        planes[i].resize(count);
        for (std::size_t at = 0; at < count; ++at)
            planes[i][at] = pixelsOf(picture)[at * 4 + i];
    }
    Bytes pixels(count);
    Bytes output;
    int colours = 256;
    ColorMapObject* map = GifMakeMapObject(colours, nullptr);
    GifQuantizeBuffer(picture.width, picture.height, &colours, planes[0].data(), planes[1].data(),
                      planes[2].data(), pixels.data(), map->Colors);
    GifFileType* file = EGifOpen(&output, appendToGif, nullptr);
    const auto width = static_cast<int>(picture.width), height = static_cast<int>(picture.height);
    EGifPutScreenDesc(file, width, height, 8, 0, map);
    EGifPutImageDesc(file, 0, 0, width, height, false, nullptr);
    EGifPutLine(file, pixels.data(), static_cast<int>(count));
    EGifCloseFile(file, nullptr);
    GifFreeMapObject(map);
    return output.size();
}

std::size_t writeJpegFile(const ImageRepresentation& picture) {
    jpeg_compress_struct codec;
    jpeg_error_mgr errors;
    codec.err = jpeg_std_error(&errors);
    jpeg_create_compress(&codec);
    unsigned char* file = nullptr;
    unsigned long size = 0;
    jpeg_mem_dest(&codec, &file, &size);
    codec.image_width = picture.width;
    codec.image_height = picture.height;
    codec.input_components = 4;
    codec.in_color_space = JCS_EXT_RGBX;
    jpeg_set_defaults(&codec);
    jpeg_set_quality(&codec, 90, TRUE);
    codec.comp_info[0].h_samp_factor = codec.comp_info[0].v_samp_factor = 1;
    jpeg_start_compress(&codec, TRUE);
    while (codec.next_scanline < codec.image_height) {
        JSAMPROW row = pixelsOf(picture) + std::size_t{codec.next_scanline} * picture.width * 4;
        jpeg_write_scanlines(&codec, &row, 1);
    }
    jpeg_finish_compress(&codec);
    jpeg_destroy_compress(&codec);
    std::free(file);
    return size;
}

void appendToPng(png_structp png, png_bytep bytes, std::size_t count) {
    auto& output = *static_cast<Bytes*>(png_get_io_ptr(png));
    output.insert(output.end(), bytes, bytes + count);
}

std::size_t writePngFile(const ImageRepresentation& picture) {
    Bytes output;
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png_create_info_struct(png);
    png_set_write_fn(png, &output, appendToPng, nullptr);
    png_set_IHDR(png, info, picture.width, picture.height, 8, PNG_COLOR_TYPE_RGB, PNG_INTERLACE_NONE,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_set_filter(png, PNG_FILTER_TYPE_BASE, PNG_FILTER_SUB);
    png_set_compression_level(png, 3);
    png_write_info(png, info);
    png_set_filler(png, 0, PNG_FILLER_AFTER);
    for (std::uint32_t y = 0; y < picture.height; ++y)
        png_write_row(png, pixelsOf(picture) + std::size_t{y} * picture.width * 4);
    png_write_end(png, info);
    png_destroy_write_struct(&png, &info);
    return output.size();
}

std::size_t writeJpeg2000File(const ImageRepresentation& picture) {
    std::array<opj_image_cmptparm_t, 3> parts{};
    parts.fill({1, 1, picture.width, picture.height, 0, 0, 8, 8, 0});
    opj_image_t* image = opj_image_create(3, parts.data(), OPJ_CLRSPC_SRGB);
    image->x1 = picture.width;
    image->y1 = picture.height;
    for (std::size_t i = 0; i < parts.size(); ++i)
        for (std::size_t at = 0; at < picture.pixels.size() / 4; ++at)
            image->comps[i].data[at] = pixelsOf(picture)[at * 4 + i];
    opj_cparameters_t parameters;
    opj_set_default_encoder_parameters(&parameters);
    parameters.tcp_numlayers = 1;
    parameters.cp_disto_alloc = 1;
    parameters.tcp_mct = 1;
    opj_codec_t* codec = opj_create_compress(OPJ_CODEC_JP2);
    const std::string path = "/dev/shm/benchmark-" + std::to_string(::getpid()) + ".jp2";
    opj_stream_t* stream = opj_stream_create_default_file_stream(path.c_str(), OPJ_FALSE);
    opj_setup_encoder(codec, &parameters, image);
    opj_start_compress(codec, image, stream);
    opj_encode(codec, stream);
    opj_end_compress(codec, stream);
    opj_stream_destroy(stream);
    opj_destroy_codec(codec);
    opj_image_destroy(image);
    struct stat status {};
    ::stat(path.c_str(), &status);
    ::unlink(path.c_str());
    return static_cast<std::size_t>(status.st_size);
}

} // namespace

std::size_t writeByHand(const ImageRepresentation& picture, BitmapFileType type) {
    switch (type) {
    case BitmapFileType::TIFF:
        return writeTiffFile(picture);
    case BitmapFileType::BMP:
        return writeBmpFile(picture);
    case BitmapFileType::GIF:
        return writeGifFile(picture);
    case BitmapFileType::JPEG:
        return writeJpegFile(picture);
    case BitmapFileType::PNG:
        return writePngFile(picture);
    case BitmapFileType::JPEG2000:
        return writeJpeg2000File(picture);
    }
    return 0;
}

} // namespace kitwell::benchmarks
