#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>

#include "KitwellCommon/Telemetry/CEPLogGrab.h"
#include "KitwellPlatform/Files/FileDescriptor.h"
#include "TelemetryLogs.h"

using namespace kitwell;
using namespace kitwell::test;
using platform::FileDescriptor;

namespace {

std::int32_t grab() {
    std::int32_t more = 0;
    return CEPLogGrab(&more);
}

} // namespace

class LogFaults : public TelemetryLogs {};

TEST_F(LogFaults, EachFailureHasItsCode) {
    struct Row {
        const char* what;
        std::function<void()> prepare;
        std::int32_t written, grabbed;
    };
    // As root a file without rights opens all the same.
    const std::int32_t readOnly = ::geteuid() == 0 ? 0 : kCEPGrabNoLog;
    for (const Row& row :
         {Row{"nothing", [] {}, 0, 0},
          {"no folder", [&] { fs::remove_all(folder); }, kCEPErrorNoLog, kCEPGrabNothing},
          {"folder for the log", [&] { fs::create_directory(active); }, kCEPErrorNoLog, kCEPGrabNoLog},
          {"pipe for the log", [&] { ::mkfifo(active.c_str(), 0600); }, kCEPErrorNoLog, kCEPGrabNoLogStatus},
          {"read-only log",
           [&] { writeFile(active, "by hand"), fs::permissions(active, fs::perms::owner_read); },
           kCEPErrorNoLog, readOnly},
          {"dangling log", [&] { fs::create_symlink("nowhere", active); }, kCEPErrorNoLog, kCEPGrabNothing},
          {"folder for the sealed log", [&] { fs::create_directory(sealed); }, 0, kCEPGrabNoSealedLog},
          {"folder for the older log", [&] { fs::create_directory(legacy); }, 0, kCEPGrabNoLog}}) {
        SCOPED_TRACE(row.what);
        clear();
        row.prepare();
        EXPECT_EQ(record("Event"), row.written);
        const std::int32_t grabbed = grab();
        const FileDescriptor log(grabbed);
        EXPECT_EQ(std::min(grabbed, 0), row.grabbed);
    }
}

TEST_F(LogFaults, TheOlderLogIsCollectedInPlaceOfTheActiveOne) {
    ASSERT_EQ(record("Older"), 0);
    fs::rename(active, legacy);
    ASSERT_EQ(record("Active"), 0);
    EXPECT_EQ(occurrences(collect(), "\"Active\""), 0U);
    expectCollected(collect(), {{"Older", 1}, {"Active", 1}});
}

CHILD_BODY(meetsARightlessFolder) {
    if (::geteuid() == 0 && (::setgid(65534) != 0 || ::setuid(65534) != 0))
        return 1;
    return CEPLogInit() == 0 && grab() == kCEPGrabNotSealed ? 0 : 2;
}

TEST_F(LogFaults, AnOrdinaryUserMeetsAFolderWithoutRights) {
    ASSERT_EQ(record("Event"), 0);
    for (const std::string& path :
         {home.path(), home.path("data"), home.path("data/Kitwell"), home.path("data/Kitwell/Library")})
        fs::permissions(path, fs::perms(0755));
    ASSERT_TRUE(::geteuid() != 0 || ::chown(active.c_str(), 65534, 65534) == 0);
    fs::permissions(folder, fs::perms(0555));
    EXPECT_EQ(ChildProcess::body("meetsARightlessFolder").wait(), 0);
    fs::permissions(folder, fs::perms(0755));
    fs::remove_all(folder);
    writeFile(folder, "");
    EXPECT_EQ(CEPLogInit(), kCEPErrorNoLogFolder);
    EXPECT_EQ(record("Nowhere"), kCEPErrorNoLog);
}

CHILD_BODY(writesUntilTold) {
    if (CEPLogInit() != 0)
        return 1;
    std::size_t written = 0;
    while (!fs::exists(arguments[0])) {
        const std::int32_t result = record("Event");
        if (result != 0 && result != kCEPErrorNoLog)
            return 2;
        written += result == 0 ? 1 : 0;
    }
    return written > 0 && record("Last") == 0 ? 0 : 3;
}

