#include <csignal>
#include <sys/resource.h>

#include "KitwellCommon/SharedState/AppGroup.h"
#include "KitwellPlatform/Files/LockedFile.h"
#include "KitwellPlatform/Files/SearchPaths.h"
#include "Support/Harness.h"
#include "Support/KilledAtSyscall.h"

using namespace kitwell;
using namespace kitwell::test;

namespace {

bool isContainerLocked() {
    const auto container = platform::SearchPaths::groupContainer(kAppGroupIdentifier);
    return !platform::LockedFile::lockFolder(*container, platform::LockedFile::Wait::Never);
}

} // namespace

CHILD_BODY(incrementShared) {
    for (int round = 0; round < 250; ++round) {
        accessAppGroupPlist([&](platform::UserDefaults& preferences) {
            for (const std::string& key : {std::string("Shared"), arguments[0]}) {
                const auto held = preferences.objectForKey(key);
                preferences.setObjectForKey(held ? *held->asSigned() + 1 : 1, key);
            }
            preferences.synchronize();
        });
    }
    return 0;
}

CHILD_BODY(writeMuchOnAFullDisk) {
    const rlimit small{4096, 4096};
    if (::setrlimit(RLIMIT_FSIZE, &small) != 0 || ::signal(SIGXFSZ, SIG_IGN) == SIG_ERR)
        return 2;
    bool isWritten = true;
    accessAppGroupPlist([&](platform::UserDefaults& preferences) {
        preferences.setObjectForKey(std::string(10000, 'x'), "Much");
        isWritten = preferences.synchronize();
    });
    return isWritten ? 1 : 0;
}

CHILD_BODY(holdTheLock) {
    accessAppGroupPlist([](platform::UserDefaults&) {
        say("held");
        hear();
    });
    return 0;
}

class AppGroup : public InTestHome {};

TEST_F(AppGroup, NoChangeIsLostBetweenProcessesOnTheSameKeyAndOnKeysOfTheirOwn) {
    std::vector<ChildProcess> children;
    for (int child = 0; child < 4; ++child)
        children.push_back(ChildProcess::body("incrementShared", {std::to_string(child)}));
    for (ChildProcess& child : children)
        ASSERT_EQ(child.wait(), 0);
    accessAppGroupPlist([](platform::UserDefaults& preferences) {
        EXPECT_EQ(preferences.objectForKey("Shared"), platform::Value(1000));
        for (const char* own : {"0", "1", "2", "3"})
            EXPECT_EQ(preferences.objectForKey(own), platform::Value(250)) << own;
    });
}

TEST_F(AppGroup, AWriterThatIsKilledAnywhereLeavesTheOldOrTheNewContent) {
    const auto write = [](const char* value) {
        accessAppGroupPlist([value](platform::UserDefaults& preferences) {
            preferences.setObjectForKey(value, "Key");
            preferences.synchronize();
        });
    };
    bool wasNewSeen = false;
    const std::size_t calls = killAtEachSyscall(
        [&] {
            std::filesystem::remove_all(home.path("data"));
            write("old");
        },
        [&] { write("new"); },
        [&] {
            accessAppGroupPlist([&](platform::UserDefaults& preferences) {
                const auto text = preferences.stringForKey("Key");
                wasNewSeen = text == "new";
                EXPECT_TRUE(wasNewSeen || text == "old");
            });
        });
    EXPECT_GT(calls, 15U);
    EXPECT_TRUE(wasNewSeen) << "the writer that was not killed did not write";
}

TEST_F(AppGroup, AFullDiskLeavesTheOldContent) {
    accessAppGroupPlist([](platform::UserDefaults& preferences) {
        preferences.setObjectForKey("old", "Key");
        ASSERT_TRUE(preferences.synchronize());
    });
    EXPECT_EQ(ChildProcess::body("writeMuchOnAFullDisk").wait(), 0);
    accessAppGroupPlist([](platform::UserDefaults& preferences) {
        EXPECT_EQ(preferences.stringForKey("Key"), "old");
        EXPECT_FALSE(preferences.objectForKey("Much"));
    });
}

TEST_F(AppGroup, TheLockIsHeldDuringTheCallbackOnlyAndEndsWithTheProcess) {
    accessAppGroupPlist(nullptr);
    EXPECT_FALSE(isContainerLocked());
    accessAppGroupPlist([](platform::UserDefaults&) { EXPECT_TRUE(isContainerLocked()); });
    EXPECT_FALSE(isContainerLocked());

    ChildProcess holder = ChildProcess::started("holdTheLock");
    EXPECT_TRUE(isContainerLocked());
    holder.kill();
    EXPECT_FALSE(isContainerLocked());
}

TEST_F(AppGroup, TheCallbackStillRunsWhereThereCanBeNoContainer) {
    std::filesystem::remove(home.path("data"));
    std::filesystem::create_symlink("/dev/null", home.path("data")); // a path below it can never be made
    bool ran = false;
    accessAppGroupPlist([&](platform::UserDefaults&) { ran = true; });
    EXPECT_TRUE(ran);
}

#ifndef NDEBUG
TEST(AppGroupDeathTest, ADebugBuildSaysThatACallbackCameBackInsteadOfWaitingForever) {
    const TestHome home;
    EXPECT_DEATH(accessAppGroupPlist([](platform::UserDefaults&) { accessAppGroupPlist(nullptr); }),
                 "not re-entrant");
}
#endif
