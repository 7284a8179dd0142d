#include "Export/CairoPages.h"

#ifdef KITWELL_HAS_CAIRO

#include <algorithm>
#include <cairo-pdf.h>
#include <cstring>
#include <vector>

namespace kitwell::benchmarks {

namespace {

cairo_status_t append(void* document, const unsigned char* bytes, unsigned size) {
    auto& all = *static_cast<std::vector<unsigned char>*>(document);
    all.insert(all.end(), bytes, bytes + size);
    return CAIRO_STATUS_SUCCESS;
}

// The library's pixels are words of which the highest byte has no meaning here.
cairo_surface_t* surfaceOf(const std::byte* rgba, int width, int height) {
    cairo_surface_t* surface = cairo_image_surface_create(CAIRO_FORMAT_RGB24, width, height);
    cairo_surface_flush(surface);
    unsigned char* row = cairo_image_surface_get_data(surface);
    for (int y = 0; y < height; ++y, row += cairo_image_surface_get_stride(surface))
        for (int x = 0; x < width; ++x, rgba += 4) {
            const auto part = [rgba](int i) { return std::to_integer<std::uint32_t>(rgba[i]); };
            const std::uint32_t pixel = part(0) << 16 | part(1) << 8 | part(2);
            std::memcpy(row + x * 4, &pixel, sizeof pixel);
        }
    cairo_surface_mark_dirty(surface);
    return surface;
}

} // namespace

std::optional<std::size_t> cairoPages(const platform::ImageRepresentation& image, std::uint32_t pageHeight) {
    std::vector<unsigned char> document;
    const auto width = static_cast<int>(image.width);
    cairo_surface_t* pdf = cairo_pdf_surface_create_for_stream(append, &document, width, pageHeight);
    cairo_t* context = cairo_create(pdf);
    for (std::uint32_t row = 0; row < image.height; row += pageHeight) {
        const auto rows = static_cast<int>(std::min(pageHeight, image.height - row));
        cairo_surface_t* slice =
            surfaceOf(image.pixels.data() + std::size_t{row} * image.width * 4, width, rows);
        cairo_set_source_surface(context, slice, 0, 0);
        cairo_paint(context);
        cairo_show_page(context);
        cairo_surface_destroy(slice);
    }
    cairo_destroy(context);
    cairo_surface_finish(pdf);
    cairo_surface_destroy(pdf);
    return document.size();
}

} // namespace kitwell::benchmarks

#else

std::optional<std::size_t> kitwell::benchmarks::cairoPages(const platform::ImageRepresentation&,
                                                           std::uint32_t) {
    return std::nullopt;
}

#endif
