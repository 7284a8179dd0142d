#include <climits>
#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include "KitwellCommon/Telemetry/CEPLogGrab.h"
#include "KitwellPlatform/Files/FileDescriptor.h"
#include "TelemetryLogs.h"

using namespace kitwell;
using namespace kitwell::test;
using platform::FileDescriptor;

namespace fs = std::filesystem;

namespace {

std::int32_t grab() {
    std::int32_t more = 0;
    return CEPLogGrab(&more);
}

} // namespace

class LogFaults : public TelemetryLogs {};

TEST_F(LogFaults, EachFailureHasItsCode) {
    const auto folderAt = [](const std::string& path) { fs::create_directory(path); };
    const auto pipeAt = [](const std::string& path) { ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0); };
    const auto readOnlyAt = [](const std::string& path) {
        writeFile(path, "by hand");
        fs::permissions(path, fs::perms::owner_read);
    };
    const auto danglingAt = [](const std::string& path) { fs::create_symlink("nowhere", path); };
    struct Row {
        const char* what;
        std::function<void()> prepare;
        std::int32_t written, grabbed;
    };
    // As root a file without rights opens all the same.
    const std::int32_t readOnly = ::geteuid() == 0 ? 0 : kCEPGrabNoLog;
    for (const Row& row : {Row{"nothing", [] {}, 0, 0},
                           {"no folder", [&] { fs::remove_all(folder); }, kCEPErrorNoLog, kCEPGrabNothing},
                           {"folder for the log", [&] { folderAt(active); }, kCEPErrorNoLog, kCEPGrabNoLog},
                           {"pipe for the log", [&] { pipeAt(active); }, kCEPErrorNoLog, kCEPGrabNoLogStatus},
                           {"read-only log", [&] { readOnlyAt(active); }, kCEPErrorNoLog, readOnly},
                           {"dangling log", [&] { danglingAt(active); }, kCEPErrorNoLog, kCEPGrabNothing},
                           {"folder for the sealed log", [&] { folderAt(sealed); }, 0, kCEPGrabNoSealedLog},
                           {"folder for the older log", [&] { folderAt(legacy); }, 0, kCEPGrabNoLog}}) {
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
    auto reports = collect();
    ASSERT_EQ(reports.size(), 1U);
    EXPECT_EQ(occurrences(together(reports), "\"Older\""), 1U);
    reports = collect();
    EXPECT_EQ(reports.size(), 2U);
    EXPECT_TRUE(areWellFormed(reports));
    EXPECT_EQ(grab(), kCEPGrabNothing);
    EXPECT_TRUE(fs::exists(folder + "/CorvalenKitwell/kitwell_report (1).xml"));
}

CHILD_BODY(meetsARightlessFolder) {
    if (::geteuid() == 0 && (::setgid(65534) != 0 || ::setuid(65534) != 0))
        return 1;
    if (CEPLogInit() != 0 || grab() != kCEPGrabNotSealed)
        return 2;
    fs::permissions(cepLogContext().activeLogPath, fs::perms::owner_read);
    if (grab() != kCEPGrabNoLog || record("ReadOnly") != kCEPErrorNoLog)
        return 3;
    return 0;
}

TEST_F(LogFaults, AnOrdinaryUserMeetsAFolderAndALogWithoutRights) {
    ASSERT_EQ(record("Event"), 0);
    for (const std::string& path :
         {home.path(), home.path("data"), home.path("data/Kitwell"), home.path("data/Kitwell/Library")})
        ASSERT_EQ(::chmod(path.c_str(), 0755), 0);
    if (::geteuid() == 0) {
        ASSERT_EQ(::chown(active.c_str(), 65534, 65534), 0);
    }
    ASSERT_EQ(::chmod(folder.c_str(), 0555), 0);
    EXPECT_EQ(ChildProcess::body("meetsARightlessFolder").wait(), 0);
    ASSERT_EQ(::chmod(folder.c_str(), 0755), 0);
    fs::remove_all(folder);
    fs::create_directory(home.path("elsewhere"));
    fs::create_directory_symlink(home.path("elsewhere"), folder);
    EXPECT_EQ(CEPLogInit(), 0);
    EXPECT_EQ(record("ThroughALink"), 0);
    EXPECT_EQ(collect().size(), 1U);
    fs::remove(folder);
    writeFile(folder, "");
    EXPECT_EQ(CEPLogInit(), kCEPErrorNoLogFolder);
    EXPECT_EQ(record("Nowhere"), kCEPErrorNoLog);
    EXPECT_EQ(grab(), kCEPGrabNothing);
}

CHILD_BODY(writesUntilTold) {
    if (CEPLogInit() != 0)
        return 1;
    std::size_t written = 0;
    while (::access(arguments[0].c_str(), F_OK) != 0) {
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
    const auto isThere = [this] { return fs::exists(active); };
    for (int round = 0; round < 50; ++round) {
        ASSERT_TRUE(waitUntil(isThere));
        std::error_code ignored;
        fs::permissions(active, fs::perms::owner_read, ignored);
        fs::remove(active, ignored);
        ASSERT_TRUE(waitUntil(isThere));
        fs::rename(active, home.path("taken"));
        ASSERT_TRUE(waitUntil(isThere));
        fs::rename(home.path("taken"), active);
    }
    writeFile(end, "");
    for (ChildProcess& writer : writers)
        EXPECT_EQ(writer.wait(), 0);
    const auto reports = collect();
    EXPECT_TRUE(areWellFormed(reports));
    EXPECT_EQ(occurrences(together(reports), "\"Last\""), 3U);
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
    EXPECT_EQ(grab(), kCEPGrabNoSealedLog);
    EXPECT_EQ(collect().size(), 0U);
    ASSERT_EQ(::ftruncate(filler.get(), 0), 0);
    EXPECT_EQ(record("After"), 0);
    const auto reports = collect();
    EXPECT_EQ(reports.size(), 2U);
    EXPECT_TRUE(areWellFormed(reports));
    for (const auto& [action, count] :
         {std::pair{"\"Whole\"", 1U}, {"\"Padded\"", 2U}, {"\"After\"", 1U}, {"Half", 0U}})
        EXPECT_EQ(occurrences(together(reports), action), count) << action;
}
