#include <sys/resource.h>

#include "KitwellPlatform/Images/PdfContext.h"
#include "Pictures.h"

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
    const auto big = [](std::uint64_t value, int size) { return number(value, size, true); };
    // Little to see in very many tiles, of which the codec would keep each; in the second file behind a
    // marker that the codec passes over, and that looks like the small size.
    const std::string stream = jp2.substr(siz - 2);
    const std::string manyTiles =
        replaced(replaced(stream, 8, big(1020, 4) + big(1020, 4)), 24, big(4, 4) + big(4, 4));
    const std::string hidden =
        replaced(jp2.substr(0, siz), jp2.find("ihdr") + 4, big(1020, 4) + big(1020, 4)) + "\xff\x30" +
        stream.substr(4, 38) + manyTiles.substr(2);
    // A grey picture whose numbers stand for colours of 255 parts.
    const std::string palette = big(8 + 3 + 255 + 255, 4) + "pclr" + big(1, 2) + big(255, 1) +
                                std::string(255, '\7') + std::string(255, 'x');
    std::string parts = big(8 + 255 * 4, 4) + "cmap";
    for (unsigned part = 0; part < 255; ++part)
        parts += big(0, 2) + big(1, 1) + big(part, 1);
    std::string coloured = fileOf(slope(2000, 2000, true, true), BitmapFileType::JPEG2000);
    const std::size_t header = coloured.find("jp2h") - 4, headerSize = 45;
    coloured.insert(header + headerSize, palette + parts);
    coloured.replace(header, 4, big(headerSize + palette.size() + parts.size(), 4));
    // The PNG's check sum still fits: without it the claim would not be looked at.
    return {replaced(replaced(png, 16, wide), 29, raw("80d27542")),
            replaced(bmp, 18, number(60000, 4) + number(60000, 4)),
            replaced(bmp, 18, number(0x7fffffff, 4) + number(0x80000000, 4)),
            replaced(bmp, 18, number(1, 4) + number(0x80000000, 4)),
            replaced(gif, 6, number(0xffff, 2) + number(0xffff, 2)),
            replaced(gif, descriptor + 1, number(0xffff, 2) + number(0xffff, 2)),
            replaced(jpeg, frame + 5, number(60000, 2, true) + number(60000, 2, true)),
            replaced(replaced(stream, 8, wide), 24, wide),
            replaced(stream, 8, wide),
            manyTiles,
            hidden,
            coloured};
}

// Every type read and written with little memory: a failure, and no end of the process.
int triesWithoutMemory() {
    const ImageRepresentation large = slope(3000, 3000, false, true);
    std::vector<std::string> files;
    for (const BitmapFileType type : kAllTypes)
        files.push_back(fileOf(large, type));
    const rlimit little{std::uint64_t{64} << 20U, std::uint64_t{64} << 20U};
    if (::setrlimit(RLIMIT_DATA, &little) != 0)
        return 1;
    for (std::uint32_t rows = 1000; rows <= 3000; rows += 1000) {
        PdfContext document;
        if (document.addPage({0, 0, 1, 1}, *cutRows(large, 0, rows), {0, 0, 1, 1}))
            (void)document.close();
    }
    for (std::size_t type = 0; type < files.size(); ++type) {
        (void)bitmapData(large, kAllTypes[type]);
        (void)Image::fromData(Data(std::string_view(files[type])));
    }
    return 0;
}

} // namespace

CHILD_BODY(readPictureClaims) {
    return numberOfHonoured(claims());
}

CHILD_BODY(worksWithLittleMemory) {
    return triesWithoutMemory();
}

TEST(CodecBounds, APictureThatMemoryDoesNotSufficeForIsAFailureAndNoEnd) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "a sanitizer ends the process where memory is refused";
#endif
    EXPECT_EQ(kitwell::test::ChildProcess::body("worksWithLittleMemory").wait(), 0);
}

