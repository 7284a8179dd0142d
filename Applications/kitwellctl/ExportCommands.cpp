#include <charconv>
#include <csignal>
#include <filesystem>
#include <optional>

#include "Commands.h"
#include "KitwellCommon/KitwellCommon.h"
#include "KitwellPlatform/Files/AtomicFile.h"
#include "KitwellPlatform/Files/FileManager.h"
#include "KitwellPlatform/Files/FreePath.h"
#include "Progress.h"
#include "Shared/PictureNames.h"

namespace kitwell::applications {

namespace {

using platform::BitmapFileType;
using platform::Data;
using platform::FileManager;
using platform::Image;
using platform::Result;

struct Job {
    std::string input;
    std::string output;
    std::optional<BitmapFileType> bitmap; // none: a PDF document
    std::uint64_t pageHeight = 0;
    bool mayOverwrite = false;
};

std::optional<std::uint64_t> readNumber(std::string_view text) {
    std::uint64_t number = 0;
    const auto [end, failure] = std::from_chars(text.data(), text.data() + text.size(), number);
    return failure == std::errc() && end == text.data() + text.size() ? std::optional(number) : std::nullopt;
}

std::optional<Data> make(const Job& job, const Image& image, Progress& progress) {
    CommonAuxiliary& auxiliary = CommonAuxiliary::sharedInstance();
    if (job.bitmap)
        return auxiliary.dataForImage(image, *job.bitmap);
    return auxiliary.dataForImageAsPDF(
        image, job.pageHeight,
        [&progress](std::uint64_t rows, std::uint64_t all) { progress.count(rows, all); });
}

// A picture that is exported over itself must not be lost with a write that fails, and a file that came to
// stand there during the work is not overwritten either.
Result<void> write(const Job& job, const Data& data) {
    std::error_code failure;
    if (job.mayOverwrite && std::filesystem::equivalent(job.input, job.output, failure))
        return platform::replaceFile(job.output, data.bytes());
    if (job.mayOverwrite)
        return FileManager::writeInPlace(job.output, data.bytes());
    const auto written = platform::writeToFirstFreePath(data.bytes(), std::span(&job.output, 1));
    return written ? Result<void>() : written.error();
}

Answer carryOut(const Job& job) {
    Progress progress;
    progress.begin("reading");
    auto content = platform::readFile(job.input, platform::kMaxImageFileSize);
    if (!content)
        return Answer::failed("cannot " + content.error().description);
    const auto image = Image::fromData(*content, platform::ImagePictures::First);
    if (!image || !image->representations().front().isBitmap())
        return Answer::failed(job.input + " is no picture, or is damaged or too large");
    progress.begin("encoding");
    const auto data = make(job, *image, progress);
    if (!data)
        return Answer::failed("the picture cannot become " + job.output);
    progress.begin("writing");
    std::signal(SIGPIPE, SIG_IGN); // a pipe that is read no more is a failure as any other
    if (const auto written = write(job, *data); !written)
        return Answer::failed("cannot " + written.error().description);
    return Answer::done(job.output + " is written", {{"path", job.output}, {"bytes", data->size()}});
}

Answer exportPicture(const Call& call) {
    Job job{call[0], call[1], pictureTypeOf(call[1]), 0, call.has("force")};
    if (!job.bitmap && !hasEnding(job.output, ".pdf"))
        return Answer::usage(job.output + " has no ending of .pdf, .tiff, .bmp, .gif, .jpeg, .png or .jp2");
    if (call.has("page-height")) {
        const auto pageHeight = readNumber(call.options.at("page-height"));
        if (!pageHeight)
            return Answer::usage("the page height is no number of pixels");
        if (job.bitmap)
            return Answer::usage("only a .pdf has pages");
        job.pageHeight = *pageHeight;
    }
    if (!job.mayOverwrite && FileManager::fileExists(job.output))
        return Answer::failed(job.output + " exists already; --force overwrites it");
    return carryOut(job);
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
