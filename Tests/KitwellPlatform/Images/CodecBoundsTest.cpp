#include <fstream>
#include <gtest/gtest.h>
#include <sys/resource.h>

#include "KitwellPlatform/Images/Image.h"
#include "Pictures.h"
#include "Support/ChildProcess.h"

namespace kitwell::platform {

using namespace test;

namespace {

std::string fileOf(const ImageRepresentation& picture, BitmapFileType type) {
    return std::string(bitmapData(picture, type)->text());
}

std::string replaced(std::string file, std::size_t at, const std::string& bytes) {
    return file.replace(at, bytes.size(), bytes);
}

// Files whose headers claim far more pixels than there are bytes.
std::vector<std::string> claims() {
    const auto small = [](BitmapFileType type) { return fileOf(slope(9, 7, false, false), type); };
    const std::string png = small(BitmapFileType::PNG), bmp = small(BitmapFileType::BMP),
                      gif = small(BitmapFileType::GIF), jpeg = small(BitmapFileType::JPEG),
                      jp2 = small(BitmapFileType::JPEG2000);
    const std::string wide = number(60000, 4, true) + number(60000, 4, true);
    const std::size_t frame = jpeg.find("\xff\xc0"), siz = jp2.find("\xff\x51");
    const std::size_t descriptor = gif.find(number(0, 4) + number(9, 2) + number(7, 2)) - 1;
    // The PNG's check sum still fits: without it the claim would not be looked at.
    return {replaced(replaced(png, 16, wide), 29, raw("80d27542")),
            replaced(bmp, 18, number(60000, 4) + number(60000, 4)),
            replaced(bmp, 18, number(0x7fffffff, 4) + number(0x80000000, 4)),
            replaced(bmp, 18, number(1, 4) + number(0x80000000, 4)),
            replaced(gif, 6, number(0xffff, 2) + number(0xffff, 2)),
            replaced(gif, descriptor + 1, number(0xffff, 2) + number(0xffff, 2)),
            replaced(jpeg, frame + 5, number(60000, 2, true) + number(60000, 2, true)),
            replaced(replaced(jp2, siz + 6, wide), siz + 22, wide),
            replaced(jp2, siz + 6, wide)};
}

} // namespace

// Reads what claims to be large in an address space that is too small for the claim.
CHILD_BODY(readPictureClaims) {
    const auto files = claims();
    rlim_t pages = 0; // a sanitizer's shadow fills most of the address space before the test begins
    std::ifstream("/proc/self/statm") >> pages;
    const rlim_t bytes = pages * 4096 + (192UL << 20);
    const rlimit limit{bytes, bytes};
    int number = ::setrlimit(RLIMIT_AS, &limit) == 0 ? 1 : 100;
    for (const std::string& file : files)
        if (++number; Image::fromData(Data(file)))
            return number;
    return 0;
}

TEST(CodecBounds, WhatClaimsTooManyPixelsIsRefusedWithoutTheMemory) {
    EXPECT_EQ(kitwell::test::ChildProcess::body("readPictureClaims").wait(), 0)
        << "the claim, counted from 2";
}

TEST(CodecBounds, AFileCutAnywhereIsRefusedInSilenceUnlessOnlyItsEndIsMissing) {
    testing::internal::CaptureStderr();
    const ImageRepresentation picture = slope(40, 30, false, true);
    for (const BitmapFileType type : kAllTypes) {
        const std::string file = fileOf(picture, type);
        const auto whole = Image::fromData(Data(file))->representations();
        for (std::size_t length = 0; length < file.size(); length += length < 700 ? 1 : 13) {
            const auto image = Image::fromData(Data(file.substr(0, length)));
            EXPECT_TRUE(!image || (image->representations() == whole && length + 16 >= file.size()))
                << static_cast<int>(type) << ", " << length << " of " << file.size();
        }
    }
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST(CodecBounds, AJpegIsTurnedAsItsExifBlockTellsAndElseKept) {
    const ImageRepresentation picture = slope(16, 8, false, true);
    const std::string jpeg = fileOf(picture, BitmapFileType::JPEG);
    const auto plain = Image::fromData(Data(jpeg))->representations().front();
    EXPECT_EQ(plain.jpeg.text(), jpeg);
    // Where the first and the last pixel of the file come to stand, in pixels from the top.
    const struct {
        unsigned told;
        std::size_t width, first, last;
    } rows[] = {{1, 16, 0, 127}, {2, 16, 15, 112}, {3, 16, 127, 0}, {4, 16, 112, 15}, {5, 8, 0, 127},
                {6, 8, 7, 120},  {7, 8, 127, 0},   {8, 8, 120, 7},  {9, 16, 0, 127},  {0, 16, 0, 127}};
    for (const bool isBig : {false, true})
        for (const auto& row : rows) {
            const auto n = [isBig](std::uint64_t value, int size) { return number(value, size, isBig); };
            const std::string exif = std::string("Exif\0\0", 6) + (isBig ? "MM" : "II") + n(42, 2) + n(8, 4) +
                                     n(2, 2) + n(271, 2) + n(2, 2) + n(1, 4) + n(0, 4) + n(274, 2) + n(3, 2) +
                                     n(1, 4) + n(row.told, 2) + n(0, 2);
            const auto image = Image::fromData(Data(
                jpeg.substr(0, 2) + "\xff\xe1" + number(exif.size() + 2, 2, true) + exif + jpeg.substr(2)));
            ASSERT_TRUE(image);
            const ImageRepresentation& turned = image->representations().front();
            EXPECT_EQ(turned.width, row.width) << row.told;
            const auto pixel = [](const ImageRepresentation& of, std::size_t at) {
                return of.pixels.text().substr(at * 4, 4);
            };
            EXPECT_EQ(pixel(turned, row.first), pixel(plain, 0)) << row.told;
            EXPECT_EQ(pixel(turned, row.last), pixel(plain, 127)) << row.told;
            EXPECT_EQ(turned.jpeg.empty(), row.told >= 2 && row.told <= 8) << row.told;
        }
}

// Without ink 255; a multiplied with black: another reader finds 200, 99 and 7.
TEST(CodecBounds, AJpegOfInksBecomesColoursAndIsNotKept) {
    const auto image = Image::fromData(Data(raw(
        "ffd8ffee000e41646f626500640000000000ffdb0043000101010101010101010101010101010101010101010101010101"
        "01010101010101010101010101010101010101010101010101010101010101010101010101010101ffc000140800010001"
        "044311004d11005911004b1100ffc4001500010100000000000000000000000000000a04ffc40014100100000000000000"
        "000000000000000000ffda000e0443004d0059004b00003f007f09c13c901fffd9")));
    ASSERT_TRUE(image);
    const ImageRepresentation& picture = image->representations().front();
    EXPECT_GE(decibels(picture, {1, 1, Data(raw("c86408ff"))}), 45);
    EXPECT_TRUE(picture.jpeg.empty());
}

TEST(CodecBounds, EveryKindOfBmpIsRead) {
    // A header, masks or a palette, and two pixels beside each other; the size of the header tells its kind.
    const auto bmp = [](unsigned header, unsigned bits, unsigned compression, const std::string& table,
                        const std::string& row, std::uint32_t height = 1) {
        const std::string fields = header == 12
                                       ? number(2, 2) + number(1, 2) + number(1, 2) + number(bits, 2)
                                       : number(2, 4) + number(height, 4) + number(1, 2) + number(bits, 2) +
                                             number(compression, 4) + std::string(20, '\0');
        const std::string info = number(header, 4) + fields + table;
        return "BM" + number(0, 8) + number(14 + info.size(), 4) + info + row;
    };
    const std::string rest(52, '\0');
    const std::pair<std::string, std::string> rows[] = {
        {bmp(12, 1, 0, raw("010203040506"), raw("40000000")), "030201ff060504ff"},
        {bmp(40, 8, 0, raw("0102030004050600"), raw("01070000")), "060504ff000000ff"},
        {bmp(40, 16, 0, "", raw("007c1f00")), "ff0000ff0000ffff"},
        {bmp(40, 16, 3, raw("00f80000e00700001f000000"), raw("e0070080")), "00ff00ff840000ff"},
        {bmp(40, 32, 0, "", raw("0102030004050680")), "030201ff060504ff"},
        {bmp(40, 32, 6, raw("ff00000000ff00000000ff00000000ff"), raw("0102030405060708")),
         "0102030405060708"},
        {bmp(108, 32, 3, raw("ff00000000ff00000000ff00000000ff") + rest, raw("0102030405060708")),
         "0102030405060708"},
        {bmp(40, 24, 0, "", raw("0102030405060000") + raw("0708090a0b0c0000"), 2),
         "0908"
         "07ff0c0b0aff030201ff060504ff"},
        {bmp(40, 24, 0, "", raw("0102030405060000") + raw("0708090a0b0c0000"), 0U - 2),
         "030201ff060504ff090807ff0c0b0aff"},
    };
    for (const auto& [file, expected] : rows) {
        const auto image = Image::fromData(Data(file));
        ASSERT_TRUE(image) << expected;
        EXPECT_EQ(image->representations().front().pixels.text(), raw(expected));
    }
    EXPECT_FALSE(Image::fromData(Data(bmp(40, 8, 1, "", raw("0201000000000001")))));
    EXPECT_FALSE(Image::fromData(Data(bmp(40, 64, 0, "", std::string(16, 'a')))));
}

TEST(CodecBounds, TheFirstFrameOfAGifStandsInItsPlace) {
    // One pixel at the right of a canvas of three, after a comment, and a second frame that is damaged.
    const std::string gif = "GIF89a" + raw("03000100800000ff000000ff00") +
                            raw("21fe03616263"
                                "00") +
                            raw("2c0200000001000100"
                                "00"
                                "02"
                                "02"
                                "4c01"
                                "00") +
                            raw("2c00");
    const auto image = Image::fromData(Data(gif));
    ASSERT_TRUE(image);
    EXPECT_EQ(image->representations().front().pixels.text(), raw("000000000000000000ff00ff"));
}

} // namespace kitwell::platform
