#include "KitwellPlatform/Preferences/UserDefaults.h"

#include <cmath>
#include <sys/ptrace.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include "KitwellPlatform/Files/AtomicFile.h"
#include "KitwellPlatform/Files/FileManager.h"
#include "KitwellPlatform/Files/LockedFile.h"
#include "KitwellPlatform/Files/SearchPaths.h"
#include "KitwellPlatform/Values/PropertyList.h"
#include "Support/Harness.h"

namespace kitwell::platform {
namespace {

using test::ChildProcess;
using test::InTestHome;
using test::LogLines;

constexpr char kSuite[] = "group.test";

std::string container() {
    return *SearchPaths::groupContainer(kSuite);
}

std::string folder() {
    return container() + "/Library/Preferences";
}

std::string file() {
    return folder() + "/" + kSuite + ".plist";
}

void place(std::string_view content) {
    ASSERT_TRUE(FileManager::createFolder(folder()));
    std::ofstream(file()) << content;
}

std::string content() {
    const auto bytes = readFile(file(), kMaxPropertyListBytes);
    return bytes ? std::string(bytes->text()) : std::string();
}

// What a fresh look at the file finds under the key.
std::optional<Value> stored(std::string_view key) {
    return UserDefaults(kSuite).objectForKey(key);
}

bool store(std::string_view key, Value value) {
    UserDefaults defaults(kSuite);
    defaults.setObjectForKey(std::move(value), key);
    return defaults.synchronize();
}

std::pair<ino_t, std::int64_t> identity() {
    struct stat status {};
    ::stat(file().c_str(), &status);
    return {status.st_ino, status.st_ctim.tv_nsec};
}

std::int64_t numberOf(const UserDefaults& defaults, std::string_view key) {
    const auto value = defaults.objectForKey(key);
    return value && value->asSigned() ? *value->asSigned() : 0;
}

constexpr int kRounds = 250;

// Counts up in one key.
CHILD_BODY(countUp) {
    test::hear();
    for (int round = 0; round < kRounds; ++round) {
        UserDefaults defaults(kSuite);
        defaults.setObjectForKey(numberOf(defaults, arguments[0]) + 1, arguments[0]);
        if (!defaults.synchronize())
            return 1;
    }
    return 0;
}

class UserDefaultsTest : public InTestHome {};

TEST_F(UserDefaultsTest, ProcessesWithoutALockLoseNoChangeOfDifferentKeys) {
    std::vector<ChildProcess> children;
    for (const char* key : {"a", "b", "c", "d"})
        children.push_back(ChildProcess::body("countUp", {key}));
    for (ChildProcess& child : children)
        child.closeInput();
    for (ChildProcess& child : children)
        EXPECT_EQ(child.wait(std::chrono::seconds(50)), 0); // a thousand durable writes on a busy disk
    for (const char* key : {"a", "b", "c", "d"})
        EXPECT_EQ(numberOf(UserDefaults(kSuite), key), kRounds);
}

TEST_F(UserDefaultsTest, OnlyChangedKeysAreWrittenAndOthersChangesShowAfterSynchronize) {
    ASSERT_TRUE(store("kept", "old") && store("removed", true));
    UserDefaults first(kSuite);
    EXPECT_EQ(first.stringForKey("kept"), "old");
    ASSERT_TRUE(store("kept", "new") && store("added", 1));
    EXPECT_EQ(first.stringForKey("kept"), "old");
    first.setObjectForKey("mine", "own");
    first.removeObjectForKey("removed");
    EXPECT_FALSE(first.objectForKey("removed"));
    ASSERT_TRUE(first.synchronize());
    EXPECT_EQ(first.stringForKey("kept"), "new");
    EXPECT_EQ(*parsePropertyList(readFile(file(), 1000)->bytes()),
              Value(Dictionary{{"kept", "new"}, {"added", 1}, {"own", "mine"}}));
}

TEST_F(UserDefaultsTest, WhatWasNeverSynchronisedIsWrittenWhenTheObjectGoes) {
    { UserDefaults(kSuite).setObjectForKey(1, "key"); }
    EXPECT_EQ(stored("key"), Value(1));
    struct stat status {};
    ASSERT_EQ(::stat(folder().c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0700U);
}

TEST_F(UserDefaultsTest, ASetOfAnEqualValueWritesNothingAndANegativeZeroIsNotEqual) {
    // Another program's encoding of the same value stays as it is.
    place("<plist><dict><key>k</key><real>0</real></dict></plist>");
    const auto before = identity();
    EXPECT_TRUE(store("k", 0.0));
    EXPECT_EQ(identity(), before);
    EXPECT_TRUE(store("k", -0.0));
    EXPECT_NE(identity(), before);
    EXPECT_TRUE(std::signbit(*UserDefaults(kSuite).doubleForKey("k")));
}

TEST_F(UserDefaultsTest, AFileReplacedWithOneOfTheSameSizeIsReadAgain) {
    ASSERT_TRUE(store("k", "a"));
    UserDefaults defaults(kSuite);
    ASSERT_EQ(defaults.stringForKey("k"), "a");
    for (int round = 0; round < 10; ++round) {
        const std::string text(1, static_cast<char>('b' + round % 2));
        ASSERT_TRUE(store("k", "x") && store("k", text) && defaults.synchronize());
        EXPECT_EQ(defaults.stringForKey("k"), text) << round;
    }
}

TEST_F(UserDefaultsTest, TypedGettersReadAnotherTypeAsAbsent) {
    UserDefaults defaults(kSuite);
    const std::pair<std::string, Value> kinds[] = {{"array", Array{1}}, {"dictionary", Dictionary()},
                                                   {"text", "1"},       {"bool", true},
                                                   {"date", Date{1}},   {"number", 3}};
    for (const auto& [name, value] : kinds) {
        defaults.setObjectForKey(value, "k");
        EXPECT_EQ(defaults.arrayForKey("k").has_value(), name == "array") << name;
        EXPECT_EQ(defaults.dictionaryForKey("k").has_value(), name == "dictionary") << name;
        EXPECT_EQ(defaults.stringForKey("k").has_value(), name == "text") << name;
        EXPECT_EQ(defaults.boolForKey("k").has_value(), name == "bool") << name;
        EXPECT_EQ(defaults.dateForKey("k").has_value(), name == "date") << name;
        EXPECT_EQ(defaults.doubleForKey("k").has_value(), name == "number") << name;
    }
}

TEST_F(UserDefaultsTest, AValueThatNoFileCanHoldDoesNotKeepTheOthersFromBeingWritten) {
    const LogLines log;
    UserDefaults defaults(kSuite);
    defaults.setObjectForKey("\xFF", "bad");
    defaults.setObjectForKey(1, "\xFF");
    defaults.setObjectForKey(1, "good");
    EXPECT_TRUE(defaults.synchronize());
    EXPECT_EQ(stored("good"), Value(1));
    UserDefaults("../elsewhere").setObjectForKey(1, "k");
    EXPECT_FALSE(UserDefaults("../elsewhere").objectForKey("k"));
    EXPECT_EQ(log.lines.size(), 4U);
}

TEST_F(UserDefaultsTest, ADamagedFileIsSetAsideOnceAndTheServiceGoesOn) {
    for (const char* damaged : {"not a property list", "", "bplist00", "<plist><array/></plist>"}) {
        const LogLines log;
        place(damaged);
        UserDefaults reader(kSuite);
        EXPECT_FALSE(reader.objectForKey("k")) << damaged;
        EXPECT_TRUE(store("k", 1)) << damaged;
        EXPECT_EQ(stored("k"), Value(1)) << damaged;
        EXPECT_EQ(readFile(file() + ".damaged", 100)->text(), damaged);
        EXPECT_EQ(log.lines.size(), 1U) << damaged;
    }
}

CHILD_BODY(storeAsOrdinaryUser) {
    if (::geteuid() == 0 && (::setgid(65534) != 0 || ::setuid(65534) != 0))
        return 2;
    return store("k", "new") ? 0 : 1;
}

// An unreadable file may well be sound: to take it for an empty one would lose all it holds.
TEST_F(UserDefaultsTest, AFileWithoutTheRightToReadIsNeverOverwritten) {
    ASSERT_TRUE(store("k", "old"));
    for (const auto& entry : std::filesystem::recursive_directory_iterator(home.path()))
        ASSERT_TRUE(::geteuid() != 0 || ::chown(entry.path().c_str(), 65534, 65534) == 0);
    ASSERT_TRUE(::geteuid() != 0 || ::chown(home.path().c_str(), 65534, 65534) == 0);
    const std::string before = content();
    ASSERT_EQ(::chmod(file().c_str(), 0), 0);
    EXPECT_EQ(ChildProcess::body("storeAsOrdinaryUser").wait(), 1);
    ASSERT_EQ(::chmod(file().c_str(), 0600), 0);
    EXPECT_EQ(content(), before);
    EXPECT_EQ(ChildProcess::body("storeAsOrdinaryUser").wait(), 0);
}

// Answers how many there were.
std::ptrdiff_t makeTemporaryFilesOld() {
    std::ptrdiff_t count = 0;
    for (const auto& entry : std::filesystem::directory_iterator(folder())) {
        if (entry.path().filename().string().starts_with(".temporary")) {
            std::filesystem::last_write_time(entry, std::filesystem::file_time_type::clock::now() -
                                                        std::chrono::hours(2));
            ++count;
        }
    }
    return count;
}

CHILD_BODY(storeOnAFullDisk) {
    ::signal(SIGXFSZ, SIG_IGN);
    const rlimit full{1000, 1000};
    ::setrlimit(RLIMIT_FSIZE, &full);
    UserDefaults defaults(kSuite);
    defaults.setObjectForKey(std::string(2000, 'x'), "large");
    const bool stored = defaults.synchronize();
    defaults.setObjectForKey("small", "large");
    return stored ? 1 : defaults.synchronize() ? 0 : 2;
}

TEST_F(UserDefaultsTest, AFullDiskLeavesTheOldContentWholeAndTheChangesForALaterCall) {
    ASSERT_TRUE(store("kept", 1));
    EXPECT_EQ(ChildProcess::body("storeOnAFullDisk").wait(), 0);
    EXPECT_EQ(stored("kept"), Value(1));
    EXPECT_EQ(stored("large"), Value("small"));
    EXPECT_EQ(makeTemporaryFilesOld(), 0) << "a temporary file was left";
}

// Stops itself before the write and after it, so that the parent can lead it from system call to system call.
CHILD_BODY(storeUnderTrace) {
    UserDefaults defaults(kSuite);
    defaults.setObjectForKey("new", "k");
    if (::ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) != 0)
        return 2;
    ::raise(SIGSTOP);
    const bool stored = defaults.synchronize();
    ::raise(SIGSTOP);
    return stored ? 0 : 1;
}

// Kills the writer at the n-th entry to or return from a system call; false when the write ended before.
bool killWriterAtStop(int stop) {
    constexpr int kSystemCallStop = SIGTRAP | 0x80;
    const ChildProcess child = ChildProcess::body("storeUnderTrace");
    int status = 0;
    ::waitpid(child.pid(), &status, WUNTRACED);
    ::ptrace(PTRACE_SETOPTIONS, child.pid(), nullptr, PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL);
    for (int passed = 0; passed < stop; ++passed) {
        if (::ptrace(PTRACE_SYSCALL, child.pid(), nullptr, nullptr) != 0)
            return false;
        ::waitpid(child.pid(), &status, 0);
        if (!WIFSTOPPED(status) || WSTOPSIG(status) != kSystemCallStop)
            return false;
    }
    return true;
}

TEST_F(UserDefaultsTest, AWriterKilledAtAnySystemCallLeavesTheOldFileOrTheNewOneAndNoLock) {
    ASSERT_TRUE(store("k", "new"));
    const std::string changed = content();
    ASSERT_TRUE(store("k", "old"));
    const std::string old = content();
    int stops = 0;
    int replaced = 0;
    for (bool killed = true; killed; ++stops) {
        ASSERT_TRUE(store("k", "old")); // takes away what the last writer left
        killed = killWriterAtStop(stops);
        const std::string left = content();
        ASSERT_TRUE(left == old || left == changed) << "after " << stops << " stops";
        replaced += left == changed ? 1 : 0;
        ASSERT_TRUE(LockedFile::lockFile(file() + ".lock", LockedFile::Wait::Never)) << stops;
        ASSERT_LE(makeTemporaryFilesOld(), 1) << stops;
    }
    EXPECT_GT(stops - replaced, 20);
    EXPECT_GT(replaced, 1);
}

} // namespace
} // namespace kitwell::platform
