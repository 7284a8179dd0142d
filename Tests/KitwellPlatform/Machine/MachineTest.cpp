#include "KitwellPlatform/Machine/Machine.h"

#include "KitwellPlatform/Machine/MachineForTests.h"
#include "KitwellPlatform/Preferences/UserDefaults.h"
#include "Support/Harness.h"

using namespace kitwell::platform;
using namespace kitwell::test;

namespace {

// A machine whose files are those that the test writes.
class MachineTest : public InTestHome {
protected:
    MachineTest() { setSystemFolder(home.path()); }

    void write(const std::string& file, const std::string& content) {
        std::filesystem::create_directories(std::filesystem::path(home.path(file)).parent_path());
        std::ofstream(home.path(file)) << content;
    }
};

constexpr char kIdentifier[] = "A1080056-D168-4810-B081-0E4E996F8740"; // by another HMAC-SHA256

} // namespace

TEST_F(MachineTest, DerivesItsIdentifierFromTheSystemsAndNeverMakesOneUp) {
    const std::string whole = "0123456789abcdef0123456789abcdef";
    const std::pair<std::string, std::string> rows[] = {
        {whole + "\n", kIdentifier},      {whole, kIdentifier}, {"uninitialized\n", ""},
        {whole.substr(2) + "\n", ""},     {whole + "0\n", ""},  {"-1" + whole.substr(2) + "\n", ""},
        {std::string(32, '0') + "\n", ""}};
    EXPECT_EQ(Machine::platformUUID(), "") << "made up without a file";
    for (const auto& [content, identifier] : rows) {
        write("etc/machine-id", content);
        EXPECT_EQ(Machine::platformUUID(), identifier) << content;
    }
}

TEST_F(MachineTest, KeepsThePreferencesOfThisHostApartFromThoseOfAny) {
    const std::string ofHost = home.path("data/Kitwell/Library/Preferences/ByHost/");
    const auto set = [](UserDefaults preferences) {
        preferences.setObjectForKey("here", "Where");
        return preferences.synchronize();
    };
    EXPECT_FALSE(set(UserDefaults::forApplicationOnThisHost("a.b"))) << "a host without identifier";
    write("etc/machine-id", "0123456789abcdef0123456789abcdef\n");
    ASSERT_TRUE(set(UserDefaults::forApplicationOnThisHost("a.b")));
    EXPECT_TRUE(FileManager::fileExists(ofHost + "a.b." + kIdentifier + ".plist"));
    EXPECT_FALSE(UserDefaults::forApplication("a.b").objectForKey("Where"));
}

TEST_F(MachineTest, ReadsTheVersionOfTheSystemHoweverItIsWritten) {
    const std::pair<const char*, const char*> rows[] = {{"ID=debian\nVERSION_ID=\"12\"\n", "12.0.0"},
                                                        {"VERSION_ID=22.04", "22.4.0"},
                                                        {"VERSION_ID='15.6.1.9'\n", "15.6.1"},
                                                        {"OLD_VERSION_ID=3\nID=rolling\n", "0.0.0"},
                                                        {"VERSION_ID=99999999999999999999.1\n", "0.0.0"}};
    write("usr/lib/os-release", "VERSION_ID=1.2.3\n");
    EXPECT_EQ(Machine::osVersion().patchVersion, 3);
    for (const auto& [content, expected] : rows) {
        write("etc/os-release", content);
        const auto [major, minor, patch] = Machine::osVersion();
        EXPECT_EQ(std::to_string(major) + "." + std::to_string(minor) + "." + std::to_string(patch), expected)
            << content;
    }
}

TEST_F(MachineTest, NamesItsModelInCleanBoundedText) {
    EXPECT_EQ(Machine::model(), "");
    write("sys/firmware/devicetree/base/model", std::string("Board 4\0", 8));
    EXPECT_EQ(Machine::model(), "Board 4");
    const std::pair<std::string, std::string> rows[] = {
        {" Book\x1b[2J \n", "Book[2J"},
        {"\xFF\xFE\n", "Board 4"},
        {" \n", "Board 4"},
        {std::string(1022, 'a') + "\u00e9\n", std::string(1022, 'a')}};
    for (const auto& [content, expected] : rows) {
        write("sys/class/dmi/id/product_name", content);
        EXPECT_EQ(Machine::model(), expected);
    }
}

TEST_F(MachineTest, CountsOnlyBatteriesThatFeedTheMachine) {
    write("sys/class/power_supply/AC/type", "Mains\n");
    write("sys/class/power_supply/mouse/type", "Battery\n");
    write("sys/class/power_supply/mouse/scope", "Device\n");
    EXPECT_FALSE(Machine::hasInternalBattery());
    write("sys/class/power_supply/BAT0/type", "Battery\n");
    EXPECT_TRUE(Machine::hasInternalBattery());
}

TEST_F(MachineTest, ReadsTheLocaleInTheOrderOfTheCLibrary) {
    const struct {
        const char *all, *messages, *lang, *expected;
    } rows[] = {{"", "", "de_DE.UTF-8", "de_DE"},
                {"", "fr_CA@euro", "de_DE", "fr_CA"},
                {"C.UTF-8", "fr_FR", "de_DE", ""},
                {"", "", "../../etc\n\"", ""}};
    for (const auto& row : rows) {
        ::setenv("LC_ALL", row.all, 1);
        ::setenv("LC_MESSAGES", row.messages, 1);
        ::setenv("LANG", row.lang, 1);
        EXPECT_EQ(Machine::localeIdentifier(), row.expected) << row.lang;
    }
}
