// What is exported is judged by programs that others made: qpdf for the document, poppler for its pixels.

#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <limits>
#include <random>

#include "KitwellCommon/Auxiliary/CommonAuxiliary.h"
#include "KitwellPlatform/Files/AtomicFile.h"
#include "KitwellPlatform/Files/FileManager.h"
#include "KitwellPlatform/Images/PdfContext.h"
#include "Support/ChildProcess.h"
#include "Support/TestHome.h"

using namespace kitwell;
using namespace kitwell::platform;
using kitwell::test::ChildProcess;

namespace {

using Words = std::vector<std::string>;
using Size = std::pair<std::uint32_t, std::uint32_t>;

CommonAuxiliary& auxiliary() {
    return CommonAuxiliary::sharedInstance();
}

struct Pixels {
    bool isGrey = false;
    bool isOpaque = true;
};

// Noise, which no compression makes smaller, then plain colour, then a pattern that comes again and again.
ImageRepresentation picture(Size size, Pixels kind = {}) {
    std::minstd_rand random(7);
    std::string bytes(std::size_t{size.first} * size.second * 4, '\xff');
    for (std::size_t at = 0; at < bytes.size(); at += 4) {
        const std::size_t third = at * 3 / bytes.size();
        const auto value = third == 0 ? random() >> 8 : third == 1 ? 0x4080c0U : at / 4 % 301 * 70;
        for (unsigned part = 0; part < 4; ++part)
            if (part < 3 || !kind.isOpaque)
                bytes[at + part] = static_cast<char>(kind.isGrey && part < 3 ? value : value >> 8 * part);
    }
    return {size.first, size.second, Data(bytes)};
}

Image imageOf(const ImageRepresentation& representation) {
    return *Image::fromRepresentations({representation});
}

// The samples in a file of the kind that netpbm calls PPM.
std::string rasterOf(const std::string& path) {
    std::ifstream file(path);
    std::string kind;
    std::size_t width = 0, height = 0, highest = 0;
    file >> kind >> width >> height >> highest;
    std::string raster(width * height * 3, '\0');
    file.get();
    file.read(raster.data(), static_cast<std::streamsize>(raster.size()));
    return raster;
}

class ImageExport : public test::InTestHome {
protected:
    int run(const std::string& program, const Words& words) {
        ChildProcess child = ChildProcess::program("/usr/bin/" + program, words);
        while (child.readLine())
            continue;
        return child.wait();
    }
    std::string saved(const Data& document) {
        const std::string path = home.path("document.pdf");
        EXPECT_TRUE(FileManager::writeInPlace(path, document.bytes()));
        return path;
    }
    // Red, green and blue of all pictures in a document, in the order of its pages. Where there are masks,
    // one follows each picture, and its grey is put behind each pixel.
    std::string pixelsIn(const Data& document, bool hasMasks) {
        EXPECT_EQ(run("pdfimages", {saved(document), home.path("image")}), 0);
        std::vector<std::string> rasters;
        for (const std::string& name : FileManager::namesInFolder(home.path()))
            if (name.starts_with("image-")) {
                rasters.push_back(rasterOf(home.path(name)));
                std::filesystem::remove(home.path(name));
            }
        std::string pixels;
        for (std::size_t i = 0; i < rasters.size(); i += hasMasks ? 2 : 1)
            for (std::size_t at = 0; at < rasters[i].size(); at += 3)
                pixels += rasters[i].substr(at, 3) + (hasMasks ? rasters.at(i + 1).at(at) : '\xff');
        return pixels;
    }
};

std::size_t count(const Data& document, const std::string& text) {
    std::size_t found = 0;
    for (std::size_t at = 0; (at = document.text().find(text, at)) != std::string::npos; ++at)
        ++found;
    return found;
}

} // namespace

TEST_F(ImageExport, PagesKeepEveryPixelInOrder) {
    struct Case {
        Size size;
        std::uint64_t pageHeight;
        Pixels kind;
    };
    const Case cases[] = {{{1, 1}, 0, {}},
                          {{1, 1}, 1, {}},
                          {{70, 100}, 0, {}},
                          {{70, 100}, 99, {}},
                          {{70, 100}, 100, {}},
                          {{70, 100}, 101, {}},
                          {{70, 100}, 30, {}},
                          {{7, 10}, 1, {}},
                          {{70, 100}, ~0ULL, {}},
                          {{1, 100000}, 0, {}},
                          {{1, 100000}, 30000, {}},
                          {{30000, 1}, 0, {}},
                          {{900, 2500}, 0, {}},
                          {{900, 2500}, 1800, {}},
                          {{800000, 3}, 2, {}},
                          {{70, 100}, 30, {true}},
                          {{900, 2500}, 0, {true}},
                          {{70, 100}, 30, {false, false}},
                          {{70, 100}, 0, {true, false}},
                          {{1200, 1800}, 0, {false, false}}};
    for (const auto& [size, pageHeight, kind] : cases) {
        SCOPED_TRACE(testing::PrintToString(size) + " by " + std::to_string(pageHeight));
        const ImageRepresentation source = picture(size, kind);
        const auto document = auxiliary().dataForImageAsPDF(imageOf(source), pageHeight);
        ASSERT_TRUE(document);
        const std::uint64_t page = pageHeight > 0 && pageHeight < size.second ? pageHeight : size.second;
        const std::string box =
            "/MediaBox[0 0 " + std::to_string(size.first) + " " + std::to_string(page) + "]";
        EXPECT_EQ(count(*document, box), (size.second + page - 1) / page);
        EXPECT_EQ(run("qpdf", {"--check", saved(*document)}), 0);
        EXPECT_TRUE(pixelsIn(*document, !kind.isOpaque) == source.pixels.text());
        EXPECT_EQ(count(*document, "DeviceRGB") > 0, !kind.isGrey);
    }
}

