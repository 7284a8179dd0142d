#include <fcntl.h>

#include "KitwellPlatform/Files/AppendFile.h"
#include "KitwellPlatform/Files/AtomicFile.h"
#include "KitwellPlatform/Files/FileManager.h"
#include "KitwellPlatform/Files/FreePath.h"
#include "Support/Harness.h"

using namespace kitwell::platform;
using namespace kitwell::test;

class AppendFileTest : public InTestHome {
protected:
    const std::string path = home.path("data/log");
    std::vector<std::string> names() const { return FileManager::namesInFolder(home.path("data")); }
};

TEST_F(AppendFileTest, ContentsAreBoundedAndATakenNameIsLeft) {
    const std::string_view pieces[] = {"one ", "two "};
    const auto file = AppendFile::create(path, pieces);
    ASSERT_TRUE(file);
    EXPECT_EQ(AppendFile::create(path, pieces).error().code, EEXIST);
    EXPECT_EQ(names(), std::vector<std::string>{"log"});
    EXPECT_EQ(file->contents(8)->text(), "one two ");
    EXPECT_EQ(file->contents(7).error().code, EFBIG);
}

TEST_F(AppendFileTest, ACopyTakesTheFirstFreeNameOrLeavesNothing) {
    const std::string content(100000, 'x');
    ASSERT_TRUE(replaceFile(home.path("source"), std::as_bytes(std::span(content))));
    const std::vector<std::string> paths{home.path("data/a"), home.path("data/b")};
    const auto copy = [&](const std::string& source) {
        const FileDescriptor file(::open(source.c_str(), O_RDONLY | O_CLOEXEC));
        return copyToFirstFreePath(file.get(), paths, 1000);
    };
    ASSERT_EQ(::symlink("nowhere", paths[0].c_str()), 0);
    EXPECT_FALSE(copy(home.path("data"))) << "a folder was copied";
    EXPECT_EQ(names(), std::vector<std::string>{"a"});
    EXPECT_EQ(*copy(home.path("source")), paths[1]);
    EXPECT_EQ(readFile(paths[1], content.size())->text(), content);
    EXPECT_EQ(copy(home.path("source")).error().code, EEXIST);
    const auto bytes = std::as_bytes(std::span(content));
    EXPECT_EQ(writeToFirstFreePath(bytes, paths).error().code, EEXIST);
    EXPECT_EQ(names(), (std::vector<std::string>{"a", "b"}));
    std::filesystem::remove(paths[0]);
    EXPECT_EQ(*writeToFirstFreePath(bytes, paths), paths[0]);
    EXPECT_EQ(readFile(paths[0], content.size())->text(), content);
    EXPECT_FALSE(writeToFirstFreePath(bytes, std::vector{home.path("missing/c")}));
}
