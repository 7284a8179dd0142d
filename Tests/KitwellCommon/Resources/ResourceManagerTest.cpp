#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <regex>
#include <sys/stat.h>

#include "KitwellCommon/KitwellCommon.h"
#include "KitwellPlatform/Files/AtomicFile.h"
#include "KitwellPlatform/Files/FileManager.h"
#include "Support/ChildProcess.h"
#include "Support/KilledAtSyscall.h"
#include "Support/LogLines.h"
#include "Support/TestBundle.h"
#include "Support/TestHome.h"

using namespace kitwell;
using namespace kitwell::test;
using platform::Dictionary;
using platform::FileManager;
using platform::FileUrl;
using platform::Value;

namespace {

constexpr char kBundleId[] = "com.corvalen.kitwell";
using Lines = std::vector<std::string>;

std::string writeFile(const std::string& path, const std::string& content, unsigned mode = 0644) {
    std::ofstream(path) << content;
    std::filesystem::permissions(path, std::filesystem::perms(mode));
    return path;
}

std::optional<Value> registry() {
    std::optional<Value> held;
    accessAppGroupPlist([&](auto& preferences) { held = preferences.objectForKey(kResourcesKey); });
    return held;
}

void setRegistry(Value value) {
    accessAppGroupPlist(
        [&](auto& preferences) { preferences.setObjectForKey(std::move(value), kResourcesKey); });
}

void publish(const std::string& file, const std::string& name, std::int64_t type = 0,
             const std::string& bundleId = kBundleId) {
    ResourceManager::addResourceFile(FileUrl(file), name, {4, 2, 1, 3376}, type, bundleId);
}

} // namespace

class Resources : public InTestHome {
protected:
    const std::string container = home.path("data/Kitwell/Group Containers/") + kAppGroupIdentifier;
    const std::string place = container + "/Resources/" + kBundleId + "/tool.bin";
    const Value record = Dictionary{{kResourcePath, place}, {kResourceVersion, "4.2.1-3376"}};
};

TEST_F(Resources, EachLevelOfTheRegistryIsReadAsMissingOrReplacedWhereItIsOfAWrongType) {
    const Value other = Dictionary{{"kept", 1}};
    const Value wrong[] = {
        Value(), "text", Dictionary{{kBundleId, 7}, {"other", other}},
        Dictionary{{kBundleId, Dictionary{{"tool.bin", platform::Array{}}}}, {"other", other}},
        Dictionary{{kBundleId, Dictionary{{"tool.bin", Dictionary{{kResourceVersion, 4}}}}}}};
    for (const Value& held : wrong) {
        setRegistry(held);
        SharedResource resource("tool.bin", kBundleId);
        EXPECT_FALSE(resource.path() || resource.version() || resource.needToNotifyOnUpdate());
        EXPECT_TRUE(resource.setVersion({}));
        ResourceManager::setNotifyOnUpdate(true, "tool.bin", kBundleId);
        EXPECT_TRUE(SharedResource("tool.bin", kBundleId).needToNotifyOnUpdate());
        const Dictionary after = *registry()->asDictionary();
        EXPECT_EQ(*after.find(kBundleId),
                  (Dictionary{{"tool.bin", Dictionary{{kResourceNeedToNotify, true}}}}));
        const bool hadOther = held.asDictionary() && held.asDictionary()->find("other");
        EXPECT_EQ(after.find("other") ? *after.find("other") : Value(), hadOther ? other : Value());
    }
}

// Says which copy it would use, and the version.
CHILD_BODY(chooses) {
    const LogLines log;
    say(ResourceManager::getMostActualResourcePath("tool.bin"));
    say(log.lines.empty() ? "nothing is logged" : log.lines[0]);
    const Version version = ResourceManager::getMostActualResourceVersion("tool.bin", arguments[0]);
    say(VersionManager::versionToStringReportForm(version));
    return 0;
}

