#include <gtest/gtest.h>
#include <sys/xattr.h>

#include "KitwellPlatform/Files/AtomicFile.h"
#include "KitwellPlatform/Files/ExtendedAttributes.h"
#include "KitwellPlatform/Files/FileManager.h"
#include "KitwellPlatform/Files/FileUrl.h"
#include "Support/TestHome.h"

using namespace kitwell::platform;
using kitwell::test::TestHome;

TEST(FileUrl, SlashesAtTheEdgesNeverMakeAnEmptyOrDoubledComponent) {
    const std::vector<std::string> rows[] = {
        // text, last component, the one above, one below
        {"/a/Sample.app/", "Sample.app", "/a", "/a/Sample.app/x"},
        {"/a", "a", "/", "/a/x"},
        {"//", "/", "/", "/x"},
        {"a", "a", "", "a/x"},
        {"", "", "", "x"},
    };
    for (const auto& row : rows) {
        const FileUrl url(row[0]);
        const std::vector<std::string> answers{row[0], url.lastPathComponent(),
                                               url.deletingLastPathComponent().path(),
                                               url.appending("x").path()};
        EXPECT_EQ(answers, row);
    }
}

TEST(FileManager, AFolderIsMadeWithWhatLeadsToItButNeverThroughAFile) {
    const TestHome home;
    EXPECT_TRUE(FileManager::createFolder(home.path("a/b/c/")));
    EXPECT_TRUE(FileManager::createFolder(home.path("a/b/c")));
    ASSERT_TRUE(replaceFile(home.path("a/file"), {}));
    EXPECT_FALSE(FileManager::createFolder(home.path("a/file/below")));
    EXPECT_FALSE(FileManager::createFolder(home.path("a/file")));
    EXPECT_FALSE(FileManager::createFolder(""));
    EXPECT_FALSE(FileManager::isExecutable(home.path("a"))) << "a folder was taken for a program";
    EXPECT_EQ(FileManager::namesInFolder(home.path("a")), (std::vector<std::string>{"b", "file"}));
    EXPECT_GT(FileManager::volumeSpace(home.path())->totalBytes, 1U << 24) << "blocks were taken for bytes";
}

TEST(ExtendedAttributes, AValueComesBackWholeOrNotAtAll) {
    const TestHome home;
    ASSERT_TRUE(replaceFile(home.path("file"), {}));
    const std::string_view value("with\0zero", 9);
    if (!setExtendedAttribute(home.path("file"), "sample", std::as_bytes(std::span(value))))
        GTEST_SKIP() << "this volume has no attributes";
    EXPECT_EQ(Data::copying(extendedAttribute(home.path("file"), "sample", 9).value()).text(), value);
    EXPECT_FALSE(extendedAttribute(home.path("file"), "sample", 8)) << "longer than the caller bears";
    EXPECT_FALSE(extendedAttribute(home.path("file"), "other", 100));
    EXPECT_EQ(::getxattr(home.path("file").c_str(), "user.sample", nullptr, 0), 9) << "others cannot find it";
    ASSERT_TRUE(setExtendedAttribute(home.path("file"), "sample", {}));
    EXPECT_EQ(extendedAttribute(home.path("file"), "sample", 9)->size(), 0U);
}
