#include "KitwellPlatform/Images/PdfPixels.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <span>

#include "KitwellPlatform/Images/PixelKind.h"

namespace kitwell::platform {

namespace {

// In bytes. A longer row is cut, since four of them are held at a time.
constexpr std::uint32_t kLongestRow = kPdfPieceSize / 4;

// Loops of constant length become wide instructions.
constexpr std::size_t kBlock = 64;
using Block = std::array<std::uint8_t, kBlock>;

enum Filter : unsigned char { None, Sub, Up };

Block load(const std::byte* bytes) {
    Block block;
    std::memcpy(block.data(), bytes, kBlock);
    return block;
}

void subtract(const std::byte* from, const std::byte* what, std::size_t count, std::byte* out) {
    std::size_t at = 0;
    for (; at + kBlock <= count; at += kBlock) {
        Block block = load(from + at);
        const Block other = load(what + at);
        for (std::size_t i = 0; i < kBlock; ++i)
            block[i] = static_cast<std::uint8_t>(block[i] - other[i]);
        std::memcpy(out + at, block.data(), kBlock);
    }
    for (; at < count; ++at)
        out[at] = static_cast<std::byte>(std::to_integer<int>(from[at]) - std::to_integer<int>(what[at]));
}

// How often the bytes change: what is left of a row by a good filter changes seldom.
std::size_t changes(std::span<const std::byte> bytes) {
    std::size_t count = 0;
    std::size_t at = 1;
    for (; at + kBlock <= bytes.size(); at += kBlock) {
        const Block block = load(bytes.data() + at);
        const Block before = load(bytes.data() + at - 1);
        std::uint8_t inBlock = 0;
        for (std::size_t i = 0; i < kBlock; ++i)
            inBlock = static_cast<std::uint8_t>(inBlock + (block[i] != before[i] ? 1 : 0));
        count += inBlock;
    }
    for (; at < bytes.size(); ++at)
        count += bytes[at] != bytes[at - 1] ? 1 : 0;
    return count;
}

void subtractLeft(const std::vector<std::byte>& row, std::size_t step, std::vector<std::byte>& out) {
    out.resize(row.size());
    std::copy_n(row.begin(), step, out.begin());
    subtract(row.data() + step, row.data(), row.size() - step, out.data() + step);
}

void unpack(std::span<const std::byte> pixels, PdfSamples samples, std::vector<std::byte>& row) {
    row.resize(pixels.size() / 4 * samplesPerPixel(samples));
    if (samples != PdfSamples::Alpha) {
        packPixels(pixels, {true, samples == PdfSamples::Grey}, row.data());
        return;
    }
    for (std::size_t at = 0; at < row.size(); ++at)
        row[at] = pixels[at * 4 + 3];
}

std::span<const std::byte> pixelsOf(const ImageRepresentation& picture, std::uint32_t row,
                                    std::uint32_t firstColumn, std::uint32_t columns) {
    const std::size_t start = (std::size_t{row} * picture.width + firstColumn) * 4;
    return picture.pixels.bytes().subspan(start, std::size_t{columns} * 4);
}

void append(Filter filter, const std::vector<std::byte>& row, std::vector<std::byte>& bytes) {
    bytes.push_back(std::byte{filter});
    bytes.insert(bytes.end(), row.begin(), row.end());
}

} // namespace

std::size_t samplesPerPixel(PdfSamples samples) {
    return samples == PdfSamples::Colours ? 3 : 1;
}

std::vector<PdfPiece> cutIntoPieces(const ImageRepresentation& picture, PdfSamples samples) {
    const auto step = static_cast<std::uint32_t>(samplesPerPixel(samples));
    const std::uint32_t columns = std::min(picture.width, kLongestRow / step);
    const std::uint32_t rows =
        columns < picture.width ? 1 : static_cast<std::uint32_t>(kPdfPieceSize) / (columns * step);
    std::vector<PdfPiece> pieces;
    for (std::uint32_t row = 0; row < picture.height;) {
        const std::uint32_t count = std::clamp(rows, 1U, picture.height - row);
        for (std::uint32_t column = 0; column < picture.width;) {
            const std::uint32_t part = std::min(columns, picture.width - column);
            pieces.push_back({row, count, column, part});
            column += part;
        }
        row += count;
    }
    return pieces;
}

bool PdfPixels::writeRow(const Row& row, const Row& above, std::size_t step, std::vector<std::byte>& bytes) {
    const std::size_t plain = changes(row);
    if (plain <= row.size() / 2) {
        append(None, row, bytes);
        return false;
    }
    subtractLeft(row, step, bySub_);
    const std::size_t bySub = changes(bySub_);
    std::size_t byUp = row.size();
    if (!above.empty()) {
        byUp_.resize(row.size());
        subtract(row.data(), above.data(), row.size(), byUp_.data());
        byUp = changes(byUp_);
    }
    if (plain <= std::min(bySub, byUp))
        append(None, row, bytes);
    else if (bySub <= byUp)
        append(Sub, bySub_, bytes);
    else
        append(Up, byUp_, bytes);
    return true;
}

bool PdfPixels::write(const ImageRepresentation& picture, PdfSamples samples, const PdfPiece& piece,
                      std::vector<std::byte>& bytes) {
    const std::size_t step = samplesPerPixel(samples);
    bytes.clear();
    bytes.reserve(piece.rows * (1 + (std::size_t{piece.columns} + 1) * step));
    if (piece.columns < picture.width) {
        // All parts of a row have its one filter, and the first part names it. What is left of a later part
        // begins with the pixel before it.
        const std::uint32_t before = piece.firstColumn > 0 ? 1 : 0;
        unpack(pixelsOf(picture, piece.firstRow, piece.firstColumn - before, piece.columns + before), samples,
               row_);
        subtractLeft(row_, step, bySub_);
        append(Sub, bySub_, bytes);
        bytes.erase(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(before * (step + 1)));
        return true;
    }
    above_.clear();
    if (piece.firstRow > 0)
        unpack(pixelsOf(picture, piece.firstRow - 1, 0, picture.width), samples, above_);
    std::uint32_t restless = 0;
    for (std::uint32_t row = piece.firstRow; row < piece.firstRow + piece.rows; ++row) {
        unpack(pixelsOf(picture, row, 0, picture.width), samples, row_);
        restless += writeRow(row_, above_, step, bytes) ? 1 : 0;
        std::swap(row_, above_);
    }
    return restless >= (piece.rows + 1) / 2;
}

} // namespace kitwell::platform
