#include "Export/ZlibPages.h"

#include <algorithm>
#include <vector>

#include <zlib.h>

#include "KitwellPlatform/Images/PdfContext.h"
#include "KitwellPlatform/Images/PdfPixels.h"
#include "Support/Partner.h"

namespace kitwell::benchmarks {

using namespace platform;

std::size_t zlibPages(const ImageRepresentation& image, std::uint32_t pageHeight) {
    constexpr int kUsualLevel = 6;
    PdfPixels pixels;
    std::vector<std::byte> samples, deflated;
    std::size_t total = 0;
    for (std::uint32_t row = 0; row < image.height; row += pageHeight) {
        const std::uint32_t rows = std::min(pageHeight, image.height - row);
        pixels.write(*cutRows(image, row, rows), PdfSamples::Colours, {0, rows, 0, image.width}, samples);
        deflated.resize(::compressBound(samples.size()));
        uLongf size = deflated.size();
        if (::compress2(reinterpret_cast<Bytef*>(deflated.data()), &size,
                        reinterpret_cast<const Bytef*>(samples.data()), samples.size(), kUsualLevel) != Z_OK)
            fail("zlib cannot compress a page");
        total += size;
    }
    return total;
}

} // namespace kitwell::benchmarks
