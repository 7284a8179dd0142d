#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "KitwellPlatform/Images/PdfPixels.h"

struct libdeflate_compressor;

namespace kitwell::platform {

// A piece of a deflate stream; without bytes when it could not be made.
struct DeflatedPiece {
    std::vector<std::byte> bytes;
    std::uint32_t checksum = 1; // Adler-32 of what was compressed
    std::size_t length = 0;     // of what was compressed
};

// Compresses pieces of pictures, each on its own. Inside the library only; one thread at a time.
class PdfDeflater {
public:
    // Does not throw. Another piece can follow one that is not the last of its stream.
    DeflatedPiece deflate(const ImageRepresentation& picture, PdfSamples samples, const PdfPiece& piece,
                          bool isLast);

private:
    struct Release {
        void operator()(libdeflate_compressor* compressor) const;
    };

    using Compressor = std::unique_ptr<libdeflate_compressor, Release>;

    Compressor forPhotographs_;
    Compressor forText_;
    PdfPixels pixels_;
    std::vector<std::byte> samples_;
    std::vector<std::byte> room_;
};

// What stands before and after the pieces of a stream.
inline constexpr std::array kZlibHeader{std::byte{0x78}, std::byte{0x9c}};
inline constexpr std::size_t kZlibTrailerSize = 4;
std::array<std::byte, kZlibTrailerSize> zlibTrailer(std::uint32_t checksum);

} // namespace kitwell::platform
