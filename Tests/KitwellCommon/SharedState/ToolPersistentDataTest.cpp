#include "KitwellCommon/KitwellCommon.h"
#include "KitwellPlatform/Applications/Application.h"
#include "KitwellPlatform/Files/ExtendedAttributes.h"
#include "Support/Harness.h"

using namespace kitwell;
using namespace kitwell::test;

namespace {

constexpr char kSampleIdentifier[] = "com.corvalen.kitwell.Sample";

platform::Image square(std::uint32_t side, bool isTemplate) {
    auto image = platform::Image::fromRepresentations(
        {{side, side, platform::Data(std::string(std::size_t{side} * side * 4, 'x'))}});
    image->setTemplate(isTemplate);
    return *image;
}

// Runs the sample tool once: each argument sets one value, then the application terminates in the orderly
// way.
int runSample(const std::string& executable, std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), {"--child", "sampleTool"});
    return ChildProcess::program(executable, arguments).wait();
}

} // namespace

CHILD_BODY(sampleTool) {
    ToolPersistentDataLazyWriter writer;
    for (const std::string& argument : arguments) {
        if (argument == "permanent" || argument == "passing")
            writer.setIsPermanent(argument == "permanent");
        else if (argument == "toolIcon")
            writer.setToolIcon(square(3, false));
        else if (argument == "menuIcon" || argument == "templateIcon")
            writer.setMenuIcon(square(2, argument == "templateIcon"));
        else if (argument == "noText")
            writer.setMenuText(std::nullopt);
        else
            writer.setMenuText(argument);
    }
    platform::Application::shared().terminate();
    return 0;
}

class ToolPersistentData : public testing::Test {
protected:
    const TestHome home;
    const std::string executable = makeTestBundle(home.path(), "Sample", kSampleIdentifier);
    const ToolPersistentDataReader reader{"Sample.app", kSampleIdentifier};
};

TEST_F(ToolPersistentData, APermanentToolIsReadBackByAnotherProcessWithTheNamesAndKeysTold) {
    ASSERT_EQ(runSample(executable, {"permanent", "Grüße", "toolIcon", "templateIcon"}), 0);
    EXPECT_TRUE(reader.isPermanent());
    EXPECT_EQ(reader.menuText(), "Grüße");
    EXPECT_EQ(reader.toolIcon()->width(), 3U);
    EXPECT_FALSE(reader.toolIcon()->isTemplate());
    EXPECT_EQ(reader.menuIcon()->representations(), square(2, true).representations());
    EXPECT_TRUE(reader.menuIcon()->isTemplate());

    const std::string container = home.path("data/Kitwell/Group Containers/7QW2LM9B5R.com.corvalen.kitwell");
    const std::string cache = container + "/Library/Caches/Icons/";
    EXPECT_TRUE(std::filesystem::exists(cache + "Tool_Sample.app_com.corvalen.kitwell.Sample.tiff"));
    const std::string menuIcon = cache + "Menu_Sample.app_com.corvalen.kitwell.Sample.tiff";
    EXPECT_EQ(platform::extendedAttribute(menuIcon, "NSImage.isTemplate", 8), std::vector{std::byte{1}});
    EXPECT_EQ(platform::UserDefaults(kAppGroupIdentifier).dictionaryForKey("ToolPersistentData"),
              (platform::Dictionary{{"com.corvalen.kitwell.Sample_Sample.app",
                                     platform::Dictionary{{"Permanent", true}, {"MenuText", "Grüße"}}}}));
}

TEST_F(ToolPersistentData, ALaterRunKeepsWhatItDidNotSetAndOnlyAPermanentToolHasAny) {
    ASSERT_EQ(runSample(executable, {"toolIcon"}), 0);
    EXPECT_FALSE(reader.toolIcon());
    EXPECT_FALSE(std::filesystem::exists(
        home.path("data/Kitwell/Group Containers/7QW2LM9B5R.com.corvalen.kitwell/Library/Preferences")));
    ASSERT_EQ(runSample(executable, {"permanent", "text", "toolIcon", "templateIcon"}), 0);
    ASSERT_EQ(runSample(executable, {"menuIcon"}), 0);
    EXPECT_TRUE(reader.isPermanent());
    EXPECT_EQ(reader.menuText(), "text");
    EXPECT_EQ(reader.toolIcon()->width(), 3U);
    EXPECT_FALSE(reader.menuIcon()->isTemplate())
        << "the attribute of the file that was replaced is still heeded";
    EXPECT_EQ(platform::extendedAttribute(reader.getMenuIconPath(), "NSImage.isTemplate", 8),
              std::vector{std::byte{0}});
    ASSERT_EQ(runSample(executable, {"noText"}), 0);
    EXPECT_EQ(reader.getToolDataDict(), (platform::Dictionary{{"Permanent", true}}));
    ASSERT_EQ(runSample(executable, {"text", "passing"}), 0);
    EXPECT_FALSE(reader.isPermanent() || reader.menuText() || reader.toolIcon() || reader.menuIcon());
}

TEST_F(ToolPersistentData, WhatIsNoPictureOrNoEntryReadsAsNone) {
    platform::UserDefaults(kAppGroupIdentifier)
        .setObjectForKey(
            platform::Dictionary{{"com.corvalen.kitwell.Sample_Sample.app", platform::Array{true}}},
            "ToolPersistentData");
    EXPECT_FALSE(reader.isPermanent());
    EXPECT_FALSE(reader.menuText());
    const ToolPersistentDataReader hostile("../../../Sample.app", "../../evil");
    const std::filesystem::path path(hostile.getToolIconPath());
    EXPECT_EQ(path.parent_path(), std::filesystem::path(reader.getToolIconPath()).parent_path())
        << "a name from a bundle leads out of the icon cache";
}
