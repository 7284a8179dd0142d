#include "KitwellPlatform/Images/BitmapFile.h"

#include <fstream>
#include <gtest/gtest.h>
#include <regex>
#include <sstream>

#include "KitwellPlatform/Images/Image.h"
#include "Pictures.h"
#include "Support/ChildProcess.h"
#include "Support/TestHome.h"

namespace kitwell::platform {

using namespace test;
using kitwell::test::ChildProcess;

namespace {

using BitmapFile = kitwell::test::InTestHome;

// The file formats that other programs speak of: P4 to P7. Empty when the text is none of them.
ImageRepresentation parsePnm(const std::string& text) {
    std::istringstream file(std::regex_replace(text, std::regex("^(P[4-7])\\n#[^\n]*\n"), "$1\n"));
    std::string magic, word, kind;
    std::uint32_t width = 0, height = 0, depth = 0, top = 0;
    file >> magic;
    if (magic == "P7")
        while (file >> word && word != "ENDHDR")
            word == "WIDTH"      ? file >> width
            : word == "HEIGHT"   ? file >> height
            : word == "DEPTH"    ? file >> depth
            : word == "TUPLTYPE" ? file >> kind
                                 : file >> top;
    else if (file >> width >> height >> top)
        depth = magic == "P6" ? 3 : 1;
    file.get();
    std::vector<std::byte> pixels;
    std::string pixel(depth, '\0');
    while (depth > 0 && top == 255 && file.read(pixel.data(), depth)) {
        for (std::size_t i = 0; i < 3; ++i)
            pixels.push_back(static_cast<std::byte>(pixel[depth < 3 ? 0 : i]));
        pixels.push_back(depth % 2 == 0 ? static_cast<std::byte>(pixel.back()) : std::byte{255});
    }
    return {width, height, Data::adopting(std::move(pixels))};
}

std::string pam(const ImageRepresentation& picture) {
    return "P7\nWIDTH " + std::to_string(picture.width) + "\nHEIGHT " + std::to_string(picture.height) +
           "\nDEPTH 4\nMAXVAL 255\nTUPLTYPE RGB_ALPHA\nENDHDR\n" + std::string(picture.pixels.text());
}

std::string contentOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

// What programs, told by a shell's words, make of the bytes in the file "in": the file "out".
std::string converted(const kitwell::test::TestHome& home, std::string_view bytes, const std::string& words) {
    std::ofstream(home.path("in"), std::ios::binary) << bytes;
    const std::string quietly = "cd \"$1\" && rm -f out && exec 2> /dev/null > log && " + words;
    EXPECT_EQ(ChildProcess::program("/bin/sh", {"-c", quietly, "sh", home.path()}).wait(), 0) << words;
    return contentOf(home.path("out"));
}

ImageRepresentation withAlpha(const ImageRepresentation& picture, unsigned (*change)(unsigned&, unsigned)) {
    std::vector<std::byte> pixels(picture.pixels.bytes().begin(), picture.pixels.bytes().end());
    for (std::size_t at = 0; at < pixels.size(); at += 4) {
        const auto alpha = std::to_integer<unsigned>(pixels[at + 3]);
        for (std::size_t i = 0; i < 3; ++i) {
            auto colour = std::to_integer<unsigned>(pixels[at + i]);
            pixels[at + 3] = static_cast<std::byte>(change(colour, alpha));
            pixels[at + i] = static_cast<std::byte>(colour);
        }
    }
    return {picture.width, picture.height, Data::adopting(std::move(pixels))};
}

unsigned keep(unsigned&, unsigned alpha) {
    return alpha;
}
unsigned drop(unsigned&, unsigned) {
    return 255;
}
unsigned layOverWhite(unsigned& colour, unsigned alpha) {
    colour = (colour * alpha + 255 * (255 - alpha) + 127) / 255;
    return 255;
}
unsigned keepHalf(unsigned& colour, unsigned alpha) {
    colour = alpha < 128 ? 0 : colour;
    return alpha < 128 ? 0 : 255;
}

struct Kind {
    BitmapFileType type;
    const char* decode; // how another program reads the file; how TIFF is read, is looked at elsewhere
    unsigned (*stored)(unsigned&, unsigned); // what the type makes of a pixel
    unsigned (*seen)(unsigned&, unsigned);   // what the other program makes of that
    double distance;
};

const Kind kKinds[] = {
    {BitmapFileType::TIFF, nullptr, keep, drop, kExactly},
    {BitmapFileType::BMP, "bmptopnm in > out", keep, drop, kExactly},
    {BitmapFileType::PNG, "pngtopam -alphapam in > out", keep, keep, kExactly},
    {BitmapFileType::JPEG2000, "mv in i.jp2 && opj_decompress -i i.jp2 -o o.pnm && mv o.pnm out", keep, keep,
     kExactly},
    {BitmapFileType::GIF, "giftopnm in > out", keepHalf, drop, 40},
    {BitmapFileType::JPEG, "jpegtopnm in > out", layOverWhite, keep, 38},
};

} // namespace

TEST_F(BitmapFile, OtherProgramsAndThisOneReadWhatIsWritten) {
    const ImageRepresentation pictures[] = {slope(1, 1, true, true),      slope(1, 1, false, false),
                                            slope(31, 17, false, true),   slope(64, 5, true, false),
                                            slope(40, 90, false, false),  slope(300, 7, true, true),
                                            slope(1, 100000, false, true)};
    for (const Kind& kind : kKinds)
        for (const ImageRepresentation& picture : pictures) {
            SCOPED_TRACE(std::string(kind.decode ? kind.decode : "TIFF") + ", width " +
                         std::to_string(picture.width));
            const auto data = bitmapData(picture, kind.type);
            const bool isTooTall = picture.height > 65535 && kind.distance != kExactly;
            ASSERT_EQ(data.has_value(), !isTooTall);
            if (isTooTall)
                continue;
            EXPECT_EQ(bitmapData(picture, kind.type), data) << "the same picture gave other bytes";
            const ImageRepresentation stored = withAlpha(picture, kind.stored);
            const auto back = Image::fromData(*data);
            ASSERT_TRUE(back);
            EXPECT_GE(decibels(back->representations().front(), stored), kind.distance);
            if (!kind.decode)
                continue;
            const ImageRepresentation seen = parsePnm(converted(home, data->text(), kind.decode));
            EXPECT_GE(decibels(seen, withAlpha(stored, kind.seen)), kind.distance);
        }
}

TEST_F(BitmapFile, FilesOfOtherProgramsAreRead) {
    const std::string png = "pamtopng in > i.png && opj_compress -i i.png -o o",
                      rgb = "pamchannel -infile=in -tupletype=RGB 0 1 2 > p";
    const struct {
        std::string encode;
        bool isGrey, isOpaque;
        double distance;
    } rows[] = {
        {"pamtopng in > out", false, false, kExactly},
        {"pamtopng -interlace in > out", false, false, kExactly},
        {"pamdepth 65535 in | pamtopng > out", false, false, kExactly},
        {rgb + " && pnmremap -mapfile=p p | pnmtopng > out", false, true, kExactly},
        {rgb + " && pnmtojpeg -quality 98 -sample 1x1 p > out", false, true, 40},
        {rgb + " && pnmtojpeg -quality 98 -sample 2x2 -progressive p > out", false, true, 34},
        {rgb + " && pnmtojpeg -quality 98 -greyscale p > out", true, true, 40},
        {rgb + " && pamtogif p > out", true, true, kExactly},
        {rgb + " && pamtogif -interlace p > out", true, true, kExactly},
        {rgb + " && ppmtobmp -bpp=24 p > out", false, true, kExactly},
        {rgb + " && ppmtobmp -bpp=8 -os2 p > out", true, true, kExactly},
        {rgb + " && pnmquant 16 p > q && ppmtobmp -bpp=4 -windows q > out", true, true, 30},
        {png + ".jp2 && mv o.jp2 out", false, false, kExactly},
        {png + ".j2k && mv o.j2k out", false, true, kExactly},
        {png + ".jp2 -I -r 5 && mv o.jp2 out", false, true, 35},
        {png + ".j2k -t 16,16 -n 3 && mv o.j2k out", true, true, kExactly},
        {rgb + " && pamtotiff -truecolor -lzw -output=out p", false, true, kExactly},
    };
    for (const auto& row : rows) {
        const ImageRepresentation picture = slope(53, 37, row.isGrey, row.isOpaque);
        const auto image = Image::fromData(Data(converted(home, pam(picture), row.encode)));
        ASSERT_TRUE(image) << row.encode;
        EXPECT_GE(decibels(image->representations().front(), picture), row.distance) << row.encode;
    }
}

TEST(BitmapFileBounds, WhatIsNoBitmapOrTooLargeForItsTypeGivesNoData) {
    const auto page = Image::fromData(Data("%PDF-1.7\n"));
    ASSERT_TRUE(page);
    ASSERT_EQ(page->representations().size(), 1U);
    EXPECT_FALSE(page->representations().front().isBitmap());
    EXPECT_FALSE(page->tiffRepresentation());
    EXPECT_FALSE(Image::fromRepresentations(page->representations()));
    for (const BitmapFileType type : kAllTypes) {
        EXPECT_FALSE(bitmapData(page->representations().front(), type));
        EXPECT_FALSE(bitmapData({2, 2, Data(std::string(15, 'x'))}, type));
    }
    const ImageRepresentation wide = slope(65536, 1, true, true);
    EXPECT_FALSE(bitmapData(wide, BitmapFileType::GIF));
    EXPECT_FALSE(bitmapData(wide, BitmapFileType::JPEG));
    EXPECT_FALSE(bitmapData(slope(1000001, 1, true, true), BitmapFileType::PNG));
}

} // namespace kitwell::platform
