#include <cmath>
#include <cstdio>

#include "Image/ByHand.h"
#include "KitwellPlatform/Images/Image.h"
#include "Support/Comparison.h"
#include "Support/Partner.h"
#include "Support/TestPage.h"

using namespace kitwell::benchmarks;
using namespace kitwell::platform;

namespace {

constexpr std::uint32_t kWidth = 1440;
constexpr std::uint32_t kHeight = 2000;
constexpr double kGifDecibels = 45;

struct Row {
    BitmapFileType type;
    const char* name;
    const char* floor;
    int rounds;
};

constexpr Row kRows[] = {
    {BitmapFileType::TIFF, "TIFF", "libtiff", 25},
    {BitmapFileType::BMP, "BMP", "two plain loops", 25},
    {BitmapFileType::GIF, "GIF", "giflib, its own choice of colours", 11},
    {BitmapFileType::JPEG, "JPEG", "libjpeg-turbo", 25},
    {BitmapFileType::PNG, "PNG", "libpng", 15},
    {BitmapFileType::JPEG2000, "JPEG 2000", "openjpeg", 3},
};

bool writeBesideLibrary(const ImageRepresentation& page, const Row& row) {
    const auto secondsFor = [](const auto& work) {
        const double start = now();
        if (!work())
            fail("a picture could not be written");
        return now() - start;
    };
    return compare(
        {.work = std::string(row.name) + ", a page of 1440 x 2000",
         .floorName = row.floor,
         .unit = "ms",
         .unitScale = 1e3,
         .budget = 1.1},
        row.rounds, [&] { return secondsFor([&] { return writeByHand(page, row.type) > 0; }); },
        [&] { return secondsFor([&] { return bitmapData(page, row.type).has_value(); }); });
}

double decibels(const ImageRepresentation& page, const ImageRepresentation& copy) {
    double error = 0;
    for (std::size_t at = 0; at < page.pixels.size(); ++at) {
        const double apart =
            std::to_integer<int>(page.pixels.data()[at]) - std::to_integer<int>(copy.pixels.data()[at]);
        error += apart * apart;
    }
    return 10 * std::log10(255.0 * 255.0 * kWidth * kHeight * 3 / error);
}

bool keepsColours(const ImageRepresentation& page) {
    const auto copy = Image::fromData(bitmapData(page, BitmapFileType::GIF).value());
    const double distance = decibels(page, copy->representations().front());
    const bool isKept = distance >= kGifDecibels;
    std::printf("%-58s %-34s %10s %10.2f %-6s %8s  >= %.0f dB  %s\n", "GIF, distance from the page (PSNR)",
                "", "", distance, "dB", "", kGifDecibels, isKept ? "kept" : "MISSED");
    return isKept;
}

} // namespace

int main() {
    printHeading("Bitmap files");
    const ImageRepresentation page = testPage(kWidth, kHeight);
    bool isKept = true;
    for (const Row& row : kRows)
        isKept = writeBesideLibrary(page, row) && isKept;
    isKept = keepsColours(page) && isKept;
    return isKept ? 0 : 1;
}
