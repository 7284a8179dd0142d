#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

#include "KitwellPlatform/Export.h"
#include "KitwellPlatform/Images/Image.h"
#include "KitwellPlatform/Values/Data.h"

namespace kitwell::platform {

// In units of a PDF, from its origin at the lower left.
struct PdfRectangle {
    double x = 0;
    double y = 0;
    double width = 0;
    double height = 0;
};

// `rows` rows of a picture from `firstRow` on, which share its bytes; all rows are the picture itself, with
// the JPEG that it was read from. Nothing when they are not all inside or are none.
PLATFORM_API std::optional<ImageRepresentation> cutRows(const ImageRepresentation& picture,
                                                        std::uint32_t firstRow, std::uint32_t rows);

// Makes a PDF document in memory, each page with one picture. Pixels are kept exactly, alpha as a soft mask;
// a picture that was read from a JPEG keeps the JPEG. The same pages give the same bytes, however many
// threads compress them. Beside the document itself it takes up to some 40 MiB. One thread at a time; the
// context's own threads run while it is at work and end with it.
class PLATFORM_API PdfContext {
public:
    // Told on the caller's thread, when so many more rows of the pictures stand in the document.
    using RowsWritten = std::function<void(std::uint32_t rows)>;

    // On so many threads, the caller's included; 0: as many as the machine has processors, up to 8.
    explicit PdfContext(unsigned threads = 0, RowsWritten rowsWritten = {});
    ~PdfContext();
    PdfContext(const PdfContext&) = delete;
    PdfContext& operator=(const PdfContext&) = delete;

    // Adds a page of the size `mediaBox` on which the whole picture fills `place`. May wait for the work on
    // earlier pages, and work itself. False when the page cannot be made; the document is then lost.
    bool addPage(const PdfRectangle& mediaBox, const ImageRepresentation& picture, const PdfRectangle& place);
    // The document; nothing when a page was lost or there is none. No page can be added afterwards.
    std::optional<Data> close();

private:
    struct State;
    std::unique_ptr<State> state_;
};

} // namespace kitwell::platform
