#include <sys/stat.h>

#include "KitwellPlatform/Files/AtomicFile.h"
#include "KitwellPlatform/Files/SearchPaths.h"
#include "Support/Harness.h"

using namespace kitwell::platform;
using namespace kitwell::test;

class SearchPathsTest : public InTestHome {};

TEST_F(SearchPathsTest, PrivateFoldersAreMadePrivateWhateverTheUmask) {
    const mode_t before = ::umask(0);
    const auto runtime = SearchPaths::runtimeFolder();
    const auto temporary = SearchPaths::temporaryFolder();
    const auto container = SearchPaths::groupContainer("group.sample");
    ::unsetenv("XDG_RUNTIME_DIR");
    const auto cached = SearchPaths::temporaryFolder();
    ::umask(before);
    const std::pair<Result<std::string>, std::string> rows[] = {
        {runtime, "run/kitwell"},
        {temporary, "run/kitwell/tmp"},
        {container, "data/Kitwell/Group Containers/group.sample"},
        {cached, "cache/kitwell/tmp"},
    };
    for (const auto& [folder, expected] : rows) {
        EXPECT_EQ(folder.value(), home.path(expected));
        EXPECT_EQ(std::filesystem::status(*folder).permissions(), std::filesystem::perms::owner_all)
            << *folder;
    }
}

TEST_F(SearchPathsTest, ARuntimeFolderThatSomebodyMayHavePlantedIsRefused) {
    const std::string place = home.path("run/kitwell"), good = home.path("good");
    const std::pair<const char*, std::function<bool()>> plants[] = {
        {"a symlink to a folder that would do", [&] { return ::symlink(good.c_str(), place.c_str()) == 0; }},
        {"a folder that others may read", [&] { return ::mkdir(place.c_str(), 0755) == 0; }},
        {"another user's folder",
         [&] {
             return ::rename(good.c_str(), place.c_str()) == 0 && ::chown(place.c_str(), 64123, 64123) == 0;
         }},
    };
    ASSERT_EQ(::mkdir(good.c_str(), 0700), 0);
    for (const auto& [plant, make] : plants) {
        std::filesystem::remove_all(place);
        if (!make() && ::geteuid() != 0)
            continue; // only root can give a folder away
        EXPECT_FALSE(SearchPaths::runtimeFolder()) << plant;
        EXPECT_FALSE(SearchPaths::temporaryFolder()) << plant;
    }
}

CHILD_BODY(printsFallbackRuntimeFolder) {
    if (::setuid(static_cast<uid_t>(std::stoul(arguments[0]))) != 0)
        return 1;
    ::unsetenv("XDG_RUNTIME_DIR");
    const auto folder = SearchPaths::runtimeFolder();
    say(folder ? *folder : "refused");
    return 0;
}

TEST_F(SearchPathsTest, ASymlinkPlantedInTheSharedTemporaryFolderCatchesNobody) {
    if (::geteuid() != 0)
        GTEST_SKIP() << "only root can act for another user";
    const uid_t user = 64123; // nobody's, so that the real folder of no user is touched
    const std::string place = "/tmp/kitwell-" + std::to_string(user);
    ASSERT_EQ(::chmod(home.path().c_str(), 0755), 0);
    ASSERT_EQ(::chown(home.path("data").c_str(), user, user), 0);
    ASSERT_EQ(::symlink(home.path("data").c_str(), place.c_str()), 0);
    auto deceived = ChildProcess::body("printsFallbackRuntimeFolder", {std::to_string(user)});
    EXPECT_EQ(deceived.readLine(), "refused");
    ASSERT_EQ(::unlink(place.c_str()), 0);
}

TEST_F(SearchPathsTest, AnIdentifierCannotLeadOutOfTheContainersAndARelativeVariableIsIgnored) {
    for (const std::string_view identifier : {"", "..", "a/b"})
        EXPECT_FALSE(SearchPaths::groupContainer(identifier)) << identifier;
    ::setenv("XDG_DATA_HOME", "relative", 1);
    EXPECT_EQ(SearchPaths::userLibrary(), home.path(".local/share/Kitwell/Library"));
}
