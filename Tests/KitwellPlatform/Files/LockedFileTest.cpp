#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include "KitwellPlatform/Files/AtomicFile.h"
#include "KitwellPlatform/Files/FileManager.h"
#include "KitwellPlatform/Files/LockedFile.h"
#include "Support/Harness.h"

using namespace kitwell::platform;
using namespace kitwell::test;

class LockedFileTest : public InTestHome {};

TEST_F(LockedFileTest, NeitherASymlinkNorATakenNameIsWrittenThrough) {
    ASSERT_EQ(::symlink(home.path("victim").c_str(), home.path("data/link").c_str()), 0);
    EXPECT_FALSE(LockedFile::lockFile(home.path("data/link")));
    EXPECT_FALSE(LockedFile::createLocked(home.path("data/link"), "x"));
    EXPECT_FALSE(FileManager::fileExists(home.path("victim")));
    ASSERT_TRUE(LockedFile::createLocked(home.path("data/taken"), "first"));
    EXPECT_EQ(LockedFile::createLocked(home.path("data/taken"), "second").error().code, EEXIST);
    EXPECT_EQ(readFile(home.path("data/taken"), 100)->text(), "first");
    EXPECT_EQ(FileManager::namesInFolder(home.path("data")), (std::vector<std::string>{"link", "taken"}));
}

CHILD_BODY(createsLockedFiles) {
    for (int round = 0; round < 2000; ++round) {
        const auto file = LockedFile::createLocked(arguments[0], "whole");
        if (!file || ::unlink(arguments[0].c_str()) != 0)
            return 1;
    }
    return 0;
}

TEST_F(LockedFileTest, ACreatedFileIsNeverSeenUnlockedOrHalfWritten) {
    const std::string path = home.path("created");
    auto creator = ChildProcess::body("createsLockedFiles", {path});
    int ending = -1;
    while ((ending = creator.wait(std::chrono::milliseconds(0))) == -1) {
        const FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
        if (!file)
            continue;
        char content[16];
        ASSERT_EQ(::read(file.get(), content, sizeof content), 5);
        struct stat status {};
        if (::flock(file.get(), LOCK_SH | LOCK_NB) == 0 && ::fstat(file.get(), &status) == 0) {
            ASSERT_EQ(status.st_nlink, 0U) << "a file with a name was not locked";
        }
    }
    EXPECT_EQ(ending, 0);
}
