// A picture on its way to a document: the agent asks, a script answers, another program judges the document.

#include "EndToEnd/Scene.h"
#include "KitwellPlatform/Files/AtomicFile.h"
#include "KitwellPlatform/Images/BitmapFile.h"

using namespace kitwell;
using namespace kitwell::test;

namespace {

void writePicture(const std::string& path, std::uint32_t width, std::uint32_t height) {
    const platform::ImageRepresentation picture{
        width, height, platform::Data(std::string(std::size_t{width} * height * 4, '\x80'))};
    const auto png = platform::bitmapData(picture, platform::BitmapFileType::PNG);
    ASSERT_TRUE(platform::replaceFile(path, png->bytes()));
}

// The pages of a document without a fault.
std::string pagesOf(const std::string& document) {
    EXPECT_EQ(ChildProcess::program("/usr/bin/qpdf", {"--check", document}).wait(), 0) << document;
    return ChildProcess::program("/usr/bin/qpdf", {"--show-npages", document}).readLine().value_or("");
}

// A person who chooses the folder in each panel.
std::string scriptedDialog(const Scene& scene, const std::string& folder) {
    const std::string path = scene.home.path("dialog");
    std::ofstream(path) << "#!/bin/bash\nprintf 'choice\\0%s\\0' '" << folder << "' >&0\n";
    std::filesystem::permissions(path, std::filesystem::perms::owner_all);
    return path;
}

} // namespace

TEST(PageSnap, SavesPicturesInPagesOfPaperWhereThePersonAllows) {
    const Scene scene;
    const std::string documents = scene.home.path("Documents"), pictures = scene.home.path("Pictures");
    std::filesystem::create_directories(documents);
    std::filesystem::create_directories(pictures);
    platform::UserDefaults(kAppGroupIdentifier)
        .setObjectForKey(scene.home.path("no Desktop"), "ToolSpecialDir_0");
    writePicture(scene.home.path("tall.png"), 100, 283); // two pages of 141 rows, and one row more
    ::setenv("DISPLAY", "scripted", 1);
    ChildProcess agent = Scene::start("Kitwell", {"--dialog-program", scriptedDialog(scene, documents)});
    ASSERT_TRUE(agent.waitForLine("PageSnap: status off"));

    EXPECT_EQ(Scene::start("PageSnap", {scene.home.path("dialog")}).wait(), 1) << "a script is no picture";
    EXPECT_EQ(Scene::start("PageSnap", {"--no-such-option"}).wait(), 2);
    EXPECT_TRUE(std::filesystem::is_empty(documents));
    EXPECT_EQ(Scene::start("PageSnap", {scene.home.path("tall.png")}).wait(), 0);
    EXPECT_EQ(pagesOf(documents + "/tall.pdf"), "3");

    agent.writeLine("launch PageSnap");
    EXPECT_TRUE(agent.waitForLine("launched PageSnap: process"));
    EXPECT_TRUE(agent.waitForLine("PageSnap: status on"));
    agent.writeLine("click PageSnap");
    EXPECT_TRUE(agent.waitForLine("text \"there is no picture to save\""));
    EXPECT_EQ(Scene::start("PageSnap", {scene.home.path("tall.png")}).wait(), 1) << "its answer went astray";
    writePicture(pictures + "/tall.PNG", 100, 100);
    writePicture(pictures + "/older.png", 100, 283);
    std::filesystem::last_write_time(pictures + "/older.png",
                                     std::filesystem::last_write_time(pictures) - std::chrono::hours(1));
    agent.writeLine("click PageSnap");
    EXPECT_TRUE(agent.waitForLine("text \"saved tall 2.pdf: 1 page\""));
    EXPECT_EQ(pagesOf(documents + "/tall 2.pdf"), "1");
    agent.writeLine("off PageSnap");
    EXPECT_TRUE(agent.waitForLine("PageSnap: status off"));
    agent.writeLine("quit");
    EXPECT_EQ(agent.wait(), 0);
    ::unsetenv("DISPLAY");
}
