#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "KitwellPlatform/Files/AtomicFile.h"
#include "KitwellPlatform/Files/FileManager.h"
#include "Support/ChildProcess.h"
#include "Support/KilledAtSyscall.h"
#include "Support/TestHome.h"

using namespace kitwell::platform;
using namespace kitwell::test;

namespace {

Result<void> replaceWith(const std::string& path, std::string_view content) {
    return replaceFile(path, std::as_bytes(std::span(content)));
}

std::string contentOf(const std::string& path) {
    return std::string(readFile(path, 1U << 20).value().text());
}

struct stat statusOf(const std::string& path) {
    struct stat status {};
    ::lstat(path.c_str(), &status);
    return status;
}

} // namespace

CHILD_BODY(replacesAgainAndAgain) {
    for (int round = 0; round < 100; ++round) {
        if (!replaceWith(arguments[0], round % 2 ? std::string(300'000, 'a') : std::string(70'000, 'b')))
            return 1;
    }
    return 0;
}

class AtomicFile : public InTestHome {};

TEST_F(AtomicFile, AReaderNeverSeesHalfAReplacement) {
    ASSERT_TRUE(replaceWith(home.path("file"), std::string(300'000, 'a')));
    auto writer = ChildProcess::body("replacesAgainAndAgain", {home.path("file")});
    int ending = -1;
    while ((ending = writer.wait(std::chrono::milliseconds(0))) == -1) {
        const std::string content = contentOf(home.path("file"));
        ASSERT_TRUE(content == std::string(300'000, 'a') || content == std::string(70'000, 'b'))
            << content.size();
    }
    EXPECT_EQ(ending, 0);
}

TEST_F(AtomicFile, AWriterThatIsKilledAnywhereLeavesTheOldOrTheNewContent) {
    const std::string path = home.path("file");
    bool wasNewSeen = false;
    const std::size_t calls = killAtEachSyscall(
        [&] { ASSERT_TRUE(replaceWith(path, "old")); }, [&] { (void)replaceWith(path, "new"); },
        [&] {
            wasNewSeen = contentOf(path) == "new";
            EXPECT_TRUE(wasNewSeen || contentOf(path) == "old") << contentOf(path);
        });
    EXPECT_GT(calls, 8U);
    EXPECT_TRUE(wasNewSeen) << "the writer that was not killed did not write";
}

CHILD_BODY(replacesWithoutUmask) {
    ::umask(0);
    if (::geteuid() == 0 && (::setgid(65534) != 0 || ::setuid(65534) != 0))
        return 1;
    return replaceWith(arguments[0] + "/old", "new") && replaceWith(arguments[0] + "/new", "new") ? 0 : 1;
}

TEST_F(AtomicFile, RightsAreKeptButNeverMadeWiderNorHandedToAnotherGroup) {
    ASSERT_TRUE(replaceWith(home.path("data/old"), "old"));
    ASSERT_EQ(::chmod(home.path("data/old").c_str(), 0664), 0);
    ASSERT_EQ(::chmod(home.path().c_str(), 0755) + ::chmod(home.path("data").c_str(), 0777), 0);
    EXPECT_EQ(ChildProcess::body("replacesWithoutUmask", {home.path("data")}).wait(), 0);
    // Run by root, the child is another user who cannot keep the group: it must not get the old group's
    // right.
    EXPECT_EQ(statusOf(home.path("data/old")).st_mode & 07777U, ::geteuid() == 0 ? 0644U : 0664U);
    EXPECT_EQ(statusOf(home.path("data/new")).st_mode & 07777U, 0600U);
}

TEST_F(AtomicFile, ASymlinkIsFollowedAndStays) {
    ASSERT_EQ(::symlink("data/first", home.path("link").c_str()), 0);
    ASSERT_EQ(::symlink("second", home.path("data/first").c_str()), 0);
    ASSERT_TRUE(replaceWith(home.path("link"), "created at the end of the chain"));
    ASSERT_TRUE(replaceWith(home.path("link"), "replaced"));
    EXPECT_TRUE(S_ISLNK(statusOf(home.path("link")).st_mode));
    EXPECT_TRUE(S_ISREG(statusOf(home.path("data/second")).st_mode));
}

TEST_F(AtomicFile, WhatIsNoFileOrTooLargeIsRefusedWithoutWaitingOrTakingMemory) {
    ASSERT_EQ(::mkfifo(home.path("fifo").c_str(), 0600), 0);
    ASSERT_TRUE(replaceWith(home.path("huge"), ""));
    ASSERT_EQ(::truncate(home.path("huge").c_str(), off_t{1} << 42), 0);
    const std::pair<std::string, int> rows[] = {
        {home.path("fifo"), EINVAL},        {home.path(), EINVAL},
        {home.path("huge"), EFBIG},         {home.path("missing"), ENOENT},
        {home.path("huge") + '\0', EINVAL}, {"/proc/self/status", EFBIG}}; // tells no size beforehand
    for (const auto& [path, code] : rows) {
        const auto content = readFile(path, 10);
        ASSERT_FALSE(content) << path;
        EXPECT_EQ(content.error().code, code) << content.error().description;
    }
    EXPECT_FALSE(replaceWith(home.path("fifo"), "x"));
    EXPECT_TRUE(S_ISFIFO(statusOf(home.path("fifo")).st_mode));
}
