#include <algorithm>
#include <new>

#include "KitwellCommon/Auxiliary/CommonAuxiliary.h"
#include "KitwellPlatform/Files/FileManager.h"
#include "KitwellPlatform/Images/PdfContext.h"

namespace kitwell {

using platform::Data;
using platform::Image;
using platform::ImageRepresentation;

namespace {

const ImageRepresentation* bitmapOf(const Image& image) {
    const auto& representations = image.representations();
    return representations.empty() || !representations.front().isBitmap() ? nullptr
                                                                          : &representations.front();
}

bool write(const std::optional<Data>& data, const std::string& filePath) {
    return data && platform::FileManager::writeInPlace(filePath, data->bytes());
}

std::optional<Data> pdfOf(const Image& image, std::uint64_t pageHeight, const ExportProgress& progress) {
    const ImageRepresentation* bitmap = bitmapOf(image);
    if (!bitmap)
        return std::nullopt;
    const std::uint32_t height = bitmap->height;
    const bool isCut = pageHeight != 0 && pageHeight < height;
    const std::uint32_t page = isCut ? static_cast<std::uint32_t>(pageHeight) : height;
    const double width = bitmap->width;

    std::uint64_t done = 0;
    platform::PdfContext context(0, [&](std::uint32_t rows) {
        done += rows;
        if (progress)
            progress(done, height);
    });
    for (std::uint32_t remaining = height; remaining != 0;) {
        const std::uint32_t slice = std::min(remaining, page);
        const auto part = platform::cutRows(*bitmap, height - remaining, slice);
        const double empty = page - slice;
        if (!part || !context.addPage({0, 0, width, static_cast<double>(page)}, *part,
                                      {0, empty, width, static_cast<double>(slice)}))
            return std::nullopt;
        remaining -= slice;
    }
    return context.close();
}

} // namespace

std::optional<Data> CommonAuxiliary::dataForImageAsPDF(const Image& image, std::uint64_t pageHeight,
                                                       const ExportProgress& progress) {
    try {
        return pdfOf(image, pageHeight, progress);
    } catch (const std::bad_alloc&) {
        return std::nullopt;
    }
}

std::optional<Data> CommonAuxiliary::dataForImage(const Image& image, platform::BitmapFileType type) {
    const ImageRepresentation* bitmap = bitmapOf(image);
    return bitmap ? platform::bitmapData(*bitmap, type) : std::nullopt;
}

bool CommonAuxiliary::saveImageAsPDF(const Image& image, const std::string& filePath,
                                     std::uint64_t pageHeight, const ExportProgress& progress) {
    return write(dataForImageAsPDF(image, pageHeight, progress), filePath);
}

bool CommonAuxiliary::saveImage(const Image& image, platform::BitmapFileType type,
                                const std::string& filePath) {
    return write(dataForImage(image, type), filePath);
}

} // namespace kitwell
