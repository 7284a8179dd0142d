#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "KitwellPlatform/Files/AppendFile.h"
#include "KitwellPlatform/Files/AtomicFile.h"
#include "KitwellPlatform/Files/CopyToFreePath.h"
#include "KitwellPlatform/Files/FileManager.h"
#include "Support/TestHome.h"

using namespace kitwell::platform;
using namespace kitwell::test;

class AppendFileTest : public InTestHome {
protected:
    using Lock = AppendFile::Lock;
    const std::string path = home.path("data/log");
    std::vector<std::string> names() const { return FileManager::namesInFolder(home.path("data")); }
};

TEST_F(AppendFileTest, WhatIsWrittenOverStaysInItsPlaceAndWhatIsAppendedGoesToTheEnd) {
    const std::string_view pieces[] = {"one ", "two "};
    {
        auto file = AppendFile::create(path, pieces);
        ASSERT_TRUE(file);
        EXPECT_EQ(AppendFile::create(path, pieces).error().code, EEXIST);
        EXPECT_EQ(names(), std::vector<std::string>{"log"});
        ASSERT_TRUE(file->overwrite(0, "ONE"));
        ASSERT_TRUE(file->append("three"));
        EXPECT_EQ(file->contents(13)->text(), "ONE two three");
        EXPECT_EQ(file->contents(12).error().code, EFBIG);
        ASSERT_EQ(::unlink(path.c_str()), 0);
        EXPECT_EQ(file->status()->names, 0U);
    }
    EXPECT_EQ(AppendFile::open(path, Lock::Shared).error().code, ENOENT);
    EXPECT_EQ(fileStatus(path).error().code, ENOENT);
    ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0);
    EXPECT_FALSE(AppendFile::openForReading(path, Lock::Exclusive)->status()->isRegular) << "or it waited";
}

TEST_F(AppendFileTest, ACopyTakesTheFirstFreeNameOrLeavesNothing) {
    const std::string content(100000, 'x');
    ASSERT_TRUE(replaceFile(home.path("source"), std::as_bytes(std::span(content))));
    const std::vector<std::string> paths{home.path("data/a"), home.path("data/b"), home.path("data/c")};
    const auto copy = [&](const std::string& source) {
        const FileDescriptor file(::open(source.c_str(), O_RDONLY | O_CLOEXEC));
        return copyToFirstFreePath(file.get(), paths, 1000);
    };
    ASSERT_EQ(::symlink("nowhere", paths[0].c_str()), 0);
    EXPECT_FALSE(copy(home.path("data"))) << "a folder was copied";
    EXPECT_EQ(names(), std::vector<std::string>{"a"});
    for (const std::string& free : {paths[1], paths[2]}) {
        EXPECT_EQ(*copy(home.path("source")), free);
        EXPECT_EQ(readFile(free, content.size())->text(), content);
    }
    EXPECT_EQ(copy(home.path("source")).error().code, EEXIST);
    EXPECT_EQ(names(), (std::vector<std::string>{"a", "b", "c"}));
}
