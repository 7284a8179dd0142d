#include <regex>
#include <sys/mount.h>
#include <sys/stat.h>

#include "KitwellCommon/Admin/MachineLibrary.h"
#include "KitwellPlatform/Files/FileManager.h"
#include "KitwellPlatform/Machine/Users.h"
#include "Support/KilledAtSyscall.h"
#include "Support/PrivateMachine.h"

using namespace kitwell;
using namespace kitwell::test;
using platform::Array;
using platform::Dictionary;
using platform::FileManager;

namespace {

constexpr int kNotPossible = 77;

std::int64_t openOnly() {
    std::int64_t errorCode = 7;
    const auto store = KWSAdminStorage::create(1, errorCode);
    EXPECT_EQ(store == nullptr, errorCode != 0);
    return errorCode;
}

std::unique_ptr<KWSAdminStorage> openOrMake() {
    std::int64_t errorCode = 7;
    auto store = KWSAdminStorage::create(0, errorCode);
    EXPECT_EQ(errorCode, 0);
    return store;
}

void expectAdministrators(const std::string& path, std::uint32_t mode) {
    const auto attributes = FileManager::attributes(path);
    ASSERT_TRUE(attributes) << path;
    EXPECT_EQ(attributes->mode, mode) << path;
    EXPECT_EQ(attributes->ownerId, 0U) << path;
    EXPECT_EQ(platform::administratorsGroup(), attributes->groupId) << path;
}

} // namespace

class AdminStorage : public InMachineLibrary {
protected:
    // Giving files to the administrators is the superuser's.
    void SetUp() override {
        if (::geteuid() != 0 || !platform::administratorsGroup())
            GTEST_SKIP() << "takes root, and a group of administrators";
    }
};

TEST_F(AdminStorage, AMissingFileIsMadeForTheAdministratorsOnlyWhenAsked) {
    EXPECT_EQ(openOnly(), KWS_ERR_READ_MISSING);
    EXPECT_FALSE(FileManager::fileExists(home.path("Library")));
    const mode_t before = ::umask(077);
    const auto store = openOrMake();
    ::umask(before);
    ASSERT_TRUE(store);
    EXPECT_TRUE(store->currentAsRawData().empty());
    EXPECT_EQ(settings(), "{}\n");
    expectAdministrators(KWSPathHelper::filePath(), 0664);
    for (const std::string& folder :
         {home.path("Library"), KWSPathHelper::appSupportDirPath(), KWSPathHelper::dirPath()})
        expectAdministrators(folder, 0775);
    EXPECT_EQ(KWSPathHelper::filePath(),
              home.path("Library/Application Support/com.corvalen.kitwell/settings.conf"));
}

