#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

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

TEST(FileManager, AFolderThatCannotBeGivenItsOwnerDoesNotStayAndASymlinkIsNeverFollowed) {
    if (::geteuid() != 0)
        GTEST_SKIP() << "only root can give a folder away";
    const TestHome home;
    using Kind = FileManager::Kind;
    const mode_t before = ::umask(077);
    EXPECT_TRUE(FileManager::createFolder(home.path("a/b"), {Kind::Folder, 0775, 64123, 64124}));
    ::umask(before);
    for (const std::string& made : {home.path("a"), home.path("a/b")}) {
        const auto attributes = FileManager::attributes(made).value();
        EXPECT_EQ(attributes.mode, 0775U);
        EXPECT_EQ(attributes.ownerId, 64123U);
        EXPECT_EQ(attributes.groupId, 64124U);
    }
    ASSERT_EQ(::chmod(home.path().c_str(), 0711), 0);
    ASSERT_EQ(::seteuid(64123), 0);
    EXPECT_EQ(FileManager::createFolder(home.path("a/mine"), {Kind::Folder, 0775, 0, 0}).error().code, EPERM);
    ASSERT_EQ(::seteuid(0), 0);
    EXPECT_FALSE(FileManager::fileExists(home.path("a/mine")));

    ASSERT_TRUE(replaceFile(home.path("file"), {}));
    ASSERT_EQ(::symlink("file", home.path("link").c_str()), 0);
    EXPECT_EQ(FileManager::setGroupAndMode(home.path("link"), 64124, 0664).error().code, ELOOP);
    EXPECT_TRUE(FileManager::setGroupAndMode(home.path("a/b"), 64125, 0700));
    EXPECT_EQ(FileManager::attributes(home.path("a/b"))->groupId, 64125U);
    EXPECT_EQ(FileManager::attributes(home.path("file"))->mode, 0600U);
    EXPECT_EQ(FileManager::moveFile(home.path("file"), home.path("link")).error().code, EEXIST);
    EXPECT_TRUE(FileManager::moveFile(home.path("link"), home.path("moved")));
    EXPECT_EQ(FileManager::attributes(home.path("moved"))->kind, Kind::Symlink);
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
