#include "KitwellCommon/SharedState/AppGroup.h"
#include "KitwellPlatform/Files/LockedFile.h"
#include "KitwellPlatform/Files/SearchPaths.h"
#include "Support/Harness.h"

using namespace kitwell;
using namespace kitwell::test;

namespace {

bool isContainerLocked() {
    const auto container = platform::SearchPaths::groupContainer(kAppGroupIdentifier);
    return !platform::LockedFile::lockFolder(*container, platform::LockedFile::Wait::Never);
}

std::int64_t counterUnder(platform::UserDefaults& preferences, const std::string& key) {
    const auto held = preferences.objectForKey(key);
    return held && held->asSigned() ? *held->asSigned() : 0;
}

} // namespace

CHILD_BODY(incrementShared) {
    for (int round = 0; round < 250; ++round) {
        accessAppGroupPlist([&](platform::UserDefaults& preferences) {
            preferences.setObjectForKey(counterUnder(preferences, "Shared") + 1, "Shared");
            preferences.setObjectForKey(counterUnder(preferences, arguments[0]) + 1, arguments[0]);
            preferences.synchronize();
        });
    }
    return 0;
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
    for (const char* key : {"A", "B", "C", "D"})
        children.push_back(ChildProcess::body("incrementShared", {key}));
    for (ChildProcess& child : children)
        ASSERT_EQ(child.wait(), 0);
    accessAppGroupPlist([](platform::UserDefaults& preferences) {
        EXPECT_EQ(counterUnder(preferences, "Shared"), 1000);
        for (const char* key : {"A", "B", "C", "D"})
            EXPECT_EQ(counterUnder(preferences, key), 250) << key;
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
    std::filesystem::remove_all(home.path("data"));
    ASSERT_TRUE(std::filesystem::create_directories(home.path("elsewhere")));
    std::filesystem::create_symlink("/dev/null", home.path("data")); // a path below it can never be made
    bool ran = false;
    accessAppGroupPlist([&](platform::UserDefaults& preferences) {
        ran = true;
        EXPECT_FALSE(preferences.objectForKey("Scheduler"));
    });
    EXPECT_TRUE(ran);
}

#ifndef NDEBUG
TEST(AppGroupDeathTest, ADebugBuildSaysThatACallbackCameBackInsteadOfWaitingForever) {
    const TestHome home;
    EXPECT_DEATH(accessAppGroupPlist([](platform::UserDefaults&) { accessAppGroupPlist(nullptr); }),
                 "not re-entrant");
}
#endif