TEST_F(ImageExport, EachSliceStandsAtTheTopOfItsPageAndIsNotScaled) {
    const ImageRepresentation source = picture({31, 100});
    for (const std::uint64_t pageHeight : {0U, 1U, 30U, 99U}) {
        const auto document = auxiliary().dataForImageAsPDF(imageOf(source), pageHeight);
        ASSERT_TRUE(document);
        const std::size_t page = pageHeight > 0 ? pageHeight : 100;
        ASSERT_EQ(run("pdftocairo", {"-tiff", "-r", "72", "-scale-to-x", "31", "-scale-to-y",
                                     std::to_string(page), saved(*document), home.path("page")}),
                  0);
        std::string rendered;
        for (const std::string& name : FileManager::namesInFolder(home.path()))
            if (name.starts_with("page-")) {
                const auto drawn = Image::fromData(readFile(home.path(name), 1UL << 20).value());
                rendered += drawn ? drawn->representations().front().pixels.text() : "";
                std::filesystem::remove(home.path(name));
            }
        std::string expected(source.pixels.text());
        expected.resize((100 + page - 1) / page * page * 31 * 4, '\xff');
        EXPECT_TRUE(rendered == expected) << pageHeight;
    }
}

TEST_F(ImageExport, TheBytesDoNotDependOnThreadsNorOnTheRun) {
    const ImageRepresentation source = picture({1000, 3000}, {false, false});
    std::vector<Data> documents;
    for (const unsigned threads : {1U, 2U, 8U, 2U}) {
        PdfContext context(threads);
        for (std::uint32_t row = 0; row < 3000; row += 1000)
            ASSERT_TRUE(context.addPage({0, 0, 1000, 1000}, *cutRows(source, row, 1000), {0, 0, 1000, 1000}));
        documents.push_back(context.close().value_or(Data()));
    }
    documents.push_back(auxiliary().dataForImageAsPDF(imageOf(source), 1000).value_or(Data()));
    EXPECT_FALSE(documents.front().empty());
    for (const Data& document : documents)
        EXPECT_TRUE(document == documents.front());
}

TEST_F(ImageExport, AJpegThatIsDrawnWholeKeepsItsBytesAndACutOneItsPixels) {
    for (const bool isGrey : {false, true}) {
        const auto jpeg =
            auxiliary().dataForImage(imageOf(picture({50, 40}, {isGrey})), BitmapFileType::JPEG);
        ASSERT_TRUE(jpeg);
        const Image image = *Image::fromData(*jpeg);
        const auto whole = auxiliary().dataForImageAsPDF(image, 40);
        const auto cut = auxiliary().dataForImageAsPDF(image, 39);
        ASSERT_TRUE(whole && cut);
        EXPECT_EQ(run("qpdf", {"--check", saved(*whole)}), 0);
        EXPECT_EQ(run("pdfimages", {"-j", saved(*whole), home.path("kept")}), 0);
        EXPECT_EQ(readFile(home.path("kept-000.jpg"), 1UL << 20).value(), *jpeg);
        EXPECT_TRUE(pixelsIn(*cut, false) == image.representations().front().pixels.text());
        // Bytes that do not fit the pixels are not believed.
        ImageRepresentation odd = picture({50, 41});
        odd.jpeg = *jpeg;
        EXPECT_TRUE(pixelsIn(*auxiliary().dataForImageAsPDF(imageOf(odd), 0), false) == odd.pixels.text());
    }
}

TEST_F(ImageExport, OfSeveralRepresentationsTheFirstIsExported) {
    const auto first = picture({20, 30});
    const auto image = Image::fromRepresentations({first, picture({10, 15})});
    ASSERT_TRUE(image);
    EXPECT_EQ(auxiliary().dataForImageAsPDF(*image, 12), auxiliary().dataForImageAsPDF(imageOf(first), 12));
    EXPECT_EQ(auxiliary().dataForImage(*image, BitmapFileType::PNG),
              auxiliary().dataForImage(imageOf(first), BitmapFileType::PNG));
}