TEST_F(Resources, TheSharedCopyIsUsedOnlyIfItIsNewerThanTheApplicationAndExecutable) {
    const std::string tool = makeTestBundle(home.path(), "Sample", kBundleId);
    const std::string bundlePath = testBundlePath(home.path(), "Sample");
    std::ofstream(bundlePath + "/Contents/Info.plist")
        << "<plist version=\"1.0\"><dict><key>CFBundleIdentifier</key><string>" << kBundleId
        << "</string><key>CFBundleShortVersionString</key><string>4.2.1</string>"
        << "<key>CFBundleVersion</key><string>3375</string></dict></plist>";
    const platform::Bundle bundle{FileUrl(bundlePath)};
    const std::string builtIn = bundlePath + "/Contents/Resources/tool.bin";
    const std::string executable = writeFile(home.path("executable"), "", 0755);
    const std::string plain = writeFile(home.path("plain"), "", 0644);
    using enum ResourceChoiceReason;
    const struct {
        Value version;
        Value path;
        ResourceChoiceReason reason;
    } rows[] = {{"4.2.1-3376", executable, SharedCopyIsNewer},
                {"4.2.1-3375", executable, SharedCopyIsNotNewer},
                {"4.2.1-999", executable, SharedCopyIsNotNewer},
                {"5.0.0", executable, NoSharedVersion},
                {5, executable, NoSharedVersion},
                {"4.2.1-3376", plain, SharedCopyIsNotExecutable},
                {"4.2.1-3376", home.path(), SharedCopyIsNotExecutable},
                {"4.2.1-3376", home.path("missing"), SharedCopyIsNotExecutable},
                {"4.2.1-3376", 1, SharedCopyIsNotExecutable}};
    for (const auto& [version, path, reason] : rows) {
        setRegistry(Dictionary{{kBundleId, Dictionary{{"tool.bin", Dictionary{{kResourceVersion, version},
                                                                              {kResourcePath, path}}}}}});
        const auto choice = ResourceManager::choose("tool.bin", kBundleId, &bundle);
        EXPECT_EQ(choice.reason, reason);
        EXPECT_EQ(choice.path, choice.isShared() ? executable : builtIn);
        // The running application finds the same, and says so.
        ChildProcess child =
            ChildProcess::program(tool, {"--child", "chooses", kBundleId}, {"KITWELL_EXTENDED_LOGGING=1"});
        const std::string used = choice.isShared() ? "4.2.1-3376" : "4.2.1-3375";
        EXPECT_EQ(child.readLine(), choice.path);
        EXPECT_EQ(child.readLine(), std::string("Using ") + (choice.isShared() ? "shared" : "internal") +
                                        " resource tool.bin with version " + used);
        EXPECT_EQ(child.readLine(), used);
    }
    ChildProcess quiet = ChildProcess::program(tool, {"--child", "chooses", kBundleId});
    EXPECT_TRUE(quiet.waitForLine("nothing is logged"));
    EXPECT_EQ(ResourceManager::choose("../Info.plist", kBundleId, &bundle).path, "");
    // Another process does not know the application: any shared version is newer.
    SharedResource("tool.bin", kBundleId).setPath(executable);
    EXPECT_EQ(ResourceManager::getMostActualResourceVersion("tool.bin", kBundleId), (Version{4, 2, 1, 3376}));
    EXPECT_EQ(ResourceManager::getMostActualResourceVersion("tool.bin", "unknown"), Version{0});
}

TEST_F(Resources, PublishingMovesTheFileSetsTheModeOfAnExecutableAndRegistersBoth) {
    const std::pair<std::int64_t, unsigned> rows[] = {{0, 0640U}, {1, 0755U}, {2, 0640U}};
    for (const auto& [type, mode] : rows) {
        const LogLines log;
        publish(writeFile(home.path("new"), "content", 0640), "tool.bin", type);
        EXPECT_EQ(log.lines, Lines{"Resource tool.bin for com.corvalen.kitwell is added"});
        EXPECT_EQ(static_cast<unsigned>(std::filesystem::status(place).permissions()), mode);
        EXPECT_EQ(FileManager::namesInFolder(FileUrl(place).deletingLastPathComponent().path()),
                  Lines{"tool.bin"});
        EXPECT_FALSE(FileManager::fileExists(home.path("new")));
        EXPECT_EQ(registry(), (Dictionary{{kBundleId, Dictionary{{"tool.bin", record}}}}));
    }
    // Published again, under another name of the very file and in its own place.
    std::filesystem::create_hard_link(place, home.path("new"));
    const LogLines quiet;
    publish(home.path("new"), "tool.bin");
    EXPECT_FALSE(FileManager::fileExists(home.path("new")));
    publish(place, "tool.bin");
    EXPECT_EQ(platform::readFile(place, 100)->text(), "content");
}

TEST_F(Resources, APublisherThatIsKilledAnywhereLeavesThePathBeforeTheVersionAndTheEarlierFileByItsName) {
    const std::string folder = FileUrl(place).deletingLastPathComponent().path();
    const LogLines quiet;
    bool wasBackupSeen = false;
    bool wasPathSeenAlone = false;
    killAtEachSyscall(
        [&] {
            std::filesystem::remove_all(container); // or each left file would be one more to look at
            std::filesystem::create_directories(folder);
            writeFile(place, "old");
            writeFile(home.path("new"), "new");
        },
        [&] { publish(home.path("new"), "tool.bin"); },
        [&] {
            const SharedResource left("tool.bin", kBundleId);
            EXPECT_TRUE(left.path() || !left.version());
            wasPathSeenAlone = wasPathSeenAlone || (left.path() && !left.version());
            EXPECT_TRUE(platform::readFile(place, 100));
            for (const std::string& name : FileManager::namesInFolder(folder)) {
                EXPECT_TRUE(std::regex_match(name, std::regex("tool\\.bin(_[0-9]{9}\\.[0-9]{6}\\.bak)?")))
                    << name;
                wasBackupSeen = wasBackupSeen || name != "tool.bin";
            }
        });
    EXPECT_TRUE(wasBackupSeen && wasPathSeenAlone);
}

