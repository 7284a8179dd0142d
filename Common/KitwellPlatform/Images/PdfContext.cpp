#include "KitwellPlatform/Images/PdfContext.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <string>
#include <utility>
#include <vector>

#include "KitwellPlatform/Images/DeflateJoin.h"
#include "KitwellPlatform/Images/JpegFrame.h"
#include "KitwellPlatform/Images/OrderedWork.h"
#include "KitwellPlatform/Images/OutOfMemory.h"
#include "KitwellPlatform/Images/PdfDeflater.h"
#include "KitwellPlatform/Images/PdfFile.h"
#include "KitwellPlatform/Images/PixelKind.h"

namespace kitwell::platform {

namespace {

constexpr unsigned kMaxThreads = 8; // each takes up to 4 MiB
constexpr double kMaxNumber = 1e9;

unsigned threadsFor(unsigned wanted) {
    return std::clamp(wanted > 0 ? wanted : std::thread::hardware_concurrency(), 1U, kMaxThreads);
}

// With a decimal point in every locale.
std::string number(double value) {
    std::array<char, 400> digits;
    const auto end =
        std::to_chars(digits.data(), digits.data() + digits.size(), value, std::chars_format::fixed).ptr;
    return {digits.data(), end};
}

std::string numbers(std::initializer_list<double> values) {
    std::string text;
    for (const double value : values)
        text += (text.empty() ? "" : " ") + number(value);
    return text;
}

bool isPossible(const PdfRectangle& rectangle) {
    const auto isPossibleNumber = [](double value) { return std::abs(value) <= kMaxNumber; };
    return isPossibleNumber(rectangle.x) && isPossibleNumber(rectangle.y) &&
           isPossibleNumber(rectangle.width) && isPossibleNumber(rectangle.height) && rectangle.width > 0 &&
           rectangle.height > 0;
}

std::string reference(std::size_t object) {
    return std::to_string(object) + " 0 R";
}

std::string imageDictionary(const ImageRepresentation& picture, bool isGrey) {
    return "<</Type/XObject/Subtype/Image/Width " + std::to_string(picture.width) + "/Height " +
           std::to_string(picture.height) + "/BitsPerComponent 8/ColorSpace/" +
           (isGrey ? "DeviceGray" : "DeviceRGB");
}

std::string flateParameters(const ImageRepresentation& picture, PdfSamples samples) {
    return "/Filter/FlateDecode/DecodeParms<</Predictor 15/Colors " +
           std::to_string(samplesPerPixel(samples)) + "/Columns " + std::to_string(picture.width) + ">>";
}

// What the pieces of one image object have in common.
struct ImageObject {
    ImageRepresentation picture;
    PdfSamples samples = PdfSamples::Colours;
    std::size_t object = 0;
    std::size_t lengthObject = 0; // 0: one piece, whose length is known when the object begins
    std::string dictionary;       // without length and end
    std::size_t length = 0;
    std::uint32_t checksum = 1;
};

} // namespace

struct PdfContext::State {
    State(unsigned threads, RowsWritten told)
        : rowsWritten(std::move(told)), deflaters(threads), work(threads) {}

    std::size_t addImage(const ImageRepresentation& picture);
    std::size_t addJpeg(const ImageRepresentation& picture, const std::string& dictionary);
    std::size_t addPixels(const ImageRepresentation& picture, PdfSamples samples, const std::string& more);
    void write(ImageObject& image, const DeflatedPiece& piece, bool isFirst, bool isLast);
    void tellRows(std::uint32_t rows) const;
    void addPage(const PdfRectangle& box, std::size_t image, const PdfRectangle& place);
    std::size_t drawing(const PdfRectangle& place);
    Data finish();

