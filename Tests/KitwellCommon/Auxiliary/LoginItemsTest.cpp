#include <filesystem>
#include <fstream>
#include <map>

#include "KitwellCommon/Auxiliary/CommonAuxiliary.h"
#include "KitwellPlatform/Applications/LoginItemList.h"
#include "Support/TestBundle.h"
#include "Support/TestHome.h"

using namespace kitwell;
using namespace kitwell::test;
using platform::FileUrl;
using platform::LoginItemList;

namespace {

using Texts = std::vector<std::string>;

const std::map<char, std::string> kPaths = {{'o', "old/Tool.app"},  {'n', "new/Tool.app"},
                                            {'/', "new/Tool.app/"}, {'l', "old/tool.app"},
                                            {'x', "old/Other.app"}, {'m', "missing/Tool.app"}};

// With the bundles of these letters, but for the missing one.
class LoginItemsTest : public InTestHome {
protected:
    LoginItemsTest() {
        for (const char* folder : {"old", "new"})
            makeTestBundle(home.path(folder), "Tool", "a.b");
        for (const char* name : {"tool", "Other"})
            makeTestBundle(home.path("old"), name, "a.b");
    }

    FileUrl url(char letter) const { return FileUrl(home.path(kPaths.at(letter))); }
    void makeList(const std::string& letters) const {
        std::filesystem::remove_all(home.path("config/autostart"));
        for (const char letter : letters)
            ASSERT_TRUE(LoginItemList::append(url(letter)));
    }
    std::string list() const {
        std::string letters;
        const auto items = LoginItemList::items();
        for (const auto& item : *items)
            for (const auto& [letter, path] : kPaths)
                if (item.url.text() == home.path(path))
                    letters += letter;
        return letters;
    }

    CommonAuxiliary& auxiliary = CommonAuxiliary::sharedInstance();
};

} // namespace

TEST_F(LoginItemsTest, AddingAndRemovingGoByTheNameAndAskingGoesByTheLocation) {
    const struct {
        std::string before;
        char given;
        bool isAdded;
        std::string afterAdding;
        bool isFound; // before
        std::string afterRemoving;
    } rows[] = {
        {"", 'n', true, "n", false, ""},        {"xn", 'n', true, "xn", true, "x"},
        {"olx", 'n', true, "lxn", false, "lx"}, // an older copy gives way; names differ by case
        {"noxo", 'n', true, "nx", true, "x"},   // all of them, also behind the one that is there
        {"nx", '/', true, "x/", false, "x"},    // a slash makes another location of the same name
        {"ox", 'm', false, "x", false, "x"},    // one that cannot be listed
    };
    for (const auto& row : rows) {
        makeList(row.before);
        EXPECT_EQ(auxiliary.findAppInLoginItems(url(row.given)), row.isFound) << row.before;
        EXPECT_EQ(auxiliary.addAppToLoginItems(url(row.given)), row.isAdded) << row.before;
        EXPECT_EQ(list(), row.afterAdding) << row.before;
        makeList(row.before);
        EXPECT_TRUE(auxiliary.removeAppFromLoginItems(url(row.given))) << row.before;
        EXPECT_EQ(list(), row.afterRemoving) << row.before;
    }
}

TEST_F(LoginItemsTest, AListThatIsNotAvailableIsFalseForAll) {
    std::ofstream(home.path("config/autostart")) << "no folder";
    EXPECT_FALSE(auxiliary.addAppToLoginItems(url('n')));
    EXPECT_FALSE(auxiliary.removeAppFromLoginItems(url('n')));
    EXPECT_FALSE(auxiliary.findAppInLoginItems(url('n')));
}
