#include "KitwellPlatform/Images/BitmapFile.h"

#include "KitwellPlatform/Images/Image.h"
#include "Pictures.h"

namespace kitwell::platform {

using namespace test;
using kitwell::test::ChildProcess;

namespace {

using BitmapFile = kitwell::test::InTestHome;

// As other programs speak of pictures: this, and then the pixels.
std::string pamHead(const ImageRepresentation& picture) {
    return "P7\nWIDTH " + std::to_string(picture.width) + "\nHEIGHT " + std::to_string(picture.height) +
           "\nDEPTH 4\nMAXVAL 255\nTUPLTYPE RGB_ALPHA\nENDHDR\n";
}

// What programs, told by a shell's words, make of the bytes in the file "in": the file "out".
std::string converted(const kitwell::test::TestHome& home, std::string_view bytes, const std::string& words) {
    std::ofstream(home.path("in"), std::ios::binary) << bytes;
    const std::string quietly = "cd \"$1\" && rm -f out && exec 2> /dev/null > log && " + words;
    EXPECT_EQ(ChildProcess::program("/bin/sh", {"-c", quietly, "sh", home.path()}).wait(), 0) << words;
    return std::string(readFile(home.path("out"), 10U << 20)->text());
}

// What each type makes of a pixel: a colour and its alpha.
void keep(unsigned&, unsigned&) {}
void layOverWhite(unsigned& colour, unsigned& alpha) {
    colour = (colour * alpha + 255 * (255 - alpha) + 127) / 255;
    alpha = 255;
}
void keepHalf(unsigned& colour, unsigned& alpha) {
    colour = alpha < 128 ? 0 : colour;
    alpha = alpha < 128 ? 0 : 255;
}

ImageRepresentation changed(const ImageRepresentation& picture, void (*change)(unsigned&, unsigned&)) {
    std::vector<std::byte> pixels(picture.pixels.bytes().begin(), picture.pixels.bytes().end());
    for (std::size_t at = 0; at < pixels.size(); ++at) {
        auto colour = std::to_integer<unsigned>(pixels[at]);
        auto alpha = std::to_integer<unsigned>(picture.pixels.data()[at | 3]);
        change(colour, alpha);
        pixels[at] = static_cast<std::byte>(at % 4 == 3 ? alpha : colour);
    }
    return {picture.width, picture.height, Data::adopting(std::move(pixels))};
}

struct Kind {
    BitmapFileType type;
    const char* decode; // how other programs read the file's colours, "c", and its alpha, "a"
    void (*stored)(unsigned&, unsigned&);
    double distance;
};

const Kind kKinds[] = {
    {BitmapFileType::TIFF, "tifftopnm -byrow -alphaout=a in > c", keep, kExactly},
    {BitmapFileType::BMP,
     "bmptopnm in > c && mv in i.bmp && opj_compress -n 1 -i i.bmp -o i.jp2 && "
     "opj_decompress -i i.jp2 -o i.png && pngtopam -alpha i.png > a",
     keep, kExactly},
    {BitmapFileType::PNG, "pngtopam in > c && pngtopam -alpha in > a", keep, kExactly},
    {BitmapFileType::JPEG2000,
     "mv in i.jp2 && opj_decompress -i i.jp2 -o i.png && pngtopam i.png > c && pngtopam -alpha i.png > a",
     keep, kExactly},
    {BitmapFileType::GIF, "giftopnm -alphaout=a in > c", keepHalf, 40},
    {BitmapFileType::JPEG, "jpegtopnm in > c && pamtopng c | pngtopam -alpha > a", layOverWhite, 38},
};

// What other programs read, as one picture of red, green, blue and alpha.
constexpr char kTogether[] =
    " && ppmtoppm < c > d && pamdepth 255 a | pamstack -tupletype=RGB_ALPHA d - > out";

} // namespace

TEST_F(BitmapFile, OtherProgramsAndThisOneReadWhatIsWritten) {
    const ImageRepresentation pictures[] = {slope(1, 1, true, true),       slope(31, 17, false, true),
                                            slope(64, 5, true, false),     slope(40, 90, false, false),
                                            slope(1, 100000, false, true), slope(30000, 1, false, false)};
    for (const Kind& kind : kKinds)
        for (const ImageRepresentation& picture : pictures) {
            SCOPED_TRACE(std::string(kind.decode) + ", width " + std::to_string(picture.width));
            const auto data = bitmapData(picture, kind.type);
            const bool isTooTall = picture.height > 65535 && kind.distance != kExactly;
            ASSERT_EQ(data.has_value(), !isTooTall);
            if (isTooTall)
                continue;
            EXPECT_EQ(bitmapData(picture, kind.type), data) << "the same picture gave other bytes";
            const ImageRepresentation stored = changed(picture, kind.stored);
            const auto back = Image::fromData(*data);
            ASSERT_TRUE(back);
            EXPECT_GE(decibels(back->representations().front(), stored), kind.distance);
            const std::string seen = converted(home, data->text(), kind.decode + std::string(kTogether));
            const std::string head = pamHead(picture);
            ASSERT_EQ(seen.substr(0, head.size()), head);
            EXPECT_GE(decibels({picture.width, picture.height, Data(seen.substr(head.size()))}, stored),
                      kind.distance);
        }
}

TEST_F(BitmapFile, FilesOfOtherProgramsAreRead) {
    const std::string png = "pamtopng in > i.png && opj_compress -i i.png -o o",
                      colours = "pamchannel -infile=in -tupletype=RGB 0 1 2 > p";
    const struct {
        std::string encode;
        bool isGrey, isOpaque;
        double distance;
    } rows[] = {
        {"pamtopng -interlace in > out", false, false, kExactly},
        {"pamdepth 65535 in | pamtopng > out", false, false, kExactly},
        {colours + " && pnmremap -mapfile=p p | pnmtopng > out", false, true, kExactly},
        {colours + " && pnmtojpeg -quality 98 -sample 2x2 -progressive p > out", false, true, 34},
        {colours + " && pnmtojpeg -quality 98 -greyscale p > out", true, true, 40},
        {colours + " && pamtogif -interlace p > out", true, true, kExactly},
        {colours + " && pnmquant 16 p > q && ppmtobmp -bpp=4 -windows q > out", true, true, 30},
        {png + ".jp2 && mv o.jp2 out", false, false, kExactly},
        {png + ".jp2 -I -r 5 && mv o.jp2 out", false, true, 35},
        {png + ".j2k -t 16,16 -n 3 && mv o.j2k out", true, true, kExactly},
        {colours + " && pamtotiff -truecolor -lzw -output=out p", false, true, kExactly},
    };
    for (const auto& row : rows) {
        const ImageRepresentation picture = slope(53, 37, row.isGrey, row.isOpaque);
        const auto image = Image::fromData(
            Data(converted(home, pamHead(picture) + std::string(picture.pixels.text()), row.encode)));
        ASSERT_TRUE(image) << row.encode;
        EXPECT_GE(decibels(image->representations().front(), picture), row.distance) << row.encode;
    }
}

TEST(BitmapFileBounds, AGifGivesUpNoMoreColoursThanItMust) {
    std::string greys, dark;
    for (unsigned i = 0; i < 256; ++i)
        greys += number(i * 0x10101 + 0xff000000);
    for (unsigned i = 0; i < 343; ++i)
        dark += number(0xff000000 | i % 7 | i / 7 % 7 << 8 | i / 49 << 16);
    const struct {
        ImageRepresentation picture;
        double distance;
    } rows[] = {
        {{7, 49, Data(dark)}, 60},
        {{257, 1, Data(greys + raw("ff0000ff"))}, 70},
        {{257, 1, Data(greys + raw("00000000"))}, 70},
        {slope(200, 200, false, true), 38}, // more colours than are told apart
    };
    for (const auto& [picture, distance] : rows) {
        const auto back = Image::fromData(bitmapData(picture, BitmapFileType::GIF).value_or(Data()));
        ASSERT_TRUE(back);
        EXPECT_GE(decibels(back->representations().front(), picture), distance);
    }
}

// The codec has no room for coefficients as large as these colours make them.
TEST(BitmapFileBounds, Jpeg2000KeepsTheHardestColours) {
    for (const std::uint32_t height : {3U, 115U}) {
        std::string pixels;
        for (std::uint32_t y = 0; y < height; ++y)
            for (std::uint32_t x = 0; x < 3; ++x)
                pixels += raw((x / 2 + y / 2) % 2 == 0 ? "ff00ffff" : "00ff00ff");
        const auto file = bitmapData({3, height, Data(pixels)}, BitmapFileType::JPEG2000);
        const auto back = Image::fromData(file.value_or(Data()));
        ASSERT_TRUE(back);
        EXPECT_EQ(back->representations().front().pixels.text(), pixels) << height;
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
    for (const BitmapFileType type : {BitmapFileType::GIF, BitmapFileType::JPEG})
        EXPECT_FALSE(bitmapData(slope(65536, 1, true, true), type));
    EXPECT_FALSE(bitmapData(slope(1000001, 1, true, true), BitmapFileType::PNG));
}

} // namespace kitwell::platform
