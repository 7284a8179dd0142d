#include <fstream>
#include <gtest/gtest.h>

#include "KitwellCommon/Resources/VersionManager.h"
#include "Support/TestBundle.h"
#include "Support/TestHome.h"

using namespace kitwell;
using namespace kitwell::test;

namespace {

constexpr std::uint64_t kMost = INT64_MAX;

// "s:<short version> b:<build>", either of which may be missing.
std::string listOf(const std::string& keys) {
    const auto entry = [](const std::string& key, const std::string& text) {
        return "<key>" + key + "</key><string>" + text + "</string>";
    };
    const std::size_t build = std::min(keys.find("b:"), keys.size());
    return (build > 0 ? entry("CFBundleShortVersionString", keys.substr(2, build - 2)) : "") +
           (build < keys.size() ? entry("CFBundleVersion", keys.substr(build + 2)) : "");
}

} // namespace

TEST(Version, IsOrderedByNumbersFromTheFirstAndAPrefixComesFirst) {
    const Version ordered[] = {{},          {1, 2}, {1, 2, 0}, {4, 2, 1, 999}, {4, 2, 1, 3375}, {4, 10, 0, 0},
                               {UINT64_MAX}};
    for (std::size_t left = 0; left < std::size(ordered); ++left)
        for (std::size_t right = 0; right < std::size(ordered); ++right)
            EXPECT_EQ(ordered[left] <=> ordered[right], left <=> right) << left << right;
    const Version version{1, 2};
    EXPECT_EQ(version.appending(3), (Version{1, 2, 3}));
    EXPECT_EQ(version.numberAtPosition(2), 9223372036854775807U)
        << "a version was changed, or ends in nothing";
}

TEST(VersionManager, ReadsFourRunsOfDigitsWhateverStandsBetween) {
    const std::string megabyte(1U << 20, '9');
    const std::pair<std::optional<std::string>, std::optional<Version>> rows[] = {
        {std::nullopt, std::nullopt},
        {"", std::nullopt},
        {"1.2.3", std::nullopt},
        {"4.2.1.7-3375", std::nullopt},
        {"10.0.1-20", Version{10, 0, 1, 20}},
        {"v4_2_-1_03375 beta", Version{4, 2, 1, 3375}},
        {"9223372036854775806.9223372036854775807.9223372036854775808-18446744073709551616",
         Version{kMost - 1, kMost, kMost, kMost}},
        {"1.2.3-" + megabyte, Version{1, 2, 3, kMost}},
        {std::string(1U << 20, '.') + "1.2.3-4", Version{1, 2, 3, 4}},
        {"1.2.3-\xD9\xA4", std::nullopt}}; // a digit of another script
    for (const auto& [text, version] : rows)
        EXPECT_EQ(VersionManager::versionWithString(text), version) << text.value_or("nothing").substr(0, 90);
}

TEST(VersionManager, ReadsAnyNumberOfPartsFromABundleAndShowsFour) {
    const TestHome home;
    const std::string missing = "9223372036854775807";
    const struct {
        std::string keys;
        Version version;
        std::string display;
    } rows[] = {{"s:4.2.1 b:3375", {4, 2, 1, 3375}, "4.2.1 (3375)"},
                {"s:4.2 b:3375", {4, 2, 3375}, "4.2.3375 (" + missing + ")"},
                {"s:4.2.1.7 b:9", {4, 2, 1, 7, 9}, "4.2.1 (7)"},
                {"b:12", {12}, "12." + missing + "." + missing + " (" + missing + ")"},
                {"", {0}, "0." + missing + "." + missing + " (" + missing + ")"},
                {"s:4..1", {4, 0, 1, 0}, "4.0.1 (0)"},
                {"s:b:5", {0, 5}, "0.5." + missing + " (" + missing + ")"},
                {"s:3b2.beta.+7 b:-5", {3, 0, 7, UINT64_MAX - 4}, "3.0.7 (-5)"},
                {"s:-.\t 1.99999999999999999999 b:-99999999999999999999",
                 {0, 1, kMost, kMost + 1},
                 "0.1." + missing + " (-9223372036854775808)"}};
    makeTestBundle(home.path(), "Sample", "sample");
    for (const auto& [keys, version, display] : rows) {
        std::ofstream(testBundlePath(home.path(), "Sample") + "/Contents/Info.plist")
            << "<plist version=\"1.0\"><dict>" << listOf(keys) << "</dict></plist>";
        const platform::Bundle bundle{platform::FileUrl(testBundlePath(home.path(), "Sample"))};
        EXPECT_EQ(VersionManager::versionFromBundle(&bundle), version) << keys;
        EXPECT_EQ(VersionManager::stringVersionFromBundle(&bundle), display) << keys;
    }
    EXPECT_EQ(VersionManager::versionToStringReportForm({4, 2, 1, 3375}), "4.2.1-3375");
    EXPECT_EQ(VersionManager::mainBundleVersion(), Version{0}) << "this program stands in no bundle";
    EXPECT_EQ(VersionManager::versionFromBundle(nullptr), Version{0});
}
