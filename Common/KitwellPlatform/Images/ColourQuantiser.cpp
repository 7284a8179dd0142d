#include "KitwellPlatform/Images/ColourQuantiser.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <span>

#include "KitwellPlatform/Images/PixelKind.h"
#include "KitwellPlatform/Images/VarianceCut.h"

namespace kitwell::platform {

namespace {

constexpr std::size_t kMaxColours = 256;
constexpr unsigned kOpaqueFrom = 128;
constexpr int kRounds = 2;

// Colours that share these many leading bits in each part count as one while the palette is chosen.
constexpr unsigned kBinBits = 6;
constexpr std::size_t kBins = std::size_t{1} << (3 * kBinBits);

constexpr unsigned kDropped = 8 - kBinBits;
constexpr unsigned kBeyond = (1U << kDropped) - 1;

// Only what a colour has beyond the bin's first one is summed up, so that the sums of the largest picture fit
// and a bin stays small.
struct Bin {
    std::uint32_t count = 0;
    std::array<std::uint32_t, 3> beyond{};
};
static_assert(kMaxImagePixels << kDropped <= 1ULL << 32);

unsigned part(const std::byte* pixel, std::size_t i) {
    return std::to_integer<unsigned>(pixel[i]);
}

bool isOpaque(const std::byte* pixel) {
    return part(pixel, 3) >= kOpaqueFrom;
}

std::size_t binOf(const std::byte* pixel) {
    return std::size_t{part(pixel, 0) >> kDropped} << (2 * kBinBits) |
           std::size_t{part(pixel, 1) >> kDropped} << kBinBits | part(pixel, 2) >> kDropped;
}

// Calls `take(first pixel, count)` for each run of equal pixels, since pages are white for the most part, as
// long as it answers true.
template <class Take>
bool forEachRun(std::span<const std::byte> pixels, const Take& take) {
    const std::byte* const end = pixels.data() + pixels.size();
    for (const std::byte* run = pixels.data(); run != end;) {
        const std::byte* next = run + 4;
        while (next != end && std::memcmp(next, run, 4) == 0)
            next += 4;
        if (!take(run, static_cast<std::size_t>(next - run) / 4))
            return false;
        run = next;
    }
    return true;
}

// The colours of a picture as they are, as long as they are few.
class FewColours {
public:
    explicit FewColours(std::size_t room) : room_(room) {}

    // The place of the colour, or none when there is no room for another one.
    std::optional<std::uint8_t> place(const std::byte* pixel) {
        const std::uint32_t key = part(pixel, 0) << 16 | part(pixel, 1) << 8 | part(pixel, 2);
        for (std::size_t slot = key * 0x9e3779b1U >> 22;; slot = (slot + 1) % slots_.size()) {
            if (slots_[slot].key == key)
                return slots_[slot].place;
            if (slots_[slot].key != kFree)
                continue;
            if (colours.size() == room_)
                return std::nullopt;
            slots_[slot] = {key, static_cast<std::uint8_t>(colours.size())};
            colours.push_back({static_cast<std::uint8_t>(key >> 16), static_cast<std::uint8_t>(key >> 8),
                               static_cast<std::uint8_t>(key)});
            return slots_[slot].place;
        }
    }

    std::vector<Rgb> colours;

private:
    static constexpr std::uint32_t kFree = ~0U;
    struct Slot {
        std::uint32_t key = kFree;
        std::uint8_t place = 0;
    };