// Publishes a file of root's, which another user may move but not change.
CHILD_BODY(publishesWhatIsNotItsOwn) {
    if (::setgid(64123) != 0 || ::setuid(64123) != 0)
        return 1;
    const LogLines log;
    publish(arguments[0], "tool.bin", kResourceTypeExecutable);
    say(log.lines.at(0));
    return registry() ? 1 : 0;
}

TEST_F(Resources, AModeThatCannotBeSetIsLoggedAndNothingIsRegistered) {
    if (::geteuid() != 0)
        GTEST_SKIP() << "takes two users";
    for (const auto& entry : std::filesystem::recursive_directory_iterator(home.path()))
        ASSERT_EQ(::chown(entry.path().c_str(), 64123, 64123), 0);
    ASSERT_EQ(::chown(home.path().c_str(), 64123, 64123), 0);
    ChildProcess child =
        ChildProcess::body("publishesWhatIsNotItsOwn", {writeFile(home.path("new"), "content")});
    EXPECT_TRUE(child.waitForLine("Error while setting attributes: "));
    EXPECT_EQ(child.wait(), 0);
}

TEST_F(Resources, WhatIsRefusedOrFailsIsLoggedAndLeavesRegistryAndFolderAlone) {
    const std::string file = writeFile(home.path("new"), "content");
    for (const std::string& name : Lines{"", ".", "..", "../tool", "a/b", std::string(300, 'n'), "new\nline",
                                         "\x7F", "c1\xC2\x85", "not\xFFutf8", std::string("n\0l", 3)}) {
        const LogLines log;
        publish(file, name);
        publish(file, "tool.bin", 0, name);
        ResourceManager::setNotifyOnUpdate(true, name, kBundleId);
        ASSERT_EQ(log.lines.size(), 3U) << name;
        for (const std::string& line : log.lines)
            EXPECT_TRUE(line.ends_with(" is refused: not the name of a file")) << line;
    }
    EXPECT_FALSE(FileManager::fileExists(container + "/Resources"));
    EXPECT_FALSE(SharedResource("tool.bin", kBundleId).setPath("not\xFFutf8"));

    const auto logged = [&](const std::string& from) {
        const LogLines log;
        publish(from, "tool.bin", 1);
        return log.lines.at(0);
    };
    EXPECT_TRUE(logged(home.path("missing")).starts_with("Error while replacing resource: "));
    std::filesystem::remove_all(container + "/Resources");
    std::filesystem::create_directory_symlink(home.path("run"), container + "/Resources");
    EXPECT_TRUE(logged(file).starts_with("Error while creating directory: "));
    EXPECT_EQ(FileManager::namesInFolder(home.path("run")), Lines{}) << "a planted link was followed";
    std::filesystem::remove_all(home.path("data"));
    writeFile(home.path("data"), "no folder");
    EXPECT_TRUE(logged(file).starts_with("Error while creating directory: ")) << "there is no container";
    EXPECT_TRUE(FileManager::fileExists(file));
    EXPECT_FALSE(registry());
}

CHILD_BODY(publishesAgainAndAgain) {
    const LogLines quiet;
    for (std::uint64_t round = 1; round <= 40; ++round) {
        const Version version{std::stoull(arguments[1]), 0, 0, round};
        ResourceManager::addResourceFile(
            FileUrl(writeFile(arguments[0], VersionManager::versionToStringReportForm(version))), "tool.bin",
            version, kResourceTypeExecutable, kBundleId);
    }
    return 0;
}

TEST_F(Resources, TwoPublishersAtOnceLeaveOneFileWithItsOwnVersionAndReadersAlwaysFindOne) {
    publish(writeFile(home.path("new"), "0.0.0-0"), "tool.bin");
    ChildProcess one = ChildProcess::body("publishesAgainAndAgain", {home.path("one"), "1"});
    ChildProcess two = ChildProcess::body("publishesAgainAndAgain", {home.path("two"), "2"});
    while (one.wait(std::chrono::milliseconds(0)) == -1)
        ASSERT_TRUE(platform::readFile(place, 100));
    ASSERT_EQ(two.wait(), 0);
    const auto registered = SharedResource("tool.bin", kBundleId).version();
    EXPECT_EQ(VersionManager::versionWithString(platform::readFile(place, 100)->text()), registered);
    EXPECT_EQ(FileManager::namesInFolder(FileUrl(place).deletingLastPathComponent().path()),
              Lines{"tool.bin"});
}
