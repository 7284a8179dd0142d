#include "KitwellPlatform/Images/Jpeg2000Codec.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdlib>
#include <utility>

#include <openjpeg.h>

#include "KitwellPlatform/Images/Jpeg2000Stream.h"
#include "KitwellPlatform/Images/PixelKind.h"

namespace kitwell::platform {

namespace {

Jpeg2000Image emptyImage(const ImageRepresentation& picture, PixelKind kind) {
    std::array<opj_image_cmptparm_t, 4> parts{};
    parts.fill({1, 1, picture.width, picture.height, 0, 0, 8, 8, 0});
    Jpeg2000Image image(opj_image_create(static_cast<OPJ_UINT32>(kind.samples()), parts.data(),
                                         kind.isGrey ? OPJ_CLRSPC_GRAY : OPJ_CLRSPC_SRGB));
    if (!image)
        return image;
    image->x1 = picture.width;
    image->y1 = picture.height;
    if (!kind.isOpaque)
        image->comps[image->numcomps - 1].alpha = 1;
    return image;
}

void fill(opj_image_t& image, std::span<const std::byte> pixels, PixelKind kind) {
    for (std::uint32_t i = 0; i < image.numcomps; ++i) {
        const bool isAlpha = !kind.isOpaque && i == image.numcomps - 1;
        const std::byte* source = pixels.data() + (isAlpha ? 3 : i);
        OPJ_INT32* samples = image.comps[i].data;
        for (std::size_t at = 0; at < pixels.size() / 4; ++at)
            samples[at] = std::to_integer<OPJ_INT32>(source[at * 4]);
    }
}

// Each resolution halves the picture, and the library wants a pixel to be left at the end.
opj_cparameters_t lossless(const ImageRepresentation& picture, bool subtractsGreen) {
    opj_cparameters_t parameters;
    opj_set_default_encoder_parameters(&parameters);
    parameters.tcp_numlayers = 1;
    parameters.cp_disto_alloc = 1;
    parameters.tcp_mct = subtractsGreen ? 1 : 0;
    const auto halvings = std::bit_width(std::min(picture.width, picture.height));
    parameters.numresolution = std::min(parameters.numresolution, static_cast<int>(halvings));
    return parameters;
}

std::optional<Data> encode(const ImageRepresentation& picture, PixelKind kind, bool subtractsGreen) {
    const Jpeg2000Image image = emptyImage(picture, kind);
    const Jpeg2000Codec codec(opj_create_compress(OPJ_CODEC_JP2));
    Jpeg2000Output output;
    Jpeg2000Stream stream = createJpeg2000(output);
    if (!image || !codec || !stream)
        return std::nullopt;
    fill(*image, picture.pixels.bytes(), kind);
    shareJpeg2000Work(codec.get(), std::uint64_t{picture.width} * picture.height);
    opj_cparameters_t parameters = lossless(picture, subtractsGreen);
    if (!opj_setup_encoder(codec.get(), &parameters, image.get()) ||
        !opj_start_compress(codec.get(), image.get(), stream.get()) ||
        !opj_encode(codec.get(), stream.get()) || !opj_end_compress(codec.get(), stream.get()))
        return std::nullopt;
    stream.reset();
    return Data::adopting(std::move(output.bytes));
}

// The library gives a coefficient of the wavelets 9 bits in the coarsest band, and silently damages what
// needs more. The filter makes values up to 2.92 times as large in six resolutions; red and blue less green,
// which range from -255 to 255, only fit for certain while they stay within this.
constexpr int kMaxCertainDifference = 170;

bool fitsForCertain(std::span<const std::byte> pixels) {
    for (std::size_t at = 0; at < pixels.size(); at += 4) {
        const int green = std::to_integer<int>(pixels[at + 1]);
        if (std::abs(std::to_integer<int>(pixels[at]) - green) > kMaxCertainDifference ||
            std::abs(std::to_integer<int>(pixels[at + 2]) - green) > kMaxCertainDifference)
            return false;
    }
    return true;
}

bool isKept(const ImageRepresentation& picture, const Data& file) {
    const auto back = readJpeg2000(file);
    return back && back->pixels == picture.pixels;
}

} // namespace

// Green is taken from red and blue, which makes files a good deal smaller, wherever nothing is lost by it.
std::optional<Data> writeJpeg2000(const ImageRepresentation& picture) {
    const PixelKind kind = kindOfPixels(picture.pixels.bytes());
    if (kind.isGrey)
        return encode(picture, kind, false);
    auto file = encode(picture, kind, true);
    if (!file || fitsForCertain(picture.pixels.bytes()) || isKept(picture, *file))
        return file;
    return encode(picture, kind, false);
}

} // namespace kitwell::platform
