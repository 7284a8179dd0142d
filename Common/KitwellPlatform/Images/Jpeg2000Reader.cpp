#include "KitwellPlatform/Images/Jpeg2000Codec.h"

#include <algorithm>
#include <array>

#include <openjpeg.h>

#include "KitwellPlatform/Images/Jpeg2000Claims.h"
#include "KitwellPlatform/Images/Jpeg2000Stream.h"
#include "KitwellPlatform/Images/PixelBuffer.h"

namespace kitwell::platform {

namespace {

constexpr std::uint32_t kMaxPrecision = 31;

using Component = opj_image_comp_t;

std::uint32_t widthOf(const opj_image_t& image) {
    return image.x1 - image.x0;
}
std::uint32_t heightOf(const opj_image_t& image) {
    return image.y1 - image.y0;
}

// The components are of the picture's size, or of half of it where colours are stored more coarsely.
bool isWithinBounds(const opj_image_t& image) {
    if (image.x1 <= image.x0 || image.y1 <= image.y0 ||
        !PixelBuffer::isPossible(widthOf(image), heightOf(image)) || image.numcomps == 0 ||
        image.numcomps > kMaxJpeg2000Components)
        return false;
    return std::all_of(image.comps, image.comps + image.numcomps, [](const Component& component) {
        return component.dx >= 1 && component.dx <= 2 && component.dy >= 1 && component.dy <= 2 &&
               component.prec >= 1 && component.prec <= kMaxPrecision;
    });
}

// One sample of each pixel in a row, spread over 0 to 255.
class Plane {
public:
    Plane(const opj_image_t& image, const Component& component)
        : component_(component), left_(image.x0), top_(image.y0),
          offset_(component.sgnd ? std::int64_t{1} << (component.prec - 1) : 0),
          largest_((std::int64_t{1} << component.prec) - 1) {}

    int at(std::uint32_t x, std::uint32_t y) const {
        const std::uint32_t column = place(left_, x, component_.dx, component_.w);
        const std::uint32_t row = place(top_, y, component_.dy, component_.h);
        const std::int64_t sample = component_.data[std::size_t{row} * component_.w + column] + offset_;
        if (largest_ == 255)
            return static_cast<int>(std::clamp<std::int64_t>(sample, 0, 255));
        return static_cast<int>((std::clamp<std::int64_t>(sample, 0, largest_) * 255 + largest_ / 2) /
                                largest_);
    }

private:
    // A coarse component begins with the first of its own samples inside the picture; a pixel before it has
    // none.
    static std::uint32_t place(std::uint32_t origin, std::uint32_t at, std::uint32_t step,
                               std::uint32_t size) {
        if (step == 1)
            return std::min(at, size - 1);
        const std::uint32_t before = (step - origin % step) % step;
        return at < before ? 0 : std::min((at - before) / step, size - 1);
    }

    const Component& component_;
    std::uint32_t left_;
    std::uint32_t top_;
    std::int64_t offset_;
    std::int64_t largest_;
};

std::byte toByte(double value) {
    return static_cast<std::byte>(std::clamp(value + 0.5, 0.0, 255.0));
}

void convertFromYcc(std::byte* pixel) {
    const double light = std::to_integer<int>(pixel[0]);
    const double blue = std::to_integer<int>(pixel[1]) - 128;
    const double red = std::to_integer<int>(pixel[2]) - 128;
    pixel[0] = toByte(light + 1.402 * red);
    pixel[1] = toByte(light - 0.344136 * blue - 0.714136 * red);
    pixel[2] = toByte(light + 1.772 * blue);
}

// For each of red, green, blue and alpha the component that holds it, or none for a full alpha.
std::array<const Component*, 4> channelsOf(const opj_image_t& image) {
    const Component* parts = image.comps;
    const bool isGrey = image.numcomps <= 2;
    const bool hasAlpha = image.numcomps == 2 || image.numcomps == 4;
    return {parts, isGrey ? parts : parts + 1, isGrey ? parts : parts + 2,
            hasAlpha ? parts + image.numcomps - 1 : nullptr};
}

struct Full {
    int at(std::uint32_t, std::uint32_t) const { return 255; }
};

template <class Samples>
void fillChannel(PixelBuffer& pixels, std::size_t channel, const Samples& samples) {
    for (std::uint32_t y = 0; y < pixels.height(); ++y) {
        std::byte* target = pixels.row(y) + channel;
        for (std::uint32_t x = 0; x < pixels.width(); ++x, target += 4)
            *target = static_cast<std::byte>(samples.at(x, y));
    }
}

void fill(PixelBuffer& pixels, const opj_image_t& image) {
    const auto channels = channelsOf(image);
    const bool isYcc = image.numcomps >= 3 && (image.color_space == OPJ_CLRSPC_SYCC ||
                                               (image.comps[0].dx == 1 && image.comps[1].dx == 2));
    for (std::size_t channel = 0; channel < channels.size(); ++channel)
        if (channels[channel])
            fillChannel(pixels, channel, Plane(image, *channels[channel]));
        else
            fillChannel(pixels, channel, Full());
    if (isYcc)
        for (std::span<std::byte> rest = pixels.bytes(); !rest.empty(); rest = rest.subspan(4))
            convertFromYcc(rest.data());
}

Jpeg2000Image decode(const Data& data) {
    if (!claimsLittle(data.bytes()))
        return nullptr;
    Jpeg2000Input input{data.bytes()};
    const Jpeg2000Stream stream = openJpeg2000(input);
    const Jpeg2000Codec codec(
        opj_create_decompress(isJpeg2000Codestream(data.bytes()) ? OPJ_CODEC_J2K : OPJ_CODEC_JP2));
    opj_dparameters_t parameters;
    opj_set_default_decoder_parameters(&parameters);
    opj_image_t* header = nullptr;
    if (!stream || !codec || !opj_setup_decoder(codec.get(), &parameters) ||
        !opj_read_header(stream.get(), codec.get(), &header))
        return nullptr;
    Jpeg2000Image image(header);
    if (!isWithinBounds(*image))
        return nullptr;
    shareJpeg2000Work(codec.get(), std::uint64_t{widthOf(*image)} * heightOf(*image));
    if (!opj_decode(codec.get(), stream.get(), image.get()) || !opj_end_decompress(codec.get(), stream.get()))
        return nullptr;
    return image;
}

// What was decoded may have other components than the header told: a palette puts its own in their place.
bool isWhole(const opj_image_t& image) {
    return isWithinBounds(image) &&
           std::all_of(image.comps, image.comps + image.numcomps, [](const Component& component) {
               return component.data && component.w > 0 && component.h > 0;
           });
}

} // namespace

std::optional<ImageRepresentation> readJpeg2000(const Data& data) {
    const Jpeg2000Image image = decode(data);
    if (!image || !isWhole(*image) || image->color_space == OPJ_CLRSPC_CMYK ||
        image->color_space == OPJ_CLRSPC_EYCC)
        return std::nullopt;
    PixelBuffer pixels(widthOf(*image), heightOf(*image));
    fill(pixels, *image);
    return pixels.picture();
}

} // namespace kitwell::platform
