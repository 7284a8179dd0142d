#include "KitwellPlatform/Values/Value.h"
#include "Support/Harness.h"

using namespace kitwell::platform;

TEST(Dictionary, KeepsOrderAndFindsEveryKeyWhateverItsSizeAndAfterRemovals) {
    for (const int size : {1, 15, 16, 17, 1000}) {
        Dictionary dictionary;
        for (int at = 0; at < size; ++at)
            dictionary.set("key" + std::to_string(at), at);
        dictionary.set("key0", "replaced in place");
        EXPECT_EQ(dictionary.begin()->second, Value("replaced in place"));
        for (int at = 0; at < size; at += 3)
            EXPECT_TRUE(dictionary.remove("key" + std::to_string(at)));
        EXPECT_FALSE(dictionary.remove("key0"));
        int next = 1;
        for (const auto& [key, value] : dictionary) {
            EXPECT_EQ(value, Value(next)) << key;
            EXPECT_EQ(dictionary.find(key), &value) << key << " of " << size;
            next += next % 3 == 2 ? 2 : 1;
        }
        EXPECT_EQ(next, size % 3 == 0 ? size + 1 : size);
    }
}

TEST(Value, EqualityIsOfKindAndContentButNotOfIntegerSignedness) {
    EXPECT_EQ(Value(5), Value(std::uint64_t{5}));
    EXPECT_NE(Value(-1), Value(std::numeric_limits<std::uint64_t>::max()));
    EXPECT_NE(Value(1), Value(1.0));
    EXPECT_NE(Value(std::nan("")), Value(std::nan("")));
    EXPECT_EQ(Value(Dictionary{{"a", 1}, {"b", Array{2}}}), Value(Dictionary{{"b", Array{2}}, {"a", 1}}));
    EXPECT_NE(Value("1"), Value(Data("1")));
}