    const RowsWritten rowsWritten;
    PdfFile file;
    const std::size_t root = file.newNumber();
    const std::size_t pageTree = file.newNumber();
    std::vector<std::size_t> pages;
    std::string lastDrawing;
    std::size_t lastDrawingObject = 0;
    bool hasFailed = false;
    std::vector<PdfDeflater> deflaters; // one for each thread
    OrderedWork work;                   // ends first: it uses all the others
};

// What an image dictionary still lacks is `more`.
std::size_t PdfContext::State::addPixels(const ImageRepresentation& picture, PdfSamples samples,
                                         const std::string& more) {
    const std::vector<PdfPiece> pieces = cutIntoPieces(picture, samples);
    const auto image = std::make_shared<ImageObject>();
    image->picture = picture;
    image->samples = samples;
    image->object = file.newNumber();
    image->lengthObject = pieces.size() > 1 ? file.newNumber() : 0;
    image->dictionary =
        imageDictionary(picture, samples != PdfSamples::Colours) + flateParameters(picture, samples) + more;
    for (const PdfPiece& piece : pieces) {
        const bool isFirst = &piece == &pieces.front(), isLast = &piece == &pieces.back();
        const auto deflated = std::make_shared<DeflatedPiece>();
        work.add(
            [this, image, piece, isLast, deflated](unsigned worker) {
                *deflated = deflaters[worker].deflate(image->picture, image->samples, piece, isLast);
            },
            [this, image, piece, isFirst, isLast, deflated] {
                write(*image, *deflated, isFirst, isLast);
                // The colours are written after their alpha.
                if (image->samples != PdfSamples::Alpha &&
                    piece.firstColumn + piece.columns == image->picture.width)
                    tellRows(piece.rows);
            });
    }
    return image->object;
}

void PdfContext::State::write(ImageObject& image, const DeflatedPiece& piece, bool isFirst, bool isLast) {
    hasFailed = hasFailed || piece.bytes.empty();
    if (isFirst) {
        image.length = kZlibHeader.size() + kZlibTrailerSize;
        const std::string length = image.lengthObject > 0 ? reference(image.lengthObject)
                                                          : std::to_string(image.length + piece.bytes.size());
        file.begin(image.object);
        file.write(image.dictionary + "/Length " + length + ">>stream\n");
        file.write(kZlibHeader);
    }
    file.write(piece.bytes);
    image.length += piece.bytes.size();
    image.checksum = combineAdler32(image.checksum, piece.checksum, piece.length);
    if (!isLast)
        return;
    file.write(zlibTrailer(image.checksum));
    file.write("\nendstream");
    file.end();
    if (image.lengthObject > 0)
        file.writeObject(image.lengthObject, std::to_string(image.length));
}

void PdfContext::State::tellRows(std::uint32_t rows) const {
    if (rowsWritten)
        rowsWritten(rows);
}

std::size_t PdfContext::State::addJpeg(const ImageRepresentation& picture, const std::string& dictionary) {
    const std::size_t object = file.newNumber();
    const std::string head =
        dictionary + "/Filter/DCTDecode/Length " + std::to_string(picture.jpeg.size()) + ">>stream\n";
    work.add({}, [this, object, head, jpeg = picture.jpeg, rows = picture.height] {
        file.begin(object);
        file.write(head);
        file.write(jpeg.bytes());
        file.write("\nendstream");
        file.end();
        tellRows(rows);
    });
    return object;
}

std::size_t PdfContext::State::addImage(const ImageRepresentation& picture) {
    const auto frame = findJpegFrame(picture.jpeg.bytes());
    if (frame && frame->width == picture.width && frame->height == picture.height &&
        (frame->components == 1 || frame->components == 3))
        return addJpeg(picture, imageDictionary(picture, frame->components == 1));
    const PixelKind kind = kindOfPixels(picture.pixels.bytes());
    std::string more;
    if (!kind.isOpaque)
        more = "/SMask " + reference(addPixels(picture, PdfSamples::Alpha, ""));
    return addPixels(picture, kind.isGrey ? PdfSamples::Grey : PdfSamples::Colours, more);
}

// The drawing of a page is mostly that of the page before.
std::size_t PdfContext::State::drawing(const PdfRectangle& place) {
    std::string text = "q " + numbers({place.width, 0, 0, place.height, place.x, place.y}) + " cm /I Do Q";
    if (text == lastDrawing)
        return lastDrawingObject;
    lastDrawing = text;
    lastDrawingObject = file.newNumber();
    work.add({}, [this, object = lastDrawingObject, text = std::move(text)] {
        file.writeObject(object,
                         "<</Length " + std::to_string(text.size()) + ">>stream\n" + text + "\nendstream");
    });
    return lastDrawingObject;
}

void PdfContext::State::addPage(const PdfRectangle& box, std::size_t image, const PdfRectangle& place) {
    const std::size_t contents = drawing(place);
    const std::size_t page = file.newNumber();
    pages.push_back(page);
    std::string text = "<</Type/Page/Parent " + reference(pageTree) + "/MediaBox[" +
                       numbers({box.x, box.y, box.x + box.width, box.y + box.height}) +
                       "]/Resources<</XObject<</I " + reference(image) + ">>>>/Contents " +
                       reference(contents) + ">>";
    work.add({}, [this, page, text = std::move(text)] { file.writeObject(page, text); });
}

Data PdfContext::State::finish() {
    file.writeObject(root, "<</Type/Catalog/Pages " + reference(pageTree) + ">>");
    file.begin(pageTree);
    file.write("<</Type/Pages/Count " + std::to_string(pages.size()) + "/Kids[");
    for (const std::size_t page : pages)
        file.write(reference(page) + "\n");
    file.write("]>>");
    file.end();
    return file.finish();
}

PdfContext::PdfContext(unsigned threads, RowsWritten rowsWritten)
    : state_(std::make_unique<State>(threadsFor(threads), std::move(rowsWritten))) {}
PdfContext::~PdfContext() = default;

bool PdfContext::addPage(const PdfRectangle& mediaBox, const ImageRepresentation& picture,
                         const PdfRectangle& place) {
    if (!state_)
        return false;
    bool& hasFailed = state_->hasFailed;
    hasFailed = hasFailed || !isPossible(mediaBox) || !isPossible(place) || !picture.isBitmap();
    if (hasFailed)
        return false;
    const bool isAdded = orNothingWithoutMemory([&] {
        state_->addPage(mediaBox, state_->addImage(picture), place);
        return true;
    });
    hasFailed = hasFailed || !isAdded || state_->file.isBroken();
    return !hasFailed;
}

std::optional<Data> PdfContext::close() {
    const auto state = std::move(state_);
    if (!state || state->hasFailed || state->pages.empty())
        return std::nullopt;
    return orNothingWithoutMemory([&state]() -> std::optional<Data> {
        state->work.finish();
        Data document = state->finish();
        return state->hasFailed || state->file.isBroken() ? std::nullopt : std::optional(std::move(document));
    });
}

std::optional<ImageRepresentation> cutRows(const ImageRepresentation& picture, std::uint32_t firstRow,
                                           std::uint32_t rows) {
    if (!picture.isBitmap() || rows == 0 || firstRow >= picture.height || rows > picture.height - firstRow)
        return std::nullopt;
    if (rows == picture.height)
        return picture;
    const std::size_t rowSize = std::size_t{picture.width} * 4;
    const auto bytes = picture.pixels.bytes().subspan(firstRow * rowSize, rows * rowSize);
    return ImageRepresentation{picture.width, rows,
                               Data::sharing(std::make_shared<Data>(picture.pixels), bytes)};
}

} // namespace kitwell::platform
