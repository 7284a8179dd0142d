#include "KitwellPlatform/Applications/LoginItemList.h"

#include "Support/Harness.h"

using namespace kitwell::platform;
using namespace kitwell::test;

namespace {

using Texts = std::vector<std::string>;

class LoginItemListTest : public InTestHome {
protected:
    const std::string folder = home.path("config/autostart");

    // A bundle of this name, which may be anything, whose executable says that it was opened.
    std::string bundle(const std::string& below) {
        makeTestBundle(home.path(), "child-saysItIsOpen", "a.b");
        std::filesystem::create_directories(std::filesystem::path(home.path(below)).parent_path());
        std::filesystem::rename(testBundlePath(home.path(), "child-saysItIsOpen"), home.path(below));
        return home.path(below);
    }
    void place(const std::string& name, const std::string& content) {
        std::filesystem::create_directories(folder);
        std::ofstream(folder + "/" + name) << content;
    }
};

Texts listed() {
    Texts urls;
    const auto items = LoginItemList::items();
    for (const LoginItem& item : items ? *items : std::vector<LoginItem>())
        urls.push_back(item.url.text());
    return urls;
}

std::int64_t codeOfAppending(const std::string& url) {
    const auto appended = LoginItemList::append(FileUrl(url));
    return appended ? 0 : appended.error().code;
}

} // namespace

CHILD_BODY(saysItIsOpen) {
    const std::string self = std::filesystem::read_symlink("/proc/self/exe");
    const std::string said = arguments.empty() ? self : "too many arguments";
    return replaceFile(std::string(::getenv("HOME")) + "/opened", std::as_bytes(std::span(said))) ? 0 : 1;
}

CHILD_BODY(appends) {
    for (int count = 0; count < 10; ++count)
        if (codeOfAppending(arguments[0]) != 0)
            return 1;
    return 0;
}

TEST_F(LoginItemListTest, ADesktopOpensTheRightProgramWhateverItsPathContains) {
    const char* const paths[] = {"A \u00e4\u65e5.app", "a\"b'c$HOME `id` \\ \\\\s.app",
                                 "100%f %u %%=.app",   " lead/x=y;z&|<>#*?(d)~ .app",
                                 "tab\tline\nend.app", "[Desktop Entry].app"};
    for (const char* path : paths) {
        const std::string url = bundle(path) + "/";
        ASSERT_EQ(codeOfAppending(url), 0) << path;
        ASSERT_EQ(listed(), Texts{url}) << "the URL is not kept as it was given";
        const LoginItem item = LoginItemList::items()->front();
        ChildProcess judge = ChildProcess::program("/usr/bin/desktop-file-validate", {item.entry});
        EXPECT_EQ(judge.readLine().value_or("valid"), "valid") << path;
        EXPECT_EQ(ChildProcess::program("/usr/bin/gio", {"launch", item.entry}).wait(), 0) << path;
        EXPECT_TRUE(waitUntil([&] { return FileManager::fileExists(home.path("opened")); })) << path;
        EXPECT_EQ(readFile(home.path("opened"), 1000)->text(), url + "Contents/Linux/child-saysItIsOpen");
        std::filesystem::remove(home.path("opened"));
        EXPECT_TRUE(LoginItemList::remove(item));
        EXPECT_EQ(listed(), Texts());
    }
}

TEST_F(LoginItemListTest, WhatNoEntryCanHoldOrNoBundleIsRefusedAndLeavesNothing) {
    makeTestBundle(home.path(), "NotExecutable", "a.b");
    std::filesystem::remove(home.path("NotExecutable.app/Contents/Linux/NotExecutable"));
    const std::pair<std::string, int> rows[] = {{bundle("\x01.app"), EILSEQ},
                                                {bundle("\xFF.app"), EILSEQ},
                                                {home.path("NotExecutable.app"), EACCES},
                                                {"", ENOEXEC}};
    for (const auto& [url, code] : rows)
        EXPECT_EQ(codeOfAppending(url), code) << url;
    EXPECT_FALSE(FileManager::fileExists(folder + "/login-item-1.desktop"));
}

TEST_F(LoginItemListTest, EntriesOfOthersAreNoItemsAndAreNeverTouched) {
    const std::string url = bundle("A.app");
    const std::string key = "X-LoginItem-URL=" + url + "\n";
    const std::pair<std::string, std::string> others[] = {
        {"other.desktop", "[Desktop Entry]\nType=Application\nName=A\nExec=" + url + "/Contents/Linux/A\n"},
        {"group.desktop", "[Desktop Action x]\n" + key + "[Other]\n" + key},
        {"escape.desktop", "[Desktop Entry]\nX-LoginItem-URL=/a\\q.app\n"},
        {"backup.desktop~", "[Desktop Entry]\n" + key},
        {"large.desktop", "[Desktop Entry]\n" + key + std::string(70000, '#')},
        {"login-item-1.desktop", "taken"}};
    for (const auto& [name, content] : others)
        place(name, content);
    std::ofstream(home.path("planted")) << "[Desktop Entry]\n" << key;
    for (const char* name : {"/link.desktop", "/login-item-2.desktop"})
        std::filesystem::create_symlink(home.path("planted"), folder + name);
    ASSERT_EQ(::mkfifo((folder + "/fifo.desktop").c_str(), 0600), 0);
    EXPECT_EQ(listed(), Texts());
    ASSERT_EQ(codeOfAppending(url), 0);
    EXPECT_EQ(listed(), Texts{url});
    EXPECT_TRUE(FileManager::fileExists(folder + "/login-item-3.desktop"))
        << "a name that was taken was used";
    for (const auto& [name, content] : others)
        EXPECT_EQ(readFile(folder + "/" + name, 1U << 17)->text(), content) << name;
}

TEST_F(LoginItemListTest, OneThatWasSwitchedOffIsNoItemAndGivesWayToANewOne) {
    const std::string url = bundle("A.app");
    const std::pair<std::string, std::string> off[] = {{"Hidden=true", url},
                                                       {"X-GNOME-Autostart-enabled=false", url},
                                                       {"Hidden=true\nName=copy", "/elsewhere/A.app/"},
                                                       {"Hidden=true\nName=other", "/elsewhere/B.app"}};
    for (const auto& [keys, location] : off)
        place(keys.substr(keys.rfind('=') + 1) + ".desktop",
              "# by hand\n[Desktop Entry]\n" + keys + "\nX-LoginItem-URL = " + location + " \n");
    ASSERT_EQ(codeOfAppending(url), 0);
    EXPECT_EQ(listed(), Texts{url});
    EXPECT_EQ(FileManager::namesInFolder(folder), (Texts{"login-item-1.desktop", "other.desktop"}))
        << "an older copy stayed, or another application went";
}

TEST_F(LoginItemListTest, ProcessesThatAppendAtOnceKeepEveryItemInItsOrder) {
    std::vector<ChildProcess> children;
    for (const char* name : {"A.app", "B.app", "C.app"})
        children.push_back(ChildProcess::body("appends", {bundle(name)}));
    for (ChildProcess& child : children)
        EXPECT_EQ(child.wait(), 0);
    EXPECT_EQ(listed().size(), 30U);
    ASSERT_EQ(codeOfAppending(bundle("Last.app")), 0);
    EXPECT_EQ(listed().back(), home.path("Last.app")) << "the order is that of the names";
}
