#include "KitwellPlatform/Images/ExifOrientation.h"

#include <cstdint>
#include <string_view>

namespace kitwell::platform {

namespace {

constexpr std::string_view kPreamble("Exif\0\0", 6);
constexpr unsigned kOrientationTag = 274;
constexpr unsigned kShort = 3;
constexpr std::size_t kEntrySize = 12;

// The TIFF inside. What lies beyond its end reads as 0.
struct Block {
    std::span<const std::byte> bytes;
    bool isBigEndian;

    unsigned number(std::size_t at, unsigned size) const {
        unsigned value = 0;
        for (unsigned i = 0; i < size && size <= bytes.size() && at <= bytes.size() - size; ++i)
            value = value << 8 | std::to_integer<unsigned>(bytes[at + (isBigEndian ? i : size - 1 - i)]);
        return value;
    }
};

} // namespace

unsigned exifOrientation(std::span<const std::byte> segment) {
    const std::string_view text(reinterpret_cast<const char*>(segment.data()), segment.size());
    if (!text.starts_with(kPreamble))
        return 1;
    const std::string_view order = text.substr(kPreamble.size(), 2);
    if (order != "II" && order != "MM")
        return 1;
    const Block block{segment.subspan(kPreamble.size()), order == "MM"};
    const std::size_t directory = block.number(4, 4);
    const std::size_t entries = block.number(directory, 2);
    for (std::size_t i = 0; i < entries; ++i) {
        const std::size_t entry = directory + 2 + i * kEntrySize;
        if (block.number(entry, 2) != kOrientationTag)
            continue;
        const unsigned orientation = block.number(entry + 2, 2) == kShort ? block.number(entry + 8, 2) : 0;
        return orientation >= 1 && orientation <= 8 ? orientation : 1;
    }
    return 1;
}

} // namespace kitwell::platform
