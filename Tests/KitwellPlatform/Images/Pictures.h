#pragma once

#include <sys/resource.h>

#include "KitwellPlatform/Images/BitmapFile.h"
#include "KitwellPlatform/Images/Image.h"
#include "Support/Harness.h"

namespace kitwell::platform::test {

// Little-endian unless told otherwise.
inline std::string number(std::uint64_t value, int size = 4, bool isBigEndian = false) {
    std::string bytes;
    for (; size > 0; --size, value >>= 8)
        bytes.insert(isBigEndian ? 0 : bytes.size(), 1, static_cast<char>(value & 0xff));
    return bytes;
}

// The bytes that two hexadecimal digits each stand for.
inline std::string raw(const std::string& digits) {
    std::string bytes;
    for (std::size_t i = 0; i < digits.size(); i += 2)
        bytes += static_cast<char>(std::stoi(digits.substr(i, 2), nullptr, 16));
    return bytes;
}

inline constexpr BitmapFileType kAllTypes[] = {BitmapFileType::TIFF, BitmapFileType::BMP,
                                               BitmapFileType::GIF,  BitmapFileType::JPEG,
                                               BitmapFileType::PNG,  BitmapFileType::JPEG2000};

// A soft slope of colours, neither black nor white; the alpha grows with the column, from nothing: about half
// of the pixels are more than half opaque.
inline ImageRepresentation slope(std::uint32_t width, std::uint32_t height, bool isGrey, bool isOpaque) {
    std::vector<std::byte> pixels;
    for (std::uint32_t y = 0; y < height; ++y)
        for (std::uint32_t x = 0; x < width; ++x) {
            const unsigned right = 200 * x / width + 20, down = 200 * (height - 1 - y) / height + 30;
            const unsigned colour[] = {right, isGrey ? right : down, isGrey ? right : (right + down) / 2,
                                       isOpaque ? 255 : 255 * x / width};
            for (const unsigned part : colour)
                pixels.push_back(static_cast<std::byte>(part));
        }
    return {width, height, Data::adopting(std::move(pixels))};
}

// The distance between two pictures of one size (PSNR); infinite when they are equal.
inline double decibels(const ImageRepresentation& one, const ImageRepresentation& other) {
    double error = 0;
    for (std::size_t i = 0; i < std::min(one.pixels.size(), other.pixels.size()); ++i)
        error += std::pow(
            std::to_integer<int>(one.pixels.data()[i]) - std::to_integer<int>(other.pixels.data()[i]), 2);
    const bool isOneSize = one.width == other.width && one.height == other.height;
    return isOneSize ? 10 * std::log10(255.0 * 255 * static_cast<double>(one.pixels.size()) / error) : -1;
}

// The most memory that this process ever claimed, in KiB, touched or not.
inline std::uint64_t peakMemory() {
    std::ifstream status("/proc/self/status");
    std::string word;
    while (status >> word && word != "VmPeak:")
        continue;
    std::uint64_t size = 0;
    status >> size;
    return size;
}

// The number, counted from 1, of the first of the files that becomes an image or takes much memory, or 0; the
// process does not outlive half a minute of work.
inline int numberOfHonoured(const std::vector<std::string>& files) {
    const rlimit seconds{30, 30};
    if (::setrlimit(RLIMIT_CPU, &seconds) != 0)
        return 255;
    const std::uint64_t bound = peakMemory() + (192U << 10U);
    const auto found = std::ranges::find_if(files, [bound](const std::string& file) {
        return Image::fromData(Data(file)).has_value() || peakMemory() > bound;
    });
    return found == files.end() ? 0 : static_cast<int>(found - files.begin()) + 1;
}

inline constexpr double kExactly = std::numeric_limits<double>::infinity();

} // namespace kitwell::platform::test
