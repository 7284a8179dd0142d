#include "KitwellPlatform/Images/ExifOrientation.h"

#include <cstdint>
#include <string_view>

#include "KitwellPlatform/Images/ByteOrder.h"

namespace kitwell::platform {

namespace {

constexpr std::string_view kPreamble("Exif\0\0", 6);
constexpr unsigned kOrientationTag = 274;
constexpr unsigned kShort = 3;
constexpr std::size_t kEntrySize = 12;

} // namespace

unsigned exifOrientation(std::span<const std::byte> segment) {
    const std::string_view text(reinterpret_cast<const char*>(segment.data()), segment.size());
    if (!text.starts_with(kPreamble))
        return 1;
    const std::string_view order = text.substr(kPreamble.size(), 2);
    if (order != "II" && order != "MM")
        return 1;
    const auto number = [&](std::size_t at, std::size_t size) {
        return numberAt(segment.subspan(kPreamble.size()), at, size,
                        order == "MM" ? std::endian::big : std::endian::little);
    };
    const std::size_t directory = number(4, 4);
    const std::size_t entries = number(directory, 2);
    for (std::size_t i = 0; i < entries; ++i) {
        const std::size_t entry = directory + 2 + i * kEntrySize;
        if (number(entry, 2) != kOrientationTag)
            continue;
        const std::uint64_t orientation = number(entry + 2, 2) == kShort ? number(entry + 8, 2) : 0;
        return orientation >= 1 && orientation <= 8 ? static_cast<unsigned>(orientation) : 1;
    }
    return 1;
}

} // namespace kitwell::platform
