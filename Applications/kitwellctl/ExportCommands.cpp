#include <charconv>
#include <chrono>
#include <cstdio>
#include <optional>
#include <unistd.h>

#include "Commands.h"
#include "KitwellCommon/KitwellCommon.h"
#include "KitwellPlatform/Files/AtomicFile.h"
#include "KitwellPlatform/Files/FileManager.h"
#include "Shared/Words.h"

namespace kitwell::applications {

namespace {

using platform::BitmapFileType;
using platform::Data;
using platform::FileManager;
using platform::Image;

// Room for the largest picture with 16 bits a sample.
constexpr std::size_t kMaxInput = platform::kMaxImagePixels * 8;

// One line on a terminal, which goes when the work is over; nothing where the standard error is none.
class Progress {
public:
    ~Progress() { write(""); }

    void begin(const std::string& step) {
        shown_ = Clock::now();
        write(step);
    }
    void count(std::uint64_t pages, std::uint64_t allPages) {
        if (Clock::now() - shown_ > std::chrono::milliseconds(100))
            begin("page " + std::to_string(pages) + " of " + std::to_string(allPages));
    }

private:
    using Clock = std::chrono::steady_clock;

    void write(const std::string& text) const {
        if (isTerminal_)
            std::fprintf(stderr, "\r\033[K%s", text.c_str());
    }

    const bool isTerminal_ = ::isatty(STDERR_FILENO) == 1;
    Clock::time_point shown_;
};

struct Kind {
    std::string_view ending;
    std::optional<BitmapFileType> bitmap; // none: a PDF document
};

constexpr Kind kKinds[] = {{".pdf", {}},
                           {".tif", BitmapFileType::TIFF},
                           {".tiff", BitmapFileType::TIFF},
                           {".bmp", BitmapFileType::BMP},
                           {".gif", BitmapFileType::GIF},
                           {".jpg", BitmapFileType::JPEG},
                           {".jpeg", BitmapFileType::JPEG},
                           {".png", BitmapFileType::PNG},
                           {".jp2", BitmapFileType::JPEG2000}};

const Kind* kindFor(std::string_view path) {
    for (const Kind& kind : kKinds)
        if (path.size() > kind.ending.size() &&
            isSameName(path.substr(path.size() - kind.ending.size()), kind.ending))
            return &kind;
    return nullptr;
}

std::optional<std::uint64_t> readNumber(std::string_view text) {
    std::uint64_t number = 0;
    const auto [end, failure] = std::from_chars(text.data(), text.data() + text.size(), number);
    return failure == std::errc() && end == text.data() + text.size() ? std::optional(number) : std::nullopt;
}

std::optional<Data> make(const Kind& kind, const Image& image, std::uint64_t pageHeight, Progress& progress) {
    CommonAuxiliary& auxiliary = CommonAuxiliary::sharedInstance();
    if (kind.bitmap)
        return auxiliary.dataForImage(image, *kind.bitmap);
    return auxiliary.dataForImageAsPDF(
        image, pageHeight,
        [&progress](std::uint64_t pages, std::uint64_t all) { progress.count(pages, all); });
}

Answer carryOut(const Kind& kind, const std::string& input, const std::string& output,
                std::uint64_t pageHeight) {
    Progress progress;
    progress.begin("reading");
    auto content = platform::readFile(input, kMaxInput);
    if (!content)
        return Answer::failed("cannot " + content.error().description);
    const auto image = Image::fromData(*content);
    if (!image || !image->representations().front().isBitmap())
        return Answer::failed(input + " is no picture, or is damaged or too large");
    progress.begin("encoding");
    const auto data = make(kind, *image, pageHeight, progress);
    if (!data)
        return Answer::failed("the picture cannot be stored as " + std::string(kind.ending.substr(1)));
    progress.begin("writing");
    if (const auto written = FileManager::writeInPlace(output, data->bytes()); !written)
        return Answer::failed("cannot " + written.error().description);
    return Answer::done(output + " is written", {{"path", output}, {"bytes", data->size()}});
}

Answer exportPicture(const Call& call) {
    const Kind* kind = kindFor(call[1]);
    if (!kind)
        return Answer::usage(call[1] + " has no ending of .pdf, .tiff, .bmp, .gif, .jpeg, .png or .jp2");
    std::optional<std::uint64_t> pageHeight = 0;
    if (call.has("page-height"))
        pageHeight = readNumber(call.options.at("page-height"));
    if (!pageHeight)
        return Answer::usage("the page height is no number of pixels");
    if (call.has("page-height") && kind->bitmap)
        return Answer::usage("only a .pdf has pages");
    if (!call.has("force") && FileManager::fileExists(call[1]))
        return Answer::failed(call[1] + " exists already; --force overwrites it");
    return carryOut(*kind, call[0], call[1], *pageHeight);
}

constexpr Command kCommands[] = {
    {"export", "INPUT OUTPUT", "save a picture as its new name's ending says", exportPicture,
     "--page-height=N --force"},
};

} // namespace

std::span<const Command> exportCommands() {
    return kCommands;
}

} // namespace kitwell::applications