TEST_F(LogFaults, WritersOutliveWhatIsDoneToTheLogByHand) {
    const std::string end = home.path("end");
    std::vector<ChildProcess> writers;
    for (int writer = 0; writer < 3; ++writer)
        writers.push_back(ChildProcess::body("writesUntilTold", {end}));
    for (int round = 0; round < 50; ++round) {
        std::error_code ignored;
        ASSERT_TRUE(waitUntil([this] { return fs::exists(active); }));
        fs::permissions(active, fs::perms::owner_read, ignored);
        fs::remove(active, ignored);
    }
    writeFile(end, "");
    for (ChildProcess& writer : writers)
        EXPECT_EQ(writer.wait(), 0);
    expectCollected(collect(), {{"Last", 3}});
}

// A link in the log's place is not the log: what it leads to is copied.
TEST_F(LogFaults, ALinkedLogIsCollectedWithItsContent) {
    ASSERT_EQ(record("Event"), 0);
    fs::rename(active, home.path("elsewhere.xml"));
    fs::create_symlink(home.path("elsewhere.xml"), active);
    ASSERT_EQ(record("Linked"), 0);
    const auto reports = collect();
    ASSERT_EQ(reports.size(), 1U);
    EXPECT_TRUE(fs::is_regular_file(fs::symlink_status(reports[0])));
    expectCollected(reports, {{"Event", 1}, {"Linked", 1}});
}

// Everything happens on a small volume that only this process sees.
TEST_F(LogFaults, AFullDiskLeavesNothingHalfAndLosesNothingThatWasAnswered) {
    constexpr std::size_t kPage = 4096;
    if (::geteuid() != 0 || ::unshare(CLONE_NEWNS) != 0 ||
        ::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
        ::mount("test", folder.c_str(), "tmpfs", 0, "size=1m") != 0)
        GTEST_SKIP() << "needs root, to make a small volume";
    const struct Unmounting {
        std::string path;
        ~Unmounting() { ::umount(path.c_str()); }
    } unmounting{folder};
    fs::create_directory(folder + "/CorvalenKitwell");
    const FileDescriptor filler(::open((folder + "/filler").c_str(), O_CREAT | O_RDWR | O_CLOEXEC, 0600));
    const std::string zeros(kPage, '\0');
    const auto leave = [&](std::size_t pages) {
        ASSERT_EQ(::ftruncate(filler.get(), 0), 0);
        std::size_t filled = 0;
        while (::pwrite(filler.get(), zeros.data(), kPage, static_cast<off_t>(filled * kPage)) > 0)
            ++filled;
        ASSERT_EQ(::ftruncate(filler.get(), static_cast<off_t>((filled - pages) * kPage)), 0);
    };
    leave(0);
    EXPECT_EQ(record("NoHeader"), kCEPErrorNoLog);
    EXPECT_FALSE(fs::exists(active));
    leave(1);
    EXPECT_EQ(record("HalfAtTheBeginning", std::string(kPage, 'x')), kCEPErrorNotWritten);
    leave(1);
    EXPECT_EQ(record("Whole"), 0);
    EXPECT_EQ(record("Half", std::string(2 * kPage, 'x')), kCEPErrorNotWritten);
    leave(2);
    // Of the closing only ten bytes find a place.
    const std::size_t before = fs::file_size(active);
    ASSERT_EQ(record("Padded"), 0);
    const std::size_t event = fs::file_size(active) - before;
    const std::size_t padding = 2 * kPage - 10 - (before + 2 * event) % kPage;
    leave(3);
    ASSERT_EQ(record("Padded", std::string(padding, 'x')), 0);
    ASSERT_EQ(fs::file_size(active) % kPage, kPage - 10);
    leave(0);
    EXPECT_EQ(collect().size(), 0U) << "sealed, and not closed";
    EXPECT_EQ(grab(), kCEPGrabNoSealedLog);
    ASSERT_EQ(::ftruncate(filler.get(), 0), 0);
    EXPECT_EQ(record("After"), 0);
    const auto reports = collect();
    fs::remove(folder + "/filler");
    expectCollected(reports,
                    {{"Whole", 1}, {"Padded", 2}, {"After", 1}, {"HalfAtTheBeginning", 0}, {"Half", 0}});
}
