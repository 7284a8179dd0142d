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

} // namespace

// Each argument sets one value, then the application terminates in the orderly way.
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
    void run(std::vector<std::string> arguments) const {
        arguments.insert(arguments.begin(), {"--child", "sampleTool"});
        ASSERT_EQ(ChildProcess::program(executable, arguments).wait(), 0);
    }
    const TestHome home;
    const std::string executable = makeTestBundle(home.path(), "Sample", kSampleIdentifier);
    const ToolPersistentDataReader reader{"Sample.app", kSampleIdentifier};
};

TEST_F(ToolPersistentData, ALaterRunKeepsWhatItDidNotSetAndOnlyAPermanentToolHasAny) {
    const std::string container = home.path("data/Kitwell/Group Containers/7QW2LM9B5R.com.corvalen.kitwell");
    const std::string cache = container + "/Library/Caches/Icons/";
    const std::string menuIcon = cache + "Menu_Sample.app_com.corvalen.kitwell.Sample.tiff";
    run({"toolIcon"});
    EXPECT_FALSE(reader.toolIcon());
    EXPECT_FALSE(std::filesystem::exists(container + "/Library/Preferences"));
    run({"permanent", "Grüße", "toolIcon", "templateIcon"});
    EXPECT_EQ(reader.toolIcon()->width(), 3U);
    EXPECT_EQ(reader.menuIcon()->representations(), square(2, true).representations());
    EXPECT_TRUE(reader.menuIcon()->isTemplate());
    EXPECT_TRUE(std::filesystem::exists(cache + "Tool_Sample.app_com.corvalen.kitwell.Sample.tiff"));
    EXPECT_EQ(platform::extendedAttribute(menuIcon, "NSImage.isTemplate", 8), std::vector{std::byte{1}});
    run({"menuIcon"});
    EXPECT_EQ(reader.toolIcon()->width(), 3U);
    EXPECT_FALSE(reader.menuIcon()->isTemplate()) << "the attribute of the replaced file is still heeded";
    EXPECT_EQ(platform::extendedAttribute(menuIcon, "NSImage.isTemplate", 8), std::vector{std::byte{0}});
    EXPECT_EQ(platform::UserDefaults(kAppGroupIdentifier).dictionaryForKey("ToolPersistentData"),
              (platform::Dictionary{{"com.corvalen.kitwell.Sample_Sample.app",
                                     platform::Dictionary{{"Permanent", true}, {"MenuText", "Grüße"}}}}));
    run({"noText"});
    EXPECT_EQ(reader.getToolDataDict(), (platform::Dictionary{{"Permanent", true}}));
    run({"text", "passing"});
    EXPECT_FALSE(reader.isPermanent() || reader.menuText() || reader.toolIcon() || reader.menuIcon());
}

TEST_F(ToolPersistentData, ANameFromABundleDoesNotLeadOutOfTheIconCache) {
    const ToolPersistentDataReader hostile("../../../Sample.app", "../../evil");
    EXPECT_EQ(std::filesystem::path(hostile.getToolIconPath()).parent_path(),
              std::filesystem::path(reader.getToolIconPath()).parent_path());
}
