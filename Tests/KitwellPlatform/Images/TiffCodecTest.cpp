#include <map>
#include <tuple>

#include "Pictures.h"

namespace kitwell::platform {

using namespace test;

namespace {

constexpr unsigned Width = 256, Height = 257, Bits = 258, Compression = 259, Photometric = 262,
                   FillOrder = 266, Offset = 273, Orientation = 274, Samples = 277, RowsPerStrip = 278,
                   ByteCount = 279, ColourMap = 320, TileWidth = 322, TileHeight = 323, TileOffset = 324,
                   TileByteCount = 325, Extra = 338;

struct Entry {
    std::size_t value = 0;
    std::size_t count = 1; // more than one: the value is their place in the body
};
using Entries = std::map<unsigned, Entry>;

// A TIFF made by hand: equal directories with entries of 32 bits, then `body`, from which offsets count.
struct Tiff {
    Entries entries;
    std::string body;
    std::size_t directories = 1;
    std::size_t next = 0; // what follows the last directory

    std::size_t directorySize() const { return 2 + entries.size() * 12 + 4; }
    std::size_t bodyOffset() const { return 8 + directories * directorySize(); }
    std::string bytes() const {
        std::string all = "II" + number(42, 2) + number(8);
        for (std::size_t i = 1; i <= directories; ++i) {
            all += number(entries.size(), 2);
            for (const auto& [tag, entry] : entries) {
                const bool isOffset = tag == Offset || tag == TileOffset || entry.count > 1;
                all += number(tag, 2) + number(4, 2) + number(entry.count);
                all += number(entry.value + (isOffset ? bodyOffset() : 0));
            }
            all += number(i == directories ? next : 8 + i * directorySize());
        }
        return all + body;
    }
    std::optional<Image> read() const { return Image::fromData(Data(bytes())); }
};

// Two by two pixels in one strip; `changes` replaces or adds entries.
Tiff small(unsigned photometric, unsigned samples, const std::string& body, Entries changes = {}) {
    changes.merge(
        Entries{{Width, {2}}, {Height, {2}}, {Bits, {8}}, {Compression, {1}}, {Photometric, {photometric}}});
    changes.merge(
        Entries{{Offset, {0}}, {Samples, {samples}}, {RowsPerStrip, {2}}, {ByteCount, {body.size()}}});
    return {changes, body};
}

Tiff tiled() {
    const std::string rest(14, 'x');
    Tiff tiff = small(1, 1, "\1\2" + rest + "\3\4" + rest + std::string(14 * 16, 'x'));
    for (const unsigned tag : {Offset, ByteCount, RowsPerStrip})
        tiff.entries.erase(tag);
    tiff.entries.merge(
        Entries{{TileWidth, {16}}, {TileHeight, {16}}, {TileOffset, {0}}, {TileByteCount, {256}}});
    return tiff;
}

// Three rows in strips of two rows; the strips' places and lengths stand behind the pixels.
Tiff twoStrips() {
    Tiff tiff = small(1, 1, "\5\6\1\2\3\4", {{Height, {3}}, {Offset, {6, 2}}, {ByteCount, {14, 2}}});
    tiff.body += number(tiff.bodyOffset() + 2) + number(tiff.bodyOffset()) + number(4) + number(2);
    return tiff;
}

Tiff packedBits() {
    return small(1, 1, raw("fe0700ff"), {{Compression, {32773}}});
}

} // namespace

TEST(TiffCodec, EveryKindOfPixelBecomesRgbaWithUnassociatedAlpha) {
    std::string colours;
    for (const unsigned colour : {0x1010U, 0xffffU, 0x2020U, 0x8080U, 0x3030U, 0U})
        colours += number(colour);
    const std::tuple<const char*, Tiff, std::string> rows[] = {
        {"grey, alpha described but not stored", small(1, 1, "aaaa", {{Extra, {2}}}),
         "616161ff616161ff616161ff616161ff"},
        {"grey, alpha", small(1, 2, raw("0000800001ff0240"), {{Extra, {2}}}),
         "0000000080808000010101ff02020240"},
        {"RGB", small(2, 3, raw("010203040506070809fffefd")), "010203ff040506ff070809fffffefdff"},
        {"RGBA, associated alpha", small(2, 4, raw("40200080ff0000ff010203008090a040"), {{Extra, {1}}}),
         "80400080ff0000ff00000000ffffff40"},
        {"grey, a tile wider than the picture", tiled(), "010101ff020202ff030303ff040404ff"},
        {"grey, strips out of order", twoStrips(), "010101ff020202ff030303ff040404ff050505ff060606ff"},
        {"grey, packed bits", packedBits(), "070707ff070707ff070707ffffffffff"},
        {"black and white", small(1, 1, raw("8040"), {{Bits, {1}}}), "ffffffff000000ff000000ffffffffff"},
        {"palette", small(3, 1, raw("8040") + colours, {{Bits, {1}}, {ByteCount, {2}}, {ColourMap, {2, 6}}}),
         "ff8000ff102030ff102030ffff8000ff"},
        {"16 bits", small(1, 1, raw("00000080ff7fffff"), {{Bits, {16}}}), "000000ff808080ff7f7f7fffffffffff"},
        {"16 bits, alpha",
         small(2, 4, raw("ffff0000ffffff7f" + std::string(48, '0')), {{Bits, {16}}, {Extra, {2}}}),
         "ff00ff7f000000000000000000000000"},
    };
    for (const auto& [kind, tiff, expected] : rows) {
        const auto image = tiff.read();
        ASSERT_TRUE(image) << kind;
        EXPECT_EQ(image->representations().front().pixels.text(), raw(expected)) << kind;
    }
}

TEST(TiffCodec, APictureStoredSidewaysIsTurnedUpright) {
    // Stored as abc over def, of which b and f are white, in eight bits and in one, which the library
    // converts.
    const char* const upright[] = {"abcdef", "cbafed", "fedcba", "defabc",
                                   "adbecf", "daebfc", "fcebda", "cfbead"};
    for (unsigned orientation = 1; orientation <= 8; ++orientation) {
        std::string bits;
        for (const char letter : std::string(upright[orientation - 1]))
            bits += letter == 'b' || letter == 'f' ? "ffffffff" : "000000ff";
        const auto exact =
            small(1, 1, raw("00ff000000ff"), {{Width, {3}}, {Orientation, {orientation}}}).read();
        const auto converted =
            small(1, 1, "\x40\x20", {{Width, {3}}, {Orientation, {orientation}}, {Bits, {1}}}).read();
        ASSERT_TRUE(exact && converted) << orientation;
        EXPECT_EQ(exact->width(), orientation < 5 ? 3U : 2U);
        EXPECT_EQ(exact->representations()[0].pixels.text(), raw(bits)) << orientation;
        EXPECT_EQ(converted->representations(), exact->representations()) << orientation;
    }
}

TEST(TiffCodec, ATiffCutAnywhereIsRefusedInSilence) {
    testing::internal::CaptureStderr();
    for (const Tiff& tiff : {small(1, 1, "abcd"), small(2, 4, std::string(16, 'a'), {{Extra, {2}}}), tiled(),
                             twoStrips(), packedBits(), small(1, 1, "ab", {{Bits, {1}}})})
        for (std::size_t length = 0; length < tiff.bytes().size(); ++length)
            EXPECT_FALSE(Image::fromData(Data(tiff.bytes().substr(0, length)))) << length;
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST(TiffCodec, AChainOfDirectoriesThatLoopsOrGoesOnTooLongIsRefused) {
    Tiff chain = small(1, 1, "abcd");
    chain.directories = kMaxImageRepresentations;
    EXPECT_TRUE(chain.read());
    ++chain.directories;
    EXPECT_FALSE(chain.read());
    const auto first = Image::fromData(Data(chain.bytes()), ImagePictures::First);
    EXPECT_TRUE(first && first->representations().size() == 1) << "the first of a long document";
    chain.directories = 2;
    for (const std::size_t next : {std::size_t{8}, chain.bodyOffset(), std::size_t{1} << 31}) {
        chain.next = next;
        EXPECT_FALSE(chain.read()) << next;
    }
}

CHILD_BODY(readClaims) {
    constexpr std::size_t kHuge = 0x7ffffff0;
    std::vector<Entries> claims{
        {{Width, {kHuge}}},
        {{Height, {kHuge}}, {RowsPerStrip, {1}}},
        {{Width, {kHuge}}, {Height, {kHuge}}, {RowsPerStrip, {kHuge}}},
        {{Samples, {65535}}, {Width, {60000}}},
        {{Bits, {64}}, {Width, {60000}}, {Height, {1000}}, {RowsPerStrip, {1000}}},
        {{Offset, {0, kHuge}}, {ByteCount, {0, kHuge}}},
        {{Offset, {kHuge}}},
        {{TileWidth, {kHuge}}, {TileHeight, {kHuge}}, {TileOffset, {0}}, {TileByteCount, {4}}},
        {{Width, {1}}, {TileWidth, {16384}}, {TileHeight, {16000}}, {TileOffset, {0}}, {TileByteCount, {4}}},
        {{TileWidth, {0}}, {TileHeight, {0}}, {TileOffset, {0}}, {TileByteCount, {4}}}};
    for (const unsigned tag : {RowsPerStrip, Width, Height, Samples, Bits})
        claims.push_back({{tag, {0}}});
    std::vector<std::string> files;
    for (const Entries& claim : claims)
        for (const unsigned photometric : {1U, 2U, 3U, 6U})
            files.push_back(
                small(photometric, photometric == 1 ? 1 : 3, std::string(12, 'a'), claim).bytes());
    // Very many strips, each of which is the whole file, whose bits must be turned around first.
    constexpr std::size_t kStrips = 100000;
    Tiff tiff = small(
        1, 1, std::string(1U << 18U, '\x81'),
        {{Width, {1}}, {Height, {kStrips}}, {Compression, {32773}}, {RowsPerStrip, {1}}, {FillOrder, {2}}});
    const std::size_t first = tiff.bodyOffset(), size = tiff.body.size();
    tiff.entries[Offset] = {size, kStrips};
    tiff.entries[ByteCount] = {size + kStrips * 4, kStrips};
    for (const std::size_t value : {first, size})
        for (std::size_t i = 0; i < kStrips; ++i)
            tiff.body += number(value);
    files.push_back(tiff.bytes());
    return numberOfHonoured(files);
}

TEST(TiffCodec, ATiffThatClaimsToBeHugeIsRefusedWithoutTheMemory) {
    EXPECT_EQ(kitwell::test::ChildProcess::body("readClaims").wait(), 0)
        << "the number of the claim, of which each comes in four kinds";
}

} // namespace kitwell::platform