TEST_F(AdminStorage, WhatCannotBeReadIsLeftAloneOrSetAside) {
    const std::pair<std::string, std::int64_t> rows[] = {
        {"[1, 2]", KWS_ERR_COMMON},
        {"null", KWS_ERR_COMMON},
        {"", KWS_ERR_JSON_EMPTY},
        {"{} {}", KWS_ERR_JSON},
        {R"({"a": "\ud800"})", KWS_ERR_JSON_ENCODING},
        {"{\"a\": 1e999}", KWS_ERR_JSON_NUMBER},
        {std::string(100'000, '['), KWS_ERR_JSON_DEPTH},
        {std::string(50'000'000, ' '), KWS_ERR_READ_TOO_LARGE},
    };
    for (const auto& [text, code] : rows) {
        SCOPED_TRACE(text.substr(0, 20));
        writeSettings(text);
        LogLines log;
        EXPECT_EQ(openOnly(), code);
        EXPECT_EQ(settings(), text);
        EXPECT_EQ(FileManager::namesInFolder(KWSPathHelper::dirPath()).size(), 1U);
        ASSERT_TRUE(openOrMake());
        EXPECT_EQ(settings(), "{}\n");
        const auto names = FileManager::namesInFolder(KWSPathHelper::dirPath());
        ASSERT_EQ(names.size(), 2U);
        EXPECT_TRUE(std::regex_match(names[1], std::regex("settings\\.conf\\.backup\\.[0-9]{10}")))
            << names[1];
        EXPECT_EQ(std::filesystem::file_size(KWSPathHelper::dirPath() + "/" + names[1]), text.size());
        EXPECT_TRUE(log.lines.empty()) << log.lines[0];
        std::filesystem::remove_all(KWSPathHelper::dirPath());
    }
}

TEST_F(AdminStorage, EachFailureHasItsCodeAndItsLine) {
    // A file where a folder should be.
    ASSERT_TRUE(FileManager::createFolder(home.path("Library")));
    std::ofstream(KWSPathHelper::appSupportDirPath()) << "";
    LogLines log;
    std::int64_t errorCode = 0;
    EXPECT_EQ(openOnly(), KWS_ERR_READ_NO_FILE);
    EXPECT_FALSE(KWSAdminStorage::create(0, errorCode));
    EXPECT_EQ(errorCode, KWS_ERR_WRITE_NO_FILE);
    ASSERT_EQ(log.lines.size(), 1U);
    EXPECT_TRUE(log.lines[0].starts_with("Unable to create folder '" + KWSPathHelper::dirPath() +
                                         "' due error 204, "));
    std::filesystem::remove(KWSPathHelper::appSupportDirPath());

    // A symlink in the file's place: set aside itself when it leads nowhere, never written through.
    ASSERT_TRUE(openOrMake());
    std::filesystem::remove(KWSPathHelper::filePath());
    std::filesystem::create_symlink(home.path("victim"), KWSPathHelper::filePath());
    ASSERT_TRUE(openOrMake());
    EXPECT_FALSE(FileManager::fileExists(home.path("victim")));
    std::ofstream(home.path("victim")) << "{\"kept\": 1}";
    std::filesystem::remove(KWSPathHelper::filePath());
    std::filesystem::create_symlink(home.path("victim"), KWSPathHelper::filePath());
    log.lines.clear();
    const auto store = openOrMake();
    store->setBoolForKey(true, "planted");
    EXPECT_EQ(store->saveToDisk(), KWS_ERR_WRITE_SYMLINK);
    ASSERT_EQ(log.lines.size(), 2U) << "the symlink was not reported, or the failure was not";
    EXPECT_TRUE(log.lines[0].ends_with("settings.conf' is a symlink"));
    EXPECT_TRUE(
        log.lines[1].starts_with("Unable to write into file " + KWSPathHelper::filePath() + ". Error "));
    EXPECT_EQ(std::filesystem::file_size(home.path("victim")), 11U);

    // A symlink in the folder's place: what it leads to is neither written nor moved.
    std::filesystem::remove(KWSPathHelper::filePath());
    std::filesystem::rename(KWSPathHelper::dirPath(), home.path("elsewhere"));
    std::filesystem::create_directory_symlink(home.path("elsewhere"), KWSPathHelper::dirPath());
    EXPECT_EQ(store->saveToDisk(), KWS_ERR_WRITE_SYMLINK);
    std::ofstream(home.path("elsewhere/settings.conf")) << "no JSON";
    EXPECT_FALSE(KWSAdminStorage::create(0, errorCode));
    EXPECT_EQ(errorCode, KWS_ERR_WRITE_SYMLINK);
    EXPECT_TRUE(FileManager::fileExists(home.path("elsewhere/settings.conf")));
    std::filesystem::remove(KWSPathHelper::dirPath());

    // The backup's name is taken: the next free one serves, and nothing is lost.
    writeSettings("no JSON");
    const auto now = static_cast<std::int64_t>(platform::Date::now().unixTime());
    for (std::int64_t second = now; second < now + 30; ++second)
        std::ofstream(KWSPathHelper::filePath() + ".backup." + std::to_string(second)) << "";
    log.lines.clear();
    ASSERT_TRUE(openOrMake());
    EXPECT_TRUE(log.lines.at(0).starts_with("Unable to create backup for " + KWSPathHelper::filePath() +
                                            ". Error move "));
    EXPECT_EQ(std::filesystem::file_size(KWSPathHelper::filePath() + ".backup." + std::to_string(now + 30)),
              std::string("no JSON").size());

    // What JSON has no word for.
    platform::Error error;
    EXPECT_FALSE(KWSAdminStorage::dataFromDict({{"date", platform::Date{0}}}, error));
    EXPECT_EQ(error.code, KWS_ERR_JSON_UNWRITABLE);
}

TEST_F(AdminStorage, ValuesSurviveUnchangedAndChangesReachTheDiskOnlyWhenSaved) {
    const std::string odd =
        "{\n    \"x\": [\n        1.10,\n        123456789012345678901234567890,\n        null\n    ]\n}\n";
    writeSettings(odd);
    ASSERT_EQ(::chmod(KWSPathHelper::filePath().c_str(), 0604), 0);
    ASSERT_EQ(::chown(KWSPathHelper::filePath().c_str(), 0, 64124), 0);
    const auto store = openOrMake();
    EXPECT_EQ(store->saveToDisk(), 0);
    EXPECT_EQ(settings(), odd);
    EXPECT_EQ(FileManager::attributes(KWSPathHelper::filePath())->mode, 0604U);
    EXPECT_EQ(FileManager::attributes(KWSPathHelper::filePath())->groupId, 64124U);

    store->setBoolForKey(true, kKWSUpdatesDisabled);
    store->setValueForKey(std::nullopt, "x");
    EXPECT_EQ(settings(), odd);
    EXPECT_EQ(store->saveToDisk(), 0);
    EXPECT_EQ(settings(), "{\n    \"UpdatesDisabled\": true\n}\n");

    const Dictionary& live = store->currentAsRawData();
    store->resetToRawData(std::nullopt);
    EXPECT_TRUE(live.empty());
    store->setValueForKey(Array{"a"}, "list");
    EXPECT_EQ(live.size(), 1U);
}

TEST_F(AdminStorage, WhatWasReadCanBeSavedAndWhatIsSavedCanBeRead) {
    std::string ones;
    for (int count = 0; count < 8000; ++count)
        ones += ",1";
    // Indented it would exceed the bound of reading.
    writeSettings("{\"a\":" + std::string(500, '[') + "1" + ones + std::string(500, ']') + "}");
    const auto store = openOrMake();
    EXPECT_EQ(store->saveToDisk(), 0);
    EXPECT_EQ(openOnly(), 0);
    const std::string before = settings();
    store->setValueForKey(std::string(kKWSMaxSettingsBytes, 'x'), "b");
    const LogLines log;
    EXPECT_EQ(store->saveToDisk(), KWS_ERR_JSON_SIZE);
    EXPECT_EQ(log.lines.size(), 1U);
    EXPECT_TRUE(settings() == before);
}

TEST_F(AdminStorage, TheTruthOfAValueIsThatOfANumberOrOfAPersonsAnswer) {
    writeSettings(
        R"({"t": [true, 1, -1, 0.5, 18446744073709551616, 1.0, "Yes", "true", " \t\n+001", "-7", "0y"],
                      "f": [false, 0, -0, 0.0, 0e9, null, "", "0", "no", " +-1", "00", "é", [1], {"a": 1}]})");
    const auto store = openOrMake();
    for (const std::string key : {"t", "f"}) {
        const Array values = *store->valueForKey(key)->asArray();
        for (std::size_t at = 0; at < values.size(); ++at) {
            store->setValueForKey(values[at], "value");
            EXPECT_EQ(store->boolForKey("value"), key == "t") << key << at;
        }
    }
    EXPECT_FALSE(store->boolForKey("absent"));
}

TEST_F(AdminStorage, ASaverThatIsKilledAnywhereLeavesTheFileWholeAndItsRights) {
    // While its folders are made, nobody is shut out. The group is not looked up each time: that takes long.
    const auto removeAll = [&] { std::filesystem::remove_all(home.path("Library")); };
    const auto makeFolders = [group = *platform::administratorsGroup()] {
        EXPECT_TRUE(
            FileManager::createFolder(KWSPathHelper::dirPath(), {FileManager::Kind::Folder, 0775, 0, group}));
    };
    const auto checkFolders = [] {
        for (const std::string& folder : settingsFolders(KWSPathHelper::filePath())) {
            if (FileManager::folderExists(folder))
                expectAdministrators(folder, 0775);
        }
    };
    EXPECT_GT(killAtEachSyscall(removeAll, makeFolders, checkFolders), 15U);
    const auto save = [](const std::string& value) {
        const auto store = openOrMake();
        store->setValueForKey(platform::Value(value), "key");
        EXPECT_EQ(store->saveToDisk(), 0);
    };
    const auto saveAnew = [&] {
        removeAll(); // or each file that was left would be one more to look at
        save("old");
    };
    std::string last;
    EXPECT_GT(killAtEachSyscall(
                  saveAnew, [&] { save("new"); },
                  [&] {
                      std::int64_t errorCode = 0;
                      const auto store = KWSAdminStorage::create(1, errorCode);
                      ASSERT_TRUE(store) << errorCode << ": " << settings();
                      last = *store->valueForKey("key")->asText();
                      EXPECT_TRUE(last == "old" || last == "new");
                      expectAdministrators(KWSPathHelper::filePath(), 0664);
                  }),
              15U);
    EXPECT_EQ(last, "new");
}

CHILD_BODY(savesAgainAndAgain) {
    platform::setMachineLibraryForTests(arguments[0]);
    for (int round = 0; round < 10; ++round) {
        const auto store = openOrMake();
        store->setValueForKey(std::string(20'000, arguments[1][0]), "key");
        if (store->saveToDisk() != 0)
            return 1;
    }
    return 0;
}

TEST_F(AdminStorage, TwoSaversAtOnceNeverLeaveHalfAFileNorASecondOne) {
    for (int round = 0; round < 5; ++round) { // the first opening, too, is done by both at once
        std::filesystem::remove_all(home.path("Library"));
        auto one = ChildProcess::body("savesAgainAndAgain", {home.path("Library"), "a"});
        auto other = ChildProcess::body("savesAgainAndAgain", {home.path("Library"), "b"});
        for (bool wasThere = false; one.wait(std::chrono::milliseconds(0)) == -1;) {
            const std::int64_t code = openOnly();
            EXPECT_TRUE(code == 0 || (!wasThere && code == KWS_ERR_READ_MISSING)) << code;
            wasThere = wasThere || code == 0;
        }
        EXPECT_EQ(one.wait(), 0);
        EXPECT_EQ(other.wait(), 0);
        EXPECT_EQ(FileManager::namesInFolder(KWSPathHelper::dirPath()).size(), 1U);
    }
    // What a killed saver left goes, once nobody can be at work on it.
    const std::string left = KWSPathHelper::dirPath() + "/.temporary-1";
    std::ofstream(left) << "";
    std::filesystem::last_write_time(left,
                                     std::filesystem::file_time_type::clock::now() - std::chrono::hours(2));
    EXPECT_EQ(openOrMake()->saveToDisk(), 0);
    EXPECT_FALSE(FileManager::fileExists(left));
}

// Saves more than the disk takes that Library stands on.
CHILD_BODY(fillsTheDisk) {
    if (!enterPrivateMachine(arguments[0]) || ::mount("tmpfs", "/Library", "tmpfs", 0, "size=64k") != 0)
        return kNotPossible;
    const auto store = openOrMake();
    store->setValueForKey("small", "key");
    if (store->saveToDisk() != 0)
        return 1;
    store->setValueForKey(std::string(100'000, 'x'), "key");
    if (store->saveToDisk() != KWS_ERR_WRITE_NO_SPACE ||
        FileManager::namesInFolder(KWSPathHelper::dirPath()).size() != 1)
        return 2;
    const auto again = openOrMake();
    return again->valueForKey("key") == platform::Value("small") ? 0 : 3;
}

TEST_F(AdminStorage, AFullDiskLeavesTheOldFile) {
    std::filesystem::create_directory(home.path("machine"));
    const int ending = ChildProcess::body("fillsTheDisk", {home.path("machine")}).wait();
    if (ending == kNotPossible)
        GTEST_SKIP() << "takes a machine of its own";
    EXPECT_EQ(ending, 0);
}

// Ends with what an ordinary user is told.
CHILD_BODY(triesAsAnOrdinaryUser) {
    platform::setMachineLibraryForTests(arguments[0]);
    if (::setgid(64123) != 0 || ::setuid(64123) != 0)
        return 1;
    std::int64_t errorCode = 0;
    const LogLines log;
    const auto store = KWSAdminStorage::create(0, errorCode);
    for (const std::string& line : log.lines)
        say(line);
    return static_cast<int>(store ? store->saveToDisk() : errorCode);
}

TEST_F(AdminStorage, AnOrdinaryUserReadsButChangesNothing) {
    ASSERT_EQ(::chmod(home.path().c_str(), 0755), 0);
    const auto tryIt = [this] {
        return ChildProcess::body("triesAsAnOrdinaryUser", {home.path("Library")}).wait();
    };
    EXPECT_EQ(tryIt(), KWS_ERR_WRITE_DENIED) << "without a file";
    ASSERT_TRUE(openOrMake());
    EXPECT_EQ(tryIt(), KWS_ERR_WRITE_DENIED) << "with a file";
    ASSERT_EQ(::chmod(KWSPathHelper::filePath().c_str(), 0600), 0);
    EXPECT_EQ(tryIt(), KWS_ERR_WRITE_DENIED) << "with a file that cannot be read";
    EXPECT_EQ(settings(), "{}\n");
    EXPECT_EQ(FileManager::namesInFolder(KWSPathHelper::dirPath()).size(), 1U);

    // Whose folder it is makes the file there, and cannot give it away.
    std::filesystem::remove(KWSPathHelper::filePath());
    ASSERT_EQ(::chown(KWSPathHelper::dirPath().c_str(), 64123, 64123), 0);
    ChildProcess owner = ChildProcess::body("triesAsAnOrdinaryUser", {home.path("Library")});
    const std::string file = KWSPathHelper::filePath();
    EXPECT_TRUE(owner.waitForLine("Unable to set permissions to file '" + file + "' due error 201, "));
    EXPECT_TRUE(owner.waitForLine("Unable to set permiss file " + file + ". Error "));
    EXPECT_EQ(owner.wait(), KWS_ERR_WRITE_DENIED);
}

TEST_F(AdminStorage, AFileThatOthersMayWriteIsReportedAndStillHonoured) {
    ASSERT_TRUE(openOrMake());
    const std::string file = KWSPathHelper::filePath();
    const struct {
        uid_t owner;
        gid_t group;
        mode_t mode;
        std::vector<std::string> endings;
    } rows[] = {
        {0, *platform::administratorsGroup(), 0664, {}},
        {0, 0, 0664, {}},
        {0, 64124, 0644, {}},
        {0, 64124, 0664, {"written by the group 64124, not only by the administrators"}},
        {64123,
         0,
         0646,
         {"owned by 64123, not by root", "written by everybody, not only by the administrators"}},
    };
    for (const auto& row : rows) {
        ASSERT_EQ(::chown(file.c_str(), row.owner, row.group) + ::chmod(file.c_str(), row.mode), 0);
        LogLines log;
        EXPECT_EQ(openOnly(), 0);
        ASSERT_EQ(log.lines.size(), row.endings.size()) << row.mode;
        for (std::size_t at = 0; at < log.lines.size(); ++at)
            EXPECT_TRUE(log.lines[at].ends_with(row.endings[at])) << log.lines[at];
    }
    writeSettings("{}");
    ASSERT_EQ(::chmod(home.path("Library").c_str(), 0777), 0);
    const LogLines log;
    EXPECT_EQ(openOnly(), 0);
    EXPECT_EQ(log.lines, (std::vector<std::string>{"Settings are not protected: '" + home.path("Library") +
                                                   "' may be written by everybody, not only by the "
                                                   "administrators"}));
}
