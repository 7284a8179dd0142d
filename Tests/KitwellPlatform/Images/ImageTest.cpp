#include "KitwellPlatform/Images/Image.h"

#include <fstream>
#include <gtest/gtest.h>

#include "KitwellPlatform/Images/BitmapFile.h"
#include "Support/TestHome.h"

namespace kitwell::platform {

namespace {

// Every pixel differs from its neighbours; many are wholly transparent and yet have a colour.
ImageRepresentation picture(std::uint32_t width, std::uint32_t height, unsigned seed = 1) {
    std::vector<std::byte> pixels(std::size_t{width} * height * 4);
    for (std::size_t i = 0; i < pixels.size(); ++i)
        pixels[i] = static_cast<std::byte>(i % 4 == 3 && i % 3 == 0 ? 0 : (seed += 2654435761U) >> 16);
    return {width, height, Data::adopting(std::move(pixels))};
}

} // namespace

TEST(Image, EveryRepresentationComesBackFromTiffToTheLastByte) {
    const std::vector<ImageRepresentation> sets[] = {{picture(1, 1)},
                                                     {picture(17, 31)},
                                                     {picture(1, 257), picture(257, 1)},
                                                     {picture(16, 16), picture(32, 32, 7), picture(5, 3, 9)},
                                                     std::vector(kMaxImageRepresentations, picture(3, 2))};
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
    const std::vector<ImageRepresentation> sets[] = {
        {}, {{0, 4, Data()}}, {picture(2, 2), oneByteShort}, {overflowing}, std::vector(65, picture(1, 1))};
    for (const auto& set : sets)
        EXPECT_FALSE(Image::fromRepresentations(set));
}

TEST(Image, AReferencedFileIsReadWhenFirstAskedForAndOnlyOnce) {
    const test::TestHome home;
    const Image image = Image::byReferencingFile(home.path("icon.tiff"));
    std::ofstream(home.path("icon.tiff"))
        << Image::fromRepresentations({picture(9, 4)})->tiffRepresentation()->text();
    Image copy = image;
    copy.setTemplate(true);
    EXPECT_EQ(copy.width(), 9U);
    std::ofstream(home.path("icon.tiff")) << "no picture any more";
    EXPECT_EQ(image.height(), 4U);
    EXPECT_FALSE(image.isTemplate()) << "a copy's template flag reached the original";
    for (const std::string& path : {home.path("missing"), home.path("icon.tiff"), home.path(), std::string()})
        EXPECT_FALSE(Image::byReferencingFile(path).tiffRepresentation()) << path;
    std::ofstream(home.path("icon.tiff")) << bitmapData(picture(2, 2), BitmapFileType::PNG)->text();
    EXPECT_EQ(Image::byReferencingFile(home.path("icon.tiff")).width(), 2U);
    EXPECT_EQ(Image::byReferencingTiffFile(home.path("icon.tiff")).width(), 0U);
}

} // namespace kitwell::platform
