#include "KitwellPlatform/Images/PdfDeflater.h"

#include <new>
#include <span>

#include <libdeflate.h>

#include "KitwellPlatform/Images/DeflateJoin.h"

namespace kitwell::platform {

namespace {

// The next level takes twice the time for 2 % less. For text, this one takes a quarter more time than the
// level below for less than 1 %; for photographs it is worth 4 %.
constexpr int kLevel = 6;
constexpr int kTextLevel = 5;

} // namespace

void PdfDeflater::Release::operator()(libdeflate_compressor* compressor) const {
    libdeflate_free_compressor(compressor);
}

DeflatedPiece PdfDeflater::deflate(const ImageRepresentation& picture, PdfSamples samples,
                                   const PdfPiece& piece, bool isLast) try {
    const bool isPhotograph = pixels_.write(picture, samples, piece, samples_);
    Compressor& compressor = isPhotograph ? forPhotographs_ : forText_;
    if (!compressor)
        compressor.reset(libdeflate_alloc_compressor(isPhotograph ? kLevel : kTextLevel));
    if (!compressor)
        return {};
    room_.resize(libdeflate_deflate_compress_bound(compressor.get(), samples_.size()));
    const std::size_t size = libdeflate_deflate_compress(compressor.get(), samples_.data(), samples_.size(),
                                                         room_.data(), room_.size());
    DeflatedPiece deflated;
    deflated.checksum = libdeflate_adler32(1, samples_.data(), samples_.size());
    deflated.length = samples_.size();
    deflated.bytes.reserve(size + kOpeningRoom);
    deflated.bytes.assign(room_.begin(), room_.begin() + static_cast<std::ptrdiff_t>(size));
    if (!isLast && !openDeflateStream(deflated.bytes))
        return {};
    return deflated;
} catch (const std::bad_alloc&) {
    return {};
}

std::array<std::byte, kZlibTrailerSize> zlibTrailer(std::uint32_t checksum) {
    std::array<std::byte, kZlibTrailerSize> bytes;
    for (unsigned i = 0; i < kZlibTrailerSize; ++i)
        bytes[i] = static_cast<std::byte>(checksum >> (24 - 8 * i));
    return bytes;
}

} // namespace kitwell::platform
