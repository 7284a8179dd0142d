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

} // namespace

CHILD_BODY(incrementShared) {
    for (int round = 0; round < 250; ++round) {
        accessAppGroupPlist([&](platform::UserDefaults& preferences) {
            const auto held = preferences.objectForKey("Shared");
            preferences.setObjectForKey(held ? *held->asSigned() + 1 : 1, "Shared");
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

TEST_F(AppGroup, NoChangeIsLostBetweenProcessesOnTheSameKey) {
    std::vector<ChildProcess> children;
    for (int child = 0; child < 4; ++child)
        children.push_back(ChildProcess::body("incrementShared"));
    for (ChildProcess& child : children)
        ASSERT_EQ(child.wait(), 0);
    accessAppGroupPlist([](platform::UserDefaults& preferences) {
        EXPECT_EQ(preferences.objectForKey("Shared"), platform::Value(1000));
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