TEST(CodecBounds, WhatClaimsTooManyPixelsIsRefusedWithoutTheMemory) {
    EXPECT_EQ(kitwell::test::ChildProcess::body("readPictureClaims").wait(), 0) << "the number of the claim";
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
    for (const bool isBig : {false, true})
        for (const unsigned told : {0U, 1U, 6U, 8U, 9U}) {
            const auto n = [isBig](std::uint64_t value, int size) { return number(value, size, isBig); };
            const std::string exif = std::string("Exif\0\0", 6) + (isBig ? "MM" : "II") + n(42, 2) + n(8, 4) +
                                     n(2, 2) + n(271, 2) + n(2, 2) + n(1, 4) + n(0, 4) + n(274, 2) + n(3, 2) +
                                     n(1, 4) + n(told, 2) + n(0, 2);
            const auto image = Image::fromData(Data(
                jpeg.substr(0, 2) + "\xff\xe1" + number(exif.size() + 2, 2, true) + exif + jpeg.substr(2)));
            ASSERT_TRUE(image);
            const ImageRepresentation& turned = image->representations().front();
            const bool isTurned = told == 6 || told == 8;
            EXPECT_EQ(turned.width, isTurned ? 8 : 16) << told;
            EXPECT_EQ(turned.jpeg.empty(), isTurned) << told;
            // Where the first pixel of the file comes to stand.
            const std::size_t first = told == 6 ? 7 : told == 8 ? 120 : 0;
            EXPECT_EQ(turned.pixels.text().substr(first * 4, 4), plain.pixels.text().substr(0, 4)) << told;
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
    const std::pair<std::string, std::string> rows[] = {
        {bmp(12, 1, 0, raw("010203040506"), raw("40000000")), "030201ff060504ff"},
        {bmp(40, 8, 0, raw("0102030004050600"), raw("01070000")), "060504ff000000ff"},
        {bmp(40, 16, 0, "", raw("007c1f00")), "ff0000ff0000ffff"},
        {bmp(40, 16, 3, raw("00f80000e00700001f000000"), raw("e0070080")), "00ff00ff840000ff"},
        {bmp(40, 32, 0, "", raw("0102030004050680")), "030201ff060504ff"},
        {bmp(40, 32, 6, raw("ff00000000ff00000000ff00000000ff"), raw("0102030405060708")),
         "0102030405060708"},
        {bmp(108, 32, 3, raw("ff00000000ff00000000ff00000000ff") + std::string(52, '\0'),
             raw("0102030405060708")),
         "0102030405060708"},
        {bmp(40, 24, 0, "", raw("0102030405060000") + raw("0708090a0b0c0000"), 2),
         "090807ff0c0b0aff030201ff060504ff"},
        {bmp(40, 24, 0, "", raw("0102030405060000") + raw("0708090a0b0c0000"), 0U - 2),
         "030201ff060504ff090807ff0c0b0aff"},
    };
    for (const auto& [file, expected] : rows) {
        const auto image = Image::fromData(Data(file));
        ASSERT_TRUE(image) << expected;
        EXPECT_EQ(image->representations().front().pixels.text(), raw(expected));
    }
    EXPECT_FALSE(Image::fromData(Data(bmp(40, 64, 0, "", std::string(16, 'a')))));
}

TEST(CodecBounds, ABmpOfRunsIsReadUnlessItEndsBeforeItsPicture) {
    // Five columns and four rows of the colours 0 to f, each of which is grey.
    const auto seen = [](unsigned bits, const std::string& code, std::uint32_t height = 4) {
        std::string info = number(40) + number(5) + number(height) + number(1, 2) + number(bits, 2) +
                           number(bits == 8 ? 1 : 2) + std::string(12, '\0') + number(16) + number(0);
        for (unsigned colour = 0; colour < 16; ++colour)
            info += number(colour * 0x010101, 4);
        const auto image =
            Image::fromData(Data("BM" + number(0, 8) + number(14 + info.size()) + info + raw(code)));
        std::string colours;
        for (std::size_t at = 0; image && at < image->representations().front().pixels.size(); at += 4)
            colours += "0123456789abcdef"[image->representations().front().pixels.text()[at] & 15];
        return colours;
    };
    // A run, five colours each by itself, a move, two runs of one, and a last run.
    const std::string of8 = "0501000000050203040506000000000203000107010800000509";
    const std::string of4 = "0512000000053456700000000002030001a001c00000059d";
    const std::string end = "0001";
    EXPECT_EQ(seen(8, of8), "99999000782345611111");
    EXPECT_EQ(seen(8, of8 + end), "99999000782345611111");
    EXPECT_EQ(seen(4, of4 + end), "9d9d9000ac3456712121");
    EXPECT_EQ(seen(8, "ff010000ff02" + end), "00000000002222211111") << "what is beyond a row's end";
    EXPECT_EQ(seen(8, "0002ffff0101" + end), std::string(20, '0')) << "a move out of the picture";
    for (const std::string& code :
         std::vector<std::string>{of8.substr(0, of8.size() - 4), "0005010203", "000201", "01", ""})
        EXPECT_EQ(seen(8, code), "") << code;
    EXPECT_EQ(seen(8, of8, 0U - 4), "") << "runs from the top";
    EXPECT_EQ(seen(4, end, 1000000), "") << "hardly any code for so many pixels";
    EXPECT_EQ(seen(16, of8), "");
}

TEST(CodecBounds, TheFirstFrameOfAGifStandsInItsPlace) {
    // One pixel at the right of a canvas of three, after a comment, and a second frame that is damaged.
    const std::string gif = "GIF89a" + raw("03000100800000ff000000ff00"
                                           "21fe0361626300"
                                           "2c02000000010001000002024c01002c00");
    const auto image = Image::fromData(Data(gif));
    ASSERT_TRUE(image);
    EXPECT_EQ(image->representations().front().pixels.text(), raw("000000000000000000ff00ff"));
}

} // namespace kitwell::platform
