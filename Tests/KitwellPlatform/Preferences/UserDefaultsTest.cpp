#include "KitwellPlatform/Preferences/UserDefaults.h"

#include "KitwellPlatform/Values/PropertyList.h"
#include "Support/Harness.h"

namespace kitwell::platform {
namespace {

using test::ChildProcess;
using test::InTestHome;
using test::LogLines;

constexpr char kSuite[] = "group.test";

std::string folder() {
    return *SearchPaths::groupContainer(kSuite) + "/Library/Preferences";
}

std::string file() {
    return folder() + "/" + kSuite + ".plist";
}

void place(std::string_view content) {
    ASSERT_TRUE(FileManager::createFolder(folder()));
    std::ofstream(file()) << content;
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

constexpr int kRounds = 250;

// Counts up in one key, and finds there what it wrote last.
CHILD_BODY(countUp) {
    for (int round = 1; round <= kRounds; ++round)
        if ((round > 1 && stored(arguments[0]) != Value(round - 1)) || !store(arguments[0], round))
            return 1;
    return 0;
}

class UserDefaultsTest : public InTestHome {};

TEST_F(UserDefaultsTest, ProcessesWithoutALockLoseNoChangeOfDifferentKeys) {
    ChildProcess children[] = {ChildProcess::body("countUp", {"a"}), ChildProcess::body("countUp", {"b"})};
    for (ChildProcess& child : children)
        EXPECT_EQ(child.wait(std::chrono::seconds(50)), 0); // hundreds of durable writes on a busy disk
    for (const char* key : {"a", "b"})
        EXPECT_EQ(stored(key), Value(kRounds));
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
    for (const std::string text : {"b", "c", "b", "c", "b", "c"}) {
        ASSERT_TRUE(store("k", "x") && store("k", text) && defaults.synchronize());
        EXPECT_EQ(defaults.stringForKey("k"), text);
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
    const std::string tooLarge(kMaxPropertyListBytes + 1, '\0');
    for (const std::string& damaged :
         {std::string("not a property list"), std::string(), std::string("bplist00"),
          std::string("<plist><array/></plist>"), tooLarge}) {
        const LogLines log;
        place(damaged);
        UserDefaults reader(kSuite);
        EXPECT_FALSE(reader.objectForKey("k")) << damaged.substr(0, 20);
        EXPECT_TRUE(store("k", 1)) << damaged.substr(0, 20);
        EXPECT_EQ(stored("k"), Value(1)) << damaged.substr(0, 20);
        EXPECT_TRUE(readFile(file() + ".damaged", damaged.size())->text() == damaged);
        EXPECT_EQ(log.lines.size(), 1U) << damaged.substr(0, 20);
    }
}

CHILD_BODY(storeAsOrdinaryUser) {
    if (::geteuid() == 0 && (::setgid(65534) != 0 || ::setuid(65534) != 0))
        return 2;
    UserDefaults defaults(kSuite);
    defaults.setObjectForKey("new", "k");
    test::say(defaults.synchronize() ? "written" : "not written");
    test::say(defaults.stringForKey("other").value_or("nothing"));
    test::hear();
    return defaults.synchronize() ? 0 : 1;
}

// An unreadable file may well be sound: to take it for an empty one would lose all it holds. One that can be
// read is read, even where its lock cannot be had.
TEST_F(UserDefaultsTest, WithoutTheRightToReadOrLockNothingIsOverwrittenAndTheChangesStayForALaterCall) {
    for (const auto& [path, seen] : {std::pair{file(), "nothing"}, {file() + ".lock", "kept"}}) {
        ASSERT_TRUE(store("k", "old") && store("other", "kept"));
        for (const auto& entry : std::filesystem::recursive_directory_iterator(home.path()))
            ASSERT_TRUE(::geteuid() != 0 || ::chown(entry.path().c_str(), 65534, 65534) == 0);
        ASSERT_TRUE(::geteuid() != 0 || ::chown(home.path().c_str(), 65534, 65534) == 0);
        ASSERT_EQ(::chmod(path.c_str(), 0), 0);
        ChildProcess child = ChildProcess::body("storeAsOrdinaryUser");
        EXPECT_EQ(child.readLine(), "not written") << path;
        EXPECT_EQ(child.readLine(), seen) << path;
        ASSERT_EQ(::chmod(path.c_str(), 0600), 0);
        EXPECT_EQ(stored("k"), Value("old")) << path;
        child.writeLine("again");
        EXPECT_EQ(child.wait(), 0) << path;
        EXPECT_EQ(stored("k"), Value("new")) << path;
    }
}

TEST_F(UserDefaultsTest, WhatWasReadStaysWhenTheFileCannotBeReadAnyMore) {
    ASSERT_TRUE(store("k", "old"));
    UserDefaults defaults(kSuite);
    ASSERT_EQ(defaults.stringForKey("k"), "old");
    std::filesystem::remove(file());
    std::filesystem::create_directory(file());
    EXPECT_FALSE(defaults.synchronize());
    EXPECT_EQ(defaults.stringForKey("k"), "old");
}

} // namespace
} // namespace kitwell::platform
