#include <csignal>
#include <filesystem>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include "KitwellPlatform/Logging/Log.h"
#include "KitwellPlatform/Ports/PortFrame.h"
#include "KitwellPlatform/Ports/PortTestSupport.h"

namespace kitwell::platform::test {

namespace {

constexpr uid_t kNobody = 65534;

PortNameServer& names() {
    return PortNameServer::systemDefault();
}

std::shared_ptr<Port> silentPort() {
    return Port::receivePort([](const PortMessage&) {});
}

bool canRegister(std::string_view name) {
    return names().registerPort(silentPort(), name);
}

// Opens the test's folders to everybody, so that nothing but the ports themselves refuses another user.
void openToOtherUsers(const TestHome& home) {
    for (const char* folder : {"", "/run", "/run/kitwell", "/run/kitwell/ports"})
        ASSERT_EQ(::chmod((home.path() + folder).c_str(), 0755), 0);
}

} // namespace

TEST(PortNameServer, ALivingOwnersNameIsTakenAndAWithdrawnOneIsFree) {
    const TestHome home;
    auto port = silentPort();
    ASSERT_TRUE(names().registerPort(port, "one"));
    ASSERT_TRUE(names().registerPort(port, "two")) << "a port may have several names";
    EXPECT_FALSE(canRegister("one"));
    EXPECT_TRUE(names().removePortForName("one"));
    EXPECT_FALSE(names().removePortForName("one"));
    EXPECT_FALSE(names().portForName("one"));
    EXPECT_TRUE(canRegister("one"));
    EXPECT_TRUE(names().portForName("two"));
    port.reset();
    EXPECT_FALSE(names().portForName("two")) << "a dropped port kept its name";
    EXPECT_TRUE(canRegister("two"));
}

TEST(PortNameServer, PeersThatFoundAPortStayWhenItsNameIsWithdrawn) {
    const TestHome home;
    Inbox inbox("name");
    const auto port = names().portForName("name");
    EXPECT_TRUE(names().removePortForName("name"));
    EXPECT_TRUE(message(1).sendBeforeDate(*port, soon()));
    EXPECT_TRUE(inbox.waitFor(1));
}

TEST(PortNameServer, OnlyPlainShortNamesAreNames) {
    const TestHome home;
    for (const std::string& name : {std::string(), std::string("."), std::string(".."), std::string("a/b"),
                                    std::string("../x"), std::string("a\0b", 3), std::string(81, 'n')}) {
        EXPECT_FALSE(canRegister(name)) << name;
        EXPECT_FALSE(names().portForName(name)) << name;
    }
    // Names that look like each other's files are names of their own.
    std::vector<std::unique_ptr<Inbox>> inboxes;
    for (const std::string& name : {std::string("a"), std::string("a.lock"), std::string("a.port"),
                                    std::string("a.new"), std::string(80, 'n')}) {
        inboxes.push_back(std::make_unique<Inbox>(name));
        EXPECT_TRUE(names().portForName(name)) << name;
    }
}

TEST(PortNameServer, ALongRuntimePathIsReachedAllTheSame) {
    const TestHome home;
    const std::string deep = home.path(std::string(100, 'd') + "/" + std::string(100, 'e'));
    std::filesystem::create_directories(deep);
    ::setenv("XDG_RUNTIME_DIR", deep.c_str(), 1);
    const Inbox inbox("deep");
    EXPECT_TRUE(names().portForName("deep"));
}

CHILD_BODY(contender) {
    kitwell::test::say("ready");
    kitwell::test::hear();
    const auto port = silentPort();
    kitwell::test::say(names().registerPort(port, "contested") ? "won" : "lost");
    kitwell::test::hear();
    return 0;
}

// The winner of each round is killed with its name in place: the name must be free again for the next round,
// and found in none in between.
TEST(PortNameServer, OneOfManyContendersWinsAndADeadOwnersNameIsFreeAgain) {
    const TestHome home;
    for (int round = 0; round < 3; ++round) {
        EXPECT_FALSE(names().portForName("contested")) << "a dead owner was found";
        std::vector<ChildProcess> contenders;
        for (int number = 0; number < 6; ++number)
            contenders.push_back(ChildProcess::body("contender"));
        for (ChildProcess& contender : contenders)
            ASSERT_TRUE(contender.waitForLine("ready"));
        for (ChildProcess& contender : contenders)
            contender.writeLine("go");
        int winners = 0;
        for (ChildProcess& contender : contenders)
            winners += contender.readLine() == "won";
        EXPECT_EQ(winners, 1);
        EXPECT_TRUE(names().portForName("contested"));
    }
}

TEST(PortNameServer, AnUntrustedRuntimeFolderIsRefusedWithALogLine) {
    struct Case {
        std::string what;
        std::function<void(const std::string& folder)> plant;
    };
    const std::vector<Case> cases = {
        {"symlink",
         [](const std::string& folder) {
             std::filesystem::create_directory(folder + "-real");
             std::filesystem::create_symlink(folder + "-real", folder);
         }},
        {"mode", [](const std::string& folder) { ASSERT_EQ(::mkdir(folder.c_str(), 0755), 0); }},
        {"owner",
         [](const std::string& folder) {
             ASSERT_EQ(::mkdir(folder.c_str(), 0700), 0);
             ASSERT_EQ(::chown(folder.c_str(), kNobody, kNobody), 0);
         }},
    };
    for (const Case& row : cases) {
        if (row.what == "owner" && ::geteuid() != 0)
            continue;
        const TestHome home;
        row.plant(home.path("run/kitwell"));
        int lines = 0;
        setLogSink([&](std::string_view) { ++lines; });
        EXPECT_FALSE(canRegister("name")) << row.what;
        EXPECT_EQ(lines, 1) << row.what;
        EXPECT_FALSE(names().portForName("name")) << row.what;
        EXPECT_EQ(lines, 2) << row.what;
        setLogSink({});
    }
}

CHILD_BODY(foreignClient) {
    if (::setgid(kNobody) != 0 || ::setuid(kNobody) != 0)
        return 1;
    const FileDescriptor socket = rawConnection(arguments.at(0));
    kitwell::test::say(socket ? "connected" : "unreachable");
    const PortFrame frame;
    ::send(socket.get(), &frame, PortFrame::kFixedBytes, MSG_NOSIGNAL);
    char byte = 0;
    return ::recv(socket.get(), &byte, 1, 0) <= 0 ? 0 : 2; // waits until the port hangs up
}

TEST(PortNameServer, AClientOfAnotherUserIsCutOff) {
    if (::geteuid() != 0)
        GTEST_SKIP() << "only root can become another user";
    const TestHome home;
    Inbox inbox("mine");
    openToOtherUsers(home);
    ASSERT_EQ(::chmod(socketPath(home, "mine").c_str(), 0666), 0);
    ChildProcess child = ChildProcess::body("foreignClient", {socketPath(home, "mine")});
    EXPECT_EQ(child.readLine(), "connected");
    EXPECT_TRUE(kitwell::test::waitUntil([&] {
        RunLoop::current().runOnce({});
        return child.wait({}) == 0;
    }));
    EXPECT_TRUE(inbox.messages.empty());
}

CHILD_BODY(foreignSeeker) {
    if (::setgid(kNobody) != 0 || ::setuid(kNobody) != 0)
        return 1;
    kitwell::test::say(rawConnection(arguments.at(0)) ? "connected" : "unreachable");
    return names().portForName("theirs") ? 2 : 0;
}

// Root plants a listening socket in the folder of another user, who can reach it but must not trust it.
TEST(PortNameServer, APortOfAnotherUserIsNotFound) {
    if (::geteuid() != 0)
        GTEST_SKIP() << "only root can become another user";
    const TestHome home;
    const std::string path = socketPath(home, "theirs");
    std::filesystem::create_directories(home.path("run/kitwell/ports"));
    openToOtherUsers(home);
    const FileDescriptor listener(::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0));
    sockaddr_un address{AF_UNIX, {}};
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    ASSERT_EQ(::bind(listener.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    ASSERT_EQ(::listen(listener.get(), 8), 0);
    ASSERT_EQ(::chmod(path.c_str(), 0666), 0);
    ASSERT_EQ(::chmod(home.path("run/kitwell").c_str(), 0700), 0);
    ASSERT_EQ(::chown(home.path("run/kitwell").c_str(), kNobody, kNobody), 0);
    ChildProcess child = ChildProcess::body("foreignSeeker", {path});
    EXPECT_EQ(child.readLine(), "connected");
    EXPECT_EQ(child.wait(), 0);
}

} // namespace kitwell::platform::test
