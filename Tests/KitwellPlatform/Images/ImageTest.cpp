#include "KitwellPlatform/Images/Image.h"
#include "KitwellPlatform/Images/BitmapFile.h"
#include "Pictures.h"

namespace kitwell::platform {

using namespace test;

TEST(Image, EveryRepresentationComesBackFromTiffToTheLastByte) {
    const std::vector<ImageRepresentation> sets[] = {
        {slope(1, 257, false, false), slope(257, 1, false, false)},
        {slope(16, 16, false, false), slope(32, 32, false, false), slope(5, 3, false, false)},
        std::vector(kMaxImageRepresentations, slope(3, 2, false, false))};
    for (const auto& set : sets) {
        const auto tiff = Image::fromRepresentations(set)->tiffRepresentation();
        ASSERT_TRUE(tiff);
        const auto back = Image::fromData(Data(tiff->text())); // the pixels must outlive this Data
        ASSERT_TRUE(back);
        EXPECT_EQ(back->representations(), set);
        EXPECT_EQ(back->tiffRepresentation(), tiff) << "the same image gave other bytes";
    }
}

TEST(Image, RepresentationsThatDoNotFitTheirSizeAreRefused) {
    const ImageRepresentation oneByteShort{2, 2, Data(std::string(15, 'x'))};
    const ImageRepresentation overflowing{0x80000000, 0x80000000, Data()};
    const std::vector<ImageRepresentation> sets[] = {{},
                                                     {{0, 4, Data()}},
                                                     {slope(2, 2, false, false), oneByteShort},
                                                     {overflowing},
                                                     std::vector(65, slope(1, 1, false, false))};
    for (const auto& set : sets)
        EXPECT_FALSE(Image::fromRepresentations(set));
}

TEST(Image, AReferencedFileIsReadWhenFirstAskedForAndOnlyOnce) {
    const kitwell::test::TestHome home;
    const Image image = Image::byReferencingFile(home.path("icon.tiff"));
    std::ofstream(home.path("icon.tiff"))
        << Image::fromRepresentations({slope(9, 4, false, false)})->tiffRepresentation()->text();
    Image copy = image;
    copy.setTemplate(true);
    EXPECT_EQ(copy.width(), 9U);
    std::ofstream(home.path("icon.tiff")) << "no picture any more";
    EXPECT_EQ(image.height(), 4U);
    EXPECT_FALSE(image.isTemplate()) << "a copy's template flag reached the original";
    for (const std::string& path : {home.path("missing"), home.path("icon.tiff"), home.path(), std::string()})
        EXPECT_FALSE(Image::byReferencingFile(path).tiffRepresentation()) << path;
    std::ofstream(home.path("icon.tiff"))
        << bitmapData(slope(2, 2, false, false), BitmapFileType::PNG)->text();
    EXPECT_EQ(Image::byReferencingFile(home.path("icon.tiff")).width(), 2U);
    EXPECT_EQ(Image::byReferencingTiffFile(home.path("icon.tiff")).width(), 0U);
}

} // namespace kitwell::platform
