#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "KitwellPlatform/Images/Image.h"

namespace kitwell::platform {

// What a stream of a PDF holds of the pixels: red, green and blue; the one value of grey; the alpha.
enum class PdfSamples { Colours, Grey, Alpha };

std::size_t samplesPerPixel(PdfSamples samples);

// Rows of a picture, or a part of one row that is very long.
struct PdfPiece {
    std::uint32_t firstRow = 0;
    std::uint32_t rows = 0;
    std::uint32_t firstColumn = 0;
    std::uint32_t columns = 0;
};

// The pieces of about kPdfPieceSize bytes that a picture is compressed in, whoever compresses them.
inline constexpr std::size_t kPdfPieceSize = std::size_t{1} << 20;
std::vector<PdfPiece> cutIntoPieces(const ImageRepresentation& picture, PdfSamples samples);

// Writes the samples of pieces as PDF's predictor 15 wants them: before each row the number of its PNG
// filter, and what the filter leaves of the row. Inside the library only; one thread at a time.
class PdfPixels {
public:
    // Replaces what `bytes` holds. Answers whether most rows are restless, as those of photographs are: more
    // than half of their bytes differ from the byte before.
    bool write(const ImageRepresentation& picture, PdfSamples samples, const PdfPiece& piece,
               std::vector<std::byte>& bytes);

private:
    using Row = std::vector<std::byte>;

    // Rows that are not restless stay as they are: the letters in them repeat, and a filter would hide that.
    bool writeRow(const Row& row, const Row& above, std::size_t step, std::vector<std::byte>& bytes);

    Row row_;
    Row above_;
    Row bySub_;
    Row byUp_;
};

} // namespace kitwell::platform