TEST_F(ImageExport, TheRowsThatStandInTheDocumentAreTold) {
    const auto told = [](const ImageRepresentation& picture, std::uint64_t pageHeight) {
        std::vector<std::uint64_t> rows;
        EXPECT_TRUE(auxiliary().dataForImageAsPDF(imageOf(picture), pageHeight,
                                                  [&](std::uint64_t done, std::uint64_t all) {
                                                      EXPECT_EQ(all, picture.height);
                                                      rows.push_back(done);
                                                  }));
        return rows;
    };
    using Rows = std::vector<std::uint64_t>;
    EXPECT_EQ(told(picture({20, 30}), 12), (Rows{12, 24, 30}));
    EXPECT_EQ(told(picture({600000, 3}), 0), (Rows{1, 2, 3})) << "rows of several pieces";
    const Rows inPieces = told(picture({1200, 1200}), 0);
    EXPECT_GT(inPieces.size(), 3U) << "one page, in pieces";
    EXPECT_TRUE(std::is_sorted(inPieces.begin(), inPieces.end()));
    EXPECT_EQ(inPieces.back(), 1200U);
}

TEST_F(ImageExport, AFailureHalfWayLeavesNoDocument) {
    const ImageRepresentation good = picture({9, 9});
    const ImageRepresentation bad{9, 10, good.pixels};
    const double endless = std::numeric_limits<double>::infinity();
    PdfContext context;
    EXPECT_TRUE(context.addPage({0, 0, 9, 9}, good, {0, 0, 9, 9}));
    EXPECT_FALSE(context.addPage({0, 0, 9, 10}, bad, {0, 0, 9, 10}));
    EXPECT_FALSE(context.addPage({0, 0, 9, 9}, good, {0, 0, 9, 9}));
    EXPECT_FALSE(context.close());
    EXPECT_FALSE(PdfContext().addPage({0, 0, endless, 9}, good, {0, 0, 9, 9}));
    EXPECT_FALSE(PdfContext().close()) << "a document without pages";
    for (const auto& [first, rows] : {Size{9, 1}, {0, 10}, {5, 5}, {0, 0}, {1, ~0U}})
        EXPECT_FALSE(cutRows(good, first, rows)) << first << ", " << rows;
}

TEST_F(ImageExport, SavesInPlaceAndTellsWhatCouldNotBeWritten) {
    const Image image = imageOf(picture({40, 30}));
    const std::string file = home.path("file"), link = home.path("link");
    std::ofstream(file) << std::string(100000, 'x');
    std::filesystem::create_hard_link(file, home.path("other name"));
    std::filesystem::create_symlink(file, link);
    EXPECT_TRUE(auxiliary().saveImageAsPDF(image, link, 10));
    EXPECT_EQ(readFile(home.path("other name"), 1UL << 20).value(),
              *auxiliary().dataForImageAsPDF(image, 10));
    EXPECT_TRUE(auxiliary().saveImage(image, BitmapFileType::TIFF, link));
    const Data tiff = *auxiliary().dataForImage(image, BitmapFileType::TIFF);
    EXPECT_EQ(readFile(home.path("other name"), 1UL << 20).value(), tiff);

    const Image missing = Image::byReferencingFile(home.path("missing"));
    const auto noBitmap = Image::fromData(*auxiliary().dataForImageAsPDF(image, 10));
    ASSERT_TRUE(noBitmap);
    for (const Image& nothing : {missing, *noBitmap}) {
        EXPECT_FALSE(auxiliary().dataForImageAsPDF(nothing, 0));
        EXPECT_FALSE(auxiliary().dataForImage(nothing, BitmapFileType::TIFF));
        EXPECT_FALSE(auxiliary().saveImageAsPDF(nothing, file, 0));
        EXPECT_FALSE(auxiliary().saveImage(nothing, BitmapFileType::TIFF, file));
    }
    EXPECT_EQ(readFile(file, 1UL << 20).value(), tiff) << "the file was touched though there is no data";
    const std::string pipe = home.path("pipe");
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    for (const std::string& path :
         {home.path("no folder/file"), home.path(), std::string("/dev/full"), pipe}) {
        EXPECT_FALSE(auxiliary().saveImageAsPDF(image, path, 0)) << path;
        EXPECT_FALSE(auxiliary().saveImage(image, BitmapFileType::TIFF, path)) << path;
    }

    ChildProcess reader = ChildProcess::program("/bin/cp", {pipe, home.path("read")});
    const Image large = imageOf(picture({300, 200}));
    EXPECT_TRUE(test::waitUntil([&] { return auxiliary().saveImage(large, BitmapFileType::TIFF, pipe); }));
    EXPECT_EQ(reader.wait(), 0);
    EXPECT_EQ(readFile(home.path("read"), 1UL << 20).value(),
              *auxiliary().dataForImage(large, BitmapFileType::TIFF));
}
