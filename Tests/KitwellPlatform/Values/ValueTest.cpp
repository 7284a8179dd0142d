#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "KitwellPlatform/Values/Value.h"

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
        std::string order;
        for (const auto& [key, value] : dictionary)
            order += key.substr(3) + " ";
        std::string expected;
        for (int at = 0; at < size; ++at) {
            const Value* found = dictionary.find("key" + std::to_string(at));
            ASSERT_EQ(found != nullptr, at % 3 != 0) << at << " of " << size;
            if (found)
                expected += std::to_string(*found->asSigned()) + " ";
        }
        EXPECT_EQ(order, expected);
    }
}

TEST(Value, EqualityIsOfKindAndContentButNotOfIntegerSignedness) {
    EXPECT_EQ(Value(5), Value(std::uint64_t{5}));
    EXPECT_NE(Value(-1), Value(std::numeric_limits<std::uint64_t>::max()));
    EXPECT_NE(Value(1), Value(1.0));
    EXPECT_NE(Value(1), Value(true));
    EXPECT_NE(Value(std::nan("")), Value(std::nan("")));
    EXPECT_EQ(Value(Dictionary{{"a", 1}, {"b", Array{2}}}), Value(Dictionary{{"b", Array{2}}, {"a", 1}}));
    EXPECT_NE(Value(Dictionary{{"a", 1}}), Value(Dictionary{{"b", 1}}));
    EXPECT_NE(Value("1"), Value(Data("1")));
}
