// Images as PDF documents, beside the same pages through zlib and beside other programs that make them.

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <fstream>

#include "Export/CairoPages.h"
#include "Export/Programs.h"
#include "Export/ZlibPages.h"
#include "KitwellCommon/Auxiliary/CommonAuxiliary.h"
#include "KitwellPlatform/Files/FileManager.h"
#include "KitwellPlatform/Images/PdfContext.h"
#include "Support/Comparison.h"
#include "Support/Partner.h"
#include "Support/TestPage.h"

namespace {

using namespace kitwell;
using namespace kitwell::benchmarks;
using platform::Data;
using platform::Image;
using platform::ImageRepresentation;

constexpr std::uint32_t kWidth = 1440;
constexpr std::uint32_t kHeight = 20000;
constexpr std::uint32_t kPageHeight = 1800;
constexpr int kRounds = 5;
constexpr double kMiB = 1 << 20;

double timeOf(const std::function<void()>& work) {
    const double start = now();
    work();
    return now() - start;
}

double inverse(const std::function<void()>& work) {
    return 1 / timeOf(work);
}

Data document(const ImageRepresentation& image, unsigned threads) {
    platform::PdfContext context(threads);
    for (std::uint32_t row = 0; row < image.height; row += kPageHeight) {
        const std::uint32_t rows = std::min(kPageHeight, image.height - row);
        const auto slice = platform::cutRows(image, row, rows);
        if (!slice || !context.addPage({0, 0, double{kWidth}, double{kPageHeight}}, *slice,
                                       {0, double{kPageHeight} - rows, double{kWidth}, double(rows)}))
            fail("no page");
    }
    const auto made = context.close();
    if (!made)
        fail("no document");
    return *made;
}

// Bytes that the process has in memory ("VmRSS") or had at most ("VmHWM").
double memory(const std::string& which) {
    std::ifstream status("/proc/self/status");
    for (std::string word; status >> word;)
        if (double kilobytes = 0; word == which + ":" && status >> kilobytes)
            return kilobytes * 1024;
    fail("no memory figures");
}

// In a process of its own: how much more than the image there is in memory at most, the document included.
void reportPeak(const std::vector<std::string>& arguments) {
    const auto height = static_cast<std::uint32_t>(std::stoul(arguments.at(0)));
    const Image image = *Image::fromRepresentations({testPage(kWidth, height)});
    std::ofstream("/proc/self/clear_refs") << "5"; // the peak begins anew
    const double before = memory("VmRSS");
    if (!CommonAuxiliary::sharedInstance().dataForImageAsPDF(image, std::stoul(arguments.at(1))))
        fail("no document");
    report(memory("VmHWM") - before);
}

double peak(std::uint32_t height, std::uint32_t pageHeight) {
    return Partner("peak", {std::to_string(height), std::to_string(pageHeight)}).hear();
}

bool compareWithZlib(const ImageRepresentation& image) {
    const auto zlib = [&] { return inverse([&] { zlibPages(image, kPageHeight); }); };
    bool kept = compare({"PDF, one thread", "its pages through zlib 6", "docs/s", 1, Better::More, 1.7},
                        kRounds, zlib, [&] { return inverse([&] { document(image, 1); }); });
    kept &= compare({"PDF, threads as by default", "its pages through zlib 6", "docs/s", 1, Better::More, 3},
                    kRounds, zlib, [&] { return inverse([&] { document(image, 0); }); });
    kept &= compare(
        {"size of the document", "its pages through zlib 6", "MiB", 1 / kMiB, Better::Less, 1}, 1,
        [&] { return static_cast<double>(zlibPages(image, kPageHeight)); },
        [&] { return static_cast<double>(document(image, 1).size()); });
    return kept;
}

bool comparePeaks() {
    bool kept = true;
    for (const auto& [height, pageHeight] :
         {std::pair{kHeight, kPageHeight}, {kHeight, 0U}, {2 * kHeight, kPageHeight}, {2 * kHeight, 0U}})
        kept &= compare(
            {"peak above an image " + std::to_string(height) + " high, pages of " +
                 std::to_string(pageHeight),
             "48 MiB, the document included", "MiB", 1 / kMiB, Better::Less, 1},
            1, [] { return 48 * kMiB; }, [height = height, page = pageHeight] { return peak(height, page); });
    return kept;
}

// Ours writes a file, too, from the pixels; the other one begins with what it likes best.
bool compareWithProgram(const std::string& name, const std::vector<std::string>& command,
                        const PrivateFolder& folder, const Image& image) {
    const std::string work = "PDF file, threads as by default";
    if (!timeProgram(command)) {
        printUnavailable(work + ", " + name, command.front() + " is not here or fails");
        return true;
    }
    return compare(
        {work, name, "ms", 1e3, Better::Less, 1}, kRounds, [&] { return timeProgram(command).value_or(0); },
        [&] {
            return timeOf([&] {
                CommonAuxiliary::sharedInstance().saveImageAsPDF(image, folder.path("ours.pdf"), kPageHeight);
            });
        });
}

void writePnm(const std::string& path, const ImageRepresentation& slice) {
    std::string text = "P6 " + std::to_string(slice.width) + " " + std::to_string(slice.height) + " 255\n";
    for (std::size_t at = 0; at < slice.pixels.size(); at += 4)
        text += slice.pixels.text().substr(at, 3);
    std::ofstream(path) << text;
}

bool compareWithOthers(const ImageRepresentation& image) {
    const PrivateFolder folder;
    std::vector<std::string> pngs, pnms;
    for (std::uint32_t row = 0; row < image.height; row += kPageHeight) {
        const auto slice = *platform::cutRows(image, row, std::min(kPageHeight, image.height - row));
        pngs.push_back(folder.path(std::to_string(row) + ".png"));
        pnms.push_back(folder.path(std::to_string(row) + ".ppm"));
        writePnm(pnms.back(), slice);
        const auto png = platform::bitmapData(slice, platform::BitmapFileType::PNG);
        if (png && !platform::FileManager::writeInPlace(pngs.back(), png->bytes()))
            fail("cannot write a page");
    }
    const Image whole = *Image::fromRepresentations({image});
    std::vector<std::string> command{"img2pdf", "-o", folder.path("other.pdf")};
    command.insert(command.end(), pngs.begin(), pngs.end());
    bool kept = compareWithProgram("img2pdf, from ready PNGs", command, folder, whole);
    command = {"gm", "convert"};
    command.insert(command.end(), pnms.begin(), pnms.end());
    command.insert(command.end(), {"-compress", "Zip", folder.path("other.pdf")});
    kept &= compareWithProgram("GraphicsMagick, from plain pixels", command, folder, whole);
    if (cairoPages(image, kPageHeight))
        kept &= compare(
            {"PDF, threads as by default", "cairo", "ms", 1e3, Better::Less, 1}, kRounds,
            [&] { return timeOf([&] { cairoPages(image, kPageHeight); }); },
            [&] { return timeOf([&] { document(image, 0); }); });
    else
        printUnavailable("PDF, cairo", "built without it");
    return kept;
}

// What a process pays that links the framework and exports nothing: the loading of the libraries, and a
// quarter of that at most for the framework's own two. Work that pictures did at every start would not fit
// in.
bool compareStarts() {
    const std::string folder = std::filesystem::read_symlink("/proc/self/exe").parent_path().string();
    const auto start = [&folder](const std::string& name) {
        return [command = std::vector{folder + "/" + name}] { return timeProgram(command).value_or(0); };
    };
    constexpr int kStarts = 101;
    printPeer({"start of a process with the framework", "an empty process", "ms", 1e3}, kStarts,
              start("StartAlone"), start("StartWithFramework"));
    return compare({"start of a process with the framework", "all libraries that it loads", "ms", 1e3,
                    Better::Less, 1.25},
                   kStarts, start("StartWithLibraries"), start("StartWithFramework"));
}

} // namespace

int main(int argc, char** argv) {
    if (argc > 3 && std::string(argv[1]) == "--role") {
        reportPeak({argv + 3, argv + argc});
        return 0;
    }
    printHeading("Export of 1440 x 20000 pixels, pages of 1800");
    const ImageRepresentation image = testPage(kWidth, kHeight);
    bool kept = compareWithZlib(image);
    kept &= comparePeaks();
    kept &= compareWithOthers(image);
    kept &= compareStarts();
    return kept ? 0 : 1;
}
