#include "KitwellPlatform/Files/Bookmark.h"
#include "KitwellPlatform/Files/AtomicFile.h"
#include "KitwellPlatform/Files/FileManager.h"
#include "Support/Harness.h"

using namespace kitwell::platform;
using namespace kitwell::test;

namespace {

std::string resolved(const Data& bookmark) {
    const auto url = resolveBookmark(bookmark);
    return url ? url->path() : "nothing";
}

} // namespace

TEST(Bookmark, AFileThatMovedIsFollowedAndANewOneInItsPlaceIsNotTakenForIt) {
    const TestHome home;
    ASSERT_TRUE(replaceFile(home.path("old"), {}));
    const auto bookmark = bookmarkFor(FileUrl(home.path("old")), BookmarkScope::Security);
    ASSERT_TRUE(bookmark);
    ASSERT_EQ(::rename(home.path("old").c_str(), home.path("data/new").c_str()), 0);
    if (resolved(*bookmark) == "nothing")
        GTEST_SKIP() << "the system does not tell this user where a file went";
    ASSERT_TRUE(replaceFile(home.path("old"), {}));
    EXPECT_EQ(resolved(*bookmark), home.path("data/new"));
    ASSERT_TRUE(FileManager::removeFile(home.path("data/new")));
    EXPECT_EQ(resolved(*bookmark), home.path("old"));
    ASSERT_TRUE(FileManager::removeFile(home.path("old")));
    EXPECT_EQ(resolved(*bookmark), "nothing");
    EXPECT_FALSE(bookmarkFor(FileUrl(home.path("old")), BookmarkScope::Plain));
}

TEST(Bookmark, DamagedDataNeverLeadsAnywhereElseAndNeverPastItsEnd) {
    const TestHome home;
    const auto bookmark = bookmarkFor(FileUrl(home.path()), BookmarkScope::Plain);
    ASSERT_TRUE(bookmark);
    const std::string whole(bookmark->text());
    for (std::size_t size = 0; size < whole.size(); ++size)
        EXPECT_EQ(resolved(Data(whole.substr(0, size))), "nothing") << size;
    for (std::size_t at = 0; at < whole.size(); ++at) {
        std::string damaged = whole;
        damaged[at] = static_cast<char>(~damaged[at]);
        const std::string answer = resolved(Data(damaged));
        EXPECT_TRUE(answer == "nothing" || answer == home.path()) << at << ": " << answer;
    }
}
