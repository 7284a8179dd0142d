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

// Fewer bins than that would give a palette too little choice: then the colours are told apart, as long as
// they are no more than 256 bins can hold.
constexpr std::size_t kManyBins = 4 * kMaxColours;
constexpr std::size_t kMaxExactColours = kMaxColours << (3 * (8 - kBinBits));

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

// The colours of a picture as they are, in the order of their coming, and how many pixels have them.
class ExactColours {
public:
    explicit ExactColours(std::size_t room) : room_(room) {}

    // Counts that many pixels of one colour and answers its place, or none when there is no room.
    std::optional<std::size_t> count(const std::byte* pixel, std::size_t count) {
        Slot& slot = slots_[slotOf(pixel)];
        if (slot.count == 0) {
            if (size_ == room_)
                return std::nullopt;
            slot = {keyOf(pixel), 0, static_cast<std::uint16_t>(size_++)};
        }
        slot.count += static_cast<std::uint32_t>(count);
        return slot.place;
    }

    std::size_t placeOf(const std::byte* pixel) const { return slots_[slotOf(pixel)].place; }

    std::vector<ColourPoint> points() const {
        std::vector<ColourPoint> points(size_);
        for (const Slot& slot : slots_)
            if (slot.count > 0)
                points[slot.place] = {{static_cast<float>(slot.key >> 16),
                                       static_cast<float>(slot.key >> 8 & 0xff),
                                       static_cast<float>(slot.key & 0xff)},
                                      static_cast<float>(slot.count)};
        return points;
    }

private:
    static constexpr unsigned kSlotBits = 15;
    static constexpr std::size_t kSlots = std::size_t{1} << kSlotBits;
    static_assert(kMaxExactColours <= kSlots / 2);
    struct Slot {
        std::uint32_t key = 0;
        std::uint32_t count = 0; // 0 while it is free
        std::uint16_t place = 0;
    };

    static std::uint32_t keyOf(const std::byte* pixel) {
        return part(pixel, 0) << 16 | part(pixel, 1) << 8 | part(pixel, 2);
    }
    std::size_t slotOf(const std::byte* pixel) const {
        const std::uint32_t key = keyOf(pixel);
        std::size_t slot = key * 0x9e3779b1U >> (32 - kSlotBits);
        while (slots_[slot].count > 0 && slots_[slot].key != key)
            slot = (slot + 1) % kSlots;
        return slot;
    }

    std::size_t room_;
    std::vector<Slot> slots_ = std::vector<Slot>(kSlots);
    std::size_t size_ = 0;
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

void addColours(const std::vector<ColourPoint>& colours, std::vector<Rgb>& palette) {
    for (const ColourPoint& colour : colours)
        palette.push_back({static_cast<std::uint8_t>(colour.mean[0]),
                           static_cast<std::uint8_t>(colour.mean[1]),
                           static_cast<std::uint8_t>(colour.mean[2])});
}

// Fills the palette with colours for the points, and gives each point its place there.
std::vector<std::uint8_t> chooseColours(const std::vector<ColourPoint>& points, std::vector<Rgb>& palette) {
    const std::size_t first = palette.size();
    std::vector<ColourPoint> reordered = points;
    std::vector<ColourPoint> colours = cutByVariance(reordered, kMaxColours - first);
    settle(colours, points, kRounds);
    for (ColourPoint& colour : colours)
        for (float& value : colour.mean)
            value = std::round(value);
    addColours(colours, palette);
    const NearestColour nearest(colours);
    std::vector<std::uint8_t> places;
    places.reserve(points.size());
    for (const ColourPoint& point : points)
        places.push_back(static_cast<std::uint8_t>(first + nearest.to(point.mean)));
    return places;
}

bool hasHoles(std::span<const std::byte> pixels) {
    if (kindOfPixels(pixels).isOpaque)
        return false;
    return !forEachRun(pixels, [](const std::byte* pixel, std::size_t) { return isOpaque(pixel); });
}

// False when the palette has no room for all colours.
bool paintWithOwn(std::span<const std::byte> pixels, IndexedPicture& indexed) {
    const std::size_t first = indexed.palette.size();
    ExactColours exact(kMaxColours - first);
    std::uint8_t* target = indexed.pixels.data();
    const bool areFew = forEachRun(pixels, [&](const std::byte* pixel, std::size_t count) {
        const auto place = isOpaque(pixel) ? exact.count(pixel, count) : std::nullopt;
        if (!place && isOpaque(pixel))
            return false;
        target = std::fill_n(target, count, static_cast<std::uint8_t>(place ? first + *place : 0));
        return true;
    });
    if (areFew)
        addColours(exact.points(), indexed.palette);
    return areFew;
}

// False when there are too many colours to tell them apart.
bool paintEachColour(std::span<const std::byte> pixels, IndexedPicture& indexed) {
    ExactColours exact(kMaxExactColours);
    const auto take = [&exact](const std::byte* pixel, std::size_t count) {
        return !isOpaque(pixel) || exact.count(pixel, count);
    };
    if (!forEachRun(pixels, take))
        return false;
    const std::vector<std::uint8_t> places = chooseColours(exact.points(), indexed.palette);
    std::uint8_t* target = indexed.pixels.data();
    return forEachRun(pixels, [&](const std::byte* pixel, std::size_t count) {
        target = std::fill_n(target, count, isOpaque(pixel) ? places[exact.placeOf(pixel)] : std::uint8_t{0});
        return true;
    });
}

void chooseAndPaint(std::span<const std::byte> pixels, IndexedPicture& indexed) {
    const std::vector<Bin> bins = countColours(pixels);
    const std::vector<ColourPoint> points = pointsOf(bins);
    if (points.size() < kManyBins && paintEachColour(pixels, indexed))
        return;
    const std::vector<std::uint8_t> places = chooseColours(points, indexed.palette);
    std::vector<std::uint8_t> placeOfBin(kBins);
    for (std::size_t bin = 0, point = 0; bin < kBins; ++bin)
        if (bins[bin].count > 0)
            placeOfBin[bin] = places[point++];
    const std::uint8_t* const placeOf = placeOfBin.data();
    const std::byte* pixel = pixels.data();
    std::generate_n(indexed.pixels.data(), indexed.pixels.size(), [placeOf, &pixel] {
        const std::uint8_t place = isOpaque(pixel) ? placeOf[binOf(pixel)] : std::uint8_t{0};
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
    if (!paintWithOwn(pixels, indexed))
        chooseAndPaint(pixels, indexed);
    return indexed;
}

} // namespace kitwell::platform
