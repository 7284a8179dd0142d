#include "Support/TestPage.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>
#include <vector>

namespace kitwell::benchmarks {

namespace {

constexpr std::uint32_t kMargin = 48;
constexpr std::uint32_t kSection = 900; // rows of text, then a figure
constexpr std::uint32_t kFigureTop = 620;
constexpr std::uint32_t kFigureBottom = 880;
constexpr std::uint32_t kLine = 26;
constexpr std::uint32_t kCellWidth = 11;
constexpr std::uint32_t kCellHeight = 18;
constexpr std::uint32_t kLetters = 60;

struct Colour {
    double red, green, blue;
    double alpha = 1;
};

constexpr Colour kPaper{255, 255, 255};

Colour mix(const Colour& from, const Colour& to, double share) {
    return {from.red + (to.red - from.red) * share, from.green + (to.green - from.green) * share,
            from.blue + (to.blue - from.blue) * share, from.alpha + (to.alpha - from.alpha) * share};
}

// Spread evenly over 0 to 1, and the same for the same arguments.
double hash(std::uint32_t x, std::uint32_t y, std::uint32_t salt) {
    std::uint32_t h = x * 0x9e3779b1U ^ y * 0x85ebca77U ^ salt * 0xc2b2ae3dU;
    h = (h ^ (h >> 15)) * 0x2c1b3c6dU;
    h = (h ^ (h >> 12)) * 0x297a2d39U;
    return (h ^ (h >> 15)) / 4294967296.0;
}

std::uint32_t below(std::uint32_t bound, std::uint32_t x, std::uint32_t y, std::uint32_t salt) {
    return static_cast<std::uint32_t>(hash(x, y, salt) * bound);
}

double smoothNoise(double x, double y, std::uint32_t salt) {
    const double left = std::floor(x), top = std::floor(y);
    const auto column = static_cast<std::uint32_t>(left), row = static_cast<std::uint32_t>(top);
    const auto ease = [](double t) { return t * t * (3 - 2 * t); };
    const double right = ease(x - left), down = ease(y - top);
    return std::lerp(std::lerp(hash(column, row, salt), hash(column + 1, row, salt), right),
                     std::lerp(hash(column, row + 1, salt), hash(column + 1, row + 1, salt), right), down);
}

// How much ink each pixel of a letter takes.
using Letter = std::array<float, kCellWidth * kCellHeight>;

double distanceToStroke(double x, double y, const std::array<double, 4>& stroke) {
    const double dx = stroke[2] - stroke[0], dy = stroke[3] - stroke[1];
    const double length = dx * dx + dy * dy + 1e-9;
    const double along = std::clamp(((x - stroke[0]) * dx + (y - stroke[1]) * dy) / length, 0.0, 1.0);
    return std::hypot(x - stroke[0] - along * dx, y - stroke[1] - along * dy);
}

Letter drawLetter(std::uint32_t letter) {
    Letter cell{};
    for (std::uint32_t stroke = 0; stroke < 3; ++stroke) {
        std::array<double, 4> ends{};
        for (std::uint32_t i = 0; i < 4; ++i)
            ends[i] = 1.5 + hash(letter, stroke, i) * (i % 2 == 0 ? kCellWidth - 4 : kCellHeight - 5);
        ends[2] = below(2, letter, stroke, 9) == 0 ? ends[0] : ends[2]; // stems stand upright
        for (std::uint32_t y = 0; y < kCellHeight; ++y)
            for (std::uint32_t x = 0; x < kCellWidth; ++x) {
                const double ink = std::clamp(1.4 - distanceToStroke(x, y, ends), 0.0, 1.0);
                float& pixel = cell[y * kCellWidth + x];
                pixel = std::max(pixel, static_cast<float>(ink));
            }
    }
    return cell;
}

const std::vector<Letter>& alphabet() {
    static const std::vector<Letter> letters = [] {
        std::vector<Letter> drawn;
        for (std::uint32_t letter = 0; letter < kLetters; ++letter)
            drawn.push_back(drawLetter(letter));
        return drawn;
    }();
    return letters;
}

Colour textAt(std::uint32_t x, std::uint32_t y) {
    const std::uint32_t line = y / kLine, column = (x - kMargin) / kCellWidth;
    if (y % kLine >= kCellHeight || hash(column, line, 1) < 0.17 || hash(0, line, 2) < 0.08)
        return kPaper;
    const Letter& letter = alphabet()[below(kLetters, column, line, 3)];
    const double ink = letter[y % kLine * kCellWidth + (x - kMargin) % kCellWidth];
    const bool isHeading = line % 9 == 0;
    return mix(kPaper, isHeading ? Colour{24, 84, 160} : Colour{26, 26, 28}, ink);
}

// Hills before a sky, with the grain of a sensor.
Colour photographAt(double x, double y, std::uint32_t section) {
    const std::uint32_t salt = 100 + section;
    const double ridge = 0.35 + 0.3 * smoothNoise(x / 90, 0, salt) + 0.1 * smoothNoise(x / 17, 0, salt + 1);
    const double height = y / (kFigureBottom - kFigureTop);
    const double detail = 0.6 * smoothNoise(x / 40, y / 40, salt + 2) +
                          0.3 * smoothNoise(x / 9, y / 9, salt + 3) +
                          0.1 * smoothNoise(x / 3, y / 3, salt + 4);
    Colour colour = height < ridge ? mix({92, 140, 205}, {226, 232, 238}, height / ridge * (0.5 + detail))
                                   : mix({38, 56, 30}, {168, 152, 104}, detail);
    const double grain = hash(static_cast<std::uint32_t>(x), static_cast<std::uint32_t>(y), salt) * 4 - 2;
    for (double* part : {&colour.red, &colour.green, &colour.blue})
        *part += grain;
    return colour;
}

Colour gradientAt(double across, double down, std::uint32_t section, PageAlpha alpha) {
    const double turn = hash(section, 0, 7);
    Colour colour = mix(mix({30 + 180 * turn, 60, 160}, {240, 120 + 100 * turn, 60}, across), {250, 250, 245},
                        down * 0.8);
    colour.alpha = alpha == PageAlpha::Fading ? across : 1;
    return colour;
}

Colour colourAt(std::uint32_t x, std::uint32_t y, std::uint32_t width, PageAlpha alpha) {
    const std::uint32_t section = y / kSection, row = y % kSection;
    if (x < kMargin || x + kMargin >= width)
        return kPaper;
    if (row < kFigureTop)
        return textAt(x, row + section * kSection / kLine * kLine);
    if (row >= kFigureBottom)
        return kPaper;
    const double across = static_cast<double>(x - kMargin) / (width - 2 * kMargin), down = row - kFigureTop;
    if (across < 0.55)
        return photographAt(x, down, section);
    return across < 0.58
               ? kPaper
               : gradientAt((across - 0.58) / 0.42, down / (kFigureBottom - kFigureTop), section, alpha);
}

std::byte rounded(double value) {
    return static_cast<std::byte>(std::lround(std::clamp(value, 0.0, 255.0)));
}

} // namespace

platform::ImageRepresentation testPage(std::uint32_t width, std::uint32_t height, PageAlpha alpha) {
    std::vector<std::byte> pixels(std::size_t{width} * height * 4);
    std::byte* pixel = pixels.data();
    for (std::uint32_t y = 0; y < height; ++y)
        for (std::uint32_t x = 0; x < width; ++x, pixel += 4) {
            const Colour colour = colourAt(x, y, width, alpha);
            pixel[0] = rounded(colour.red);
            pixel[1] = rounded(colour.green);
            pixel[2] = rounded(colour.blue);
            pixel[3] = rounded(colour.alpha * 255);
        }
    return {width, height, platform::Data::adopting(std::move(pixels))};
}

} // namespace kitwell::benchmarks