    std::size_t room_;
    std::array<Slot, 1024> slots_;
};

std::vector<Bin> countColours(std::span<const std::byte> pixels) {
    std::vector<Bin> bins(kBins);
    forEachRun(pixels, [&bins](const std::byte* pixel, std::size_t count) {
        if (!isOpaque(pixel))
            return true;
        Bin& bin = bins[binOf(pixel)];
        bin.count += static_cast<std::uint32_t>(count);
        for (std::size_t i = 0; i < 3; ++i)
            bin.beyond[i] += (part(pixel, i) & kBeyond) * static_cast<std::uint32_t>(count);
        return true;
    });
    return bins;
}

ColourPoint pointOf(const Bin& bin, std::size_t place) {
    ColourPoint point;
    point.weight = static_cast<float>(bin.count);
    for (std::size_t i = 0; i < 3; ++i) {
        const std::size_t first = (place >> (kBinBits * (2 - i)) << kDropped) & 0xff;
        point.mean[i] =
            static_cast<float>(static_cast<double>(first) + static_cast<double>(bin.beyond[i]) / bin.count);
    }
    return point;
}

std::vector<ColourPoint> pointsOf(const std::vector<Bin>& bins) {
    std::vector<ColourPoint> points;
    for (std::size_t place = 0; place < kBins; ++place)
        if (bins[place].count > 0)
            points.push_back(pointOf(bins[place], place));
    return points;
}

std::vector<ColourPoint> choosePalette(std::vector<ColourPoint> points, std::size_t count) {
    std::vector<ColourPoint> colours = cutByVariance(points, count);
    settle(colours, points, kRounds);
    for (ColourPoint& colour : colours)
        for (float& value : colour.mean)
            value = std::round(value);
    return colours;
}

bool hasHoles(std::span<const std::byte> pixels) {
    if (kindOfPixels(pixels).isOpaque)
        return false;
    return !forEachRun(pixels, [](const std::byte* pixel, std::size_t) { return isOpaque(pixel); });
}

bool keepColours(std::span<const std::byte> pixels, IndexedPicture& indexed) {
    const std::size_t first = indexed.palette.size();
    FewColours few(kMaxColours - first);
    std::uint8_t* target = indexed.pixels.data();
    const bool areFew = forEachRun(pixels, [&](const std::byte* pixel, std::size_t count) {
        const auto place = isOpaque(pixel) ? few.place(pixel) : std::nullopt;
        if (!place && isOpaque(pixel))
            return false;
        target = std::fill_n(target, count, static_cast<std::uint8_t>(place ? first + *place : 0));
        return true;
    });
    if (areFew)
        indexed.palette.insert(indexed.palette.end(), few.colours.begin(), few.colours.end());
    return areFew;
}

void chooseColours(std::span<const std::byte> pixels, IndexedPicture& indexed) {
    const std::size_t first = indexed.palette.size();
    const std::vector<Bin> bins = countColours(pixels);
    const std::vector<ColourPoint> colours = choosePalette(pointsOf(bins), kMaxColours - first);
    for (const ColourPoint& colour : colours)
        indexed.palette.push_back({static_cast<std::uint8_t>(colour.mean[0]),
                                   static_cast<std::uint8_t>(colour.mean[1]),
                                   static_cast<std::uint8_t>(colour.mean[2])});
    const NearestColour nearest(colours);
    std::vector<std::uint8_t> placeOfBin(kBins);
    for (std::size_t i = 0; i < kBins; ++i)
        if (bins[i].count > 0)
            placeOfBin[i] = static_cast<std::uint8_t>(first + nearest.to(pointOf(bins[i], i).mean));
    const std::uint8_t* const places = placeOfBin.data();
    const std::byte* pixel = pixels.data();
    std::generate_n(indexed.pixels.data(), indexed.pixels.size(), [places, &pixel] {
        const std::uint8_t place = isOpaque(pixel) ? places[binOf(pixel)] : std::uint8_t{0};
        pixel += 4;
        return place;
    });
}

} // namespace

IndexedPicture quantise(const ImageRepresentation& picture) {
    const std::span<const std::byte> pixels = picture.pixels.bytes();
    IndexedPicture indexed;
    indexed.pixels.resize(pixels.size() / 4);
    if (hasHoles(pixels)) {
        indexed.transparent = 0;
        indexed.palette.emplace_back();
    }
    if (!keepColours(pixels, indexed))
        chooseColours(pixels, indexed);
    return indexed;
}

} // namespace kitwell::platform
