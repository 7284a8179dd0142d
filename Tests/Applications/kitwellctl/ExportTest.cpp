// Pictures exported by the built program.

#include <fcntl.h>

#include "KitwellCommon/KitwellCommon.h"
#include "KitwellPlatform/Files/AtomicFile.h"
#include "KitwellPlatform/Files/FileManager.h"
#include "Support/Harness.h"
#include "Support/Keyboard.h"

using namespace kitwell;
using namespace kitwell::platform;
using namespace kitwell::test;

namespace {

using Words = std::vector<std::string>;

int run(const Words& words) {
    return ChildProcess::program(std::string(PROGRAMS_FOLDER) + "/kitwellctl", words).wait();
}

} // namespace

TEST(Kitwellctl, ExportsByTheEndingAndOverwritesOnlyWhenTold) {
    const TestHome home;
    const std::string input = home.path("picture.tiff"), pdf = home.path("picture.PDF");
    const auto image = Image::fromRepresentations({{3, 10, Data(std::string(120, 'a'))}});
    ASSERT_TRUE(image && CommonAuxiliary::sharedInstance().saveImage(*image, BitmapFileType::TIFF, input));
    const std::string text = home.path("text");
    std::ofstream(text) << "no picture";
    const auto exportTo = [&](const std::string& output, Words more = {}) {
        more.insert(more.begin(), {"export", input, output});
        return run(more);
    };
    EXPECT_EQ(exportTo(pdf, {"--page-height", "4"}), 0);
    const auto expected = CommonAuxiliary::sharedInstance().dataForImageAsPDF(*image, 4);
    EXPECT_EQ(readFile(pdf, 10000).value(), expected.value());
    EXPECT_EQ(exportTo(pdf), 1);
    EXPECT_EQ(readFile(pdf, 10000).value(), expected.value()) << "overwritten without --force";
    EXPECT_EQ(exportTo(pdf, {"--force"}), 0);
    EXPECT_NE(readFile(pdf, 10000).value(), expected.value());
    for (const char* name : {"a.tif", "a.tiff", "a.bmp", "a.gif", "a.jpg", "a.jpeg", "a.png", "a.jp2"}) {
        ASSERT_EQ(exportTo(home.path(name)), 0) << name;
        const auto again = Image::fromData(readFile(home.path(name), 10000).value());
        EXPECT_TRUE(again && again->height() == 10) << name;
    }
    for (const Words& more : {Words{"--page-height=x"}, {"--page-height=-1"}, {"--page-height=4x"}})
        EXPECT_EQ(exportTo(home.path("b.pdf"), more), 2) << more.front();
    EXPECT_EQ(exportTo(home.path("b.png"), {"--page-height=4"}), 2);
    for (const std::string& output : {home.path("b"), home.path("b.txt"), std::string(".pdf")})
        EXPECT_EQ(exportTo(output), 2) << output;
    EXPECT_EQ(exportTo(home.path("no folder/b.pdf")), 1);
    for (const std::string& unreadable : {text, pdf, home.path(), home.path("missing")})
        EXPECT_EQ(run({"export", unreadable, home.path("b.pdf")}), 1) << unreadable;
    EXPECT_FALSE(FileManager::fileExists(home.path("b.pdf")));
    std::filesystem::create_symlink("b.pdf", home.path("link.pdf"));
    EXPECT_EQ(exportTo(home.path("link.pdf")), 1);
    EXPECT_EQ(exportTo(home.path("c.pdf"), {"--page-height=2", "--page-height", "4"}), 0);
    EXPECT_EQ(readFile(home.path("c.pdf"), 10000).value(), expected.value()) << "not the last page height";
    EXPECT_EQ(run({"export", input, input, "--force"}), 0) << "over itself";
    EXPECT_TRUE(Image::fromData(readFile(input, 10000).value()));
    EXPECT_FALSE(FileManager::fileExists(home.path("b.pdf"))) << "a symlink that leads nowhere was followed";
}

TEST(Kitwellctl, TellsOfAPipeThatIsReadNoMore) {
    const TestHome home;
    const std::string input = home.path("picture.tiff"), output = home.path("pipe.bmp");
    const auto image = Image::fromRepresentations({{300, 300, Data(std::string(360000, 'a'))}});
    ASSERT_TRUE(image && CommonAuxiliary::sharedInstance().saveImage(*image, BitmapFileType::TIFF, input));
    ASSERT_EQ(::mkfifo(output.c_str(), 0600), 0);
    FileDescriptor reader(::open(output.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    ChildProcess writer = ChildProcess::program(std::string(PROGRAMS_FOLDER) + "/kitwellctl",
                                                {"export", input, output, "--force"});
    char byte = 0;
    EXPECT_TRUE(waitUntil([&] { return ::read(reader.get(), &byte, 1) == 1; }));
    reader.reset();
    EXPECT_EQ(writer.wait(), 1);
}

TEST(Kitwellctl, ShowsHowFarAnExportIsOnATerminalOnly) {
    const TestHome home;
    const auto image = Image::fromRepresentations({{3, 10, Data(std::string(120, 'a'))}});
    ASSERT_TRUE(image && CommonAuxiliary::sharedInstance().saveImage(*image, BitmapFileType::TIFF,
                                                                     home.path("picture.tiff")));
    const auto exportTellingIn = [&](const std::string& errors) {
        return ChildProcess::program("/bin/sh", {"-c", R"(exec "$1" export "$2" "$3" --force 2> "$4")", "sh",
                                                 std::string(PROGRAMS_FOLDER) + "/kitwellctl",
                                                 home.path("picture.tiff"), home.path("a.pdf"), errors});
    };
    const Keyboard keyboard;
    ChildProcess shown = exportTellingIn(keyboard.terminal());
    keyboard.waitFor("reading\r\033[Kencoding\r\033[Kencoding 100 %\r\033[K");
    EXPECT_EQ(shown.wait(), 0);
    EXPECT_EQ(exportTellingIn(home.path("errors")).wait(), 0);
    EXPECT_TRUE(std::filesystem::is_empty(home.path("errors")));
}
