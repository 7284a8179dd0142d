#include <sys/socket.h>

#include "KitwellPlatform/Ports/PortFrame.h"
#include "KitwellPlatform/Ports/PortTestSupport.h"

namespace kitwell::platform::test {

namespace {

constexpr uid_t kNobody = 65534;

std::shared_ptr<Port> silentPort() {
    return Port::receivePort([](const PortMessage&) {});
}

bool canRegister(std::string_view name) {
    return names().registerPort(silentPort(), name);
}

} // namespace

class PortNameServerTest : public InTestHome {};

TEST_F(PortNameServerTest, ALivingOwnersNameIsTakenAndAWithdrawnOneIsFree) {
    auto port = silentPort();
    ASSERT_TRUE(names().registerPort(port, "one"));
    ASSERT_TRUE(names().registerPort(port, "two")) << "a port may have several names";
    EXPECT_FALSE(canRegister("one"));
    EXPECT_TRUE(names().removePortForName("one"));
    EXPECT_FALSE(names().portForName("one"));
    EXPECT_TRUE(canRegister("one"));
    EXPECT_TRUE(names().portForName("two"));
    port.reset();
    EXPECT_FALSE(names().portForName("two")) << "a dropped port kept its name";
    EXPECT_TRUE(canRegister("two"));
}

TEST_F(PortNameServerTest, OnlyPlainShortNamesAreNames) {
    for (const std::string& name : {std::string(), std::string(".."), std::string("../x"),
                                    std::string("a\0b", 3), std::string(81, 'n')}) {
        EXPECT_FALSE(canRegister(name)) << name;
        EXPECT_FALSE(names().portForName(name)) << name;
    }
    // Names that look like each other's files are names of their own, and a long path leads to them as well.
    const std::string deep = home.path(std::string(100, 'd') + "/" + std::string(100, 'e'));
    std::filesystem::create_directories(deep);
    ::setenv("XDG_RUNTIME_DIR", deep.c_str(), 1);
    std::vector<std::unique_ptr<RecordingPort>> inboxes;
    for (const std::string& name : {std::string("a"), std::string("a.lock"), std::string(80, 'n')}) {
        inboxes.push_back(std::make_unique<RecordingPort>(name));
        EXPECT_TRUE(names().portForName(name)) << name;
    }
}

CHILD_BODY(contender) {
    say("ready");
    hear();
    const auto port = silentPort();
    say(names().registerPort(port, "contested") ? "won" : "lost");
    hear();
    return 0;
}

// The winner of each round is killed with its name in place: the name must be free again for the next round,
// and found in none in between.
TEST_F(PortNameServerTest, OneOfManyContendersWinsAndADeadOwnersNameIsFreeAgain) {
    for (int round = 0; round < 3; ++round) {
        EXPECT_FALSE(names().portForName("contested")) << "a dead owner was found";
        std::vector<ChildProcess> contenders;
        for (int number = 0; number < 6; ++number)
            contenders.push_back(ChildProcess::started("contender"));
        for (ChildProcess& contender : contenders)
            contender.writeLine("go");
        EXPECT_EQ(std::ranges::count_if(contenders, [](auto& one) { return one.readLine() == "won"; }), 1);
        EXPECT_TRUE(names().portForName("contested"));
    }
}

CHILD_BODY(stranger) {
    if (::setgid(kNobody) != 0 || ::setuid(kNobody) != 0)
        return 1;
    const FileDescriptor socket = rawConnection(arguments.at(0));
    const PortFrame frame;
    say(::send(socket.get(), &frame, PortFrame::kFixedBytes, MSG_NOSIGNAL) > 0 ? "sent" : "shut out");
    char byte = 0;
    say(::recv(socket.get(), &byte, 1, 0) <= 0 ? "cut off" : "served");
    hear();
    return names().portForName("mine") ? 2 : 0;
}

// Folders and socket are opened to the other user, in the end as folders of their own, so that nothing but
// the look at the peer's user keeps the two apart.
TEST_F(PortNameServerTest, APortAndAPeerOfAnotherUserRefuseEachOther) {
    if (::geteuid() != 0)
        GTEST_SKIP() << "only root can become another user";
    RecordingPort inbox("mine");
    for (const char* folder : {"", "/run", "/run/kitwell", "/run/kitwell/ports"})
        ASSERT_EQ(::chmod((home.path() + folder).c_str(), 0755), 0);
    ASSERT_EQ(::chmod(socketPath(home, "mine").c_str(), 0666), 0);
    ChildProcess child = ChildProcess::body("stranger", {socketPath(home, "mine")});
    EXPECT_EQ(child.readLine(), "sent");
    EXPECT_TRUE(RunLoop::current().runOnce(kPatience));
    EXPECT_EQ(child.readLine(), "cut off");
    EXPECT_TRUE(inbox.received.empty());
    ASSERT_EQ(::chmod(home.path("run/kitwell").c_str(), 0700), 0);
    ASSERT_EQ(::chown(home.path("run/kitwell").c_str(), kNobody, kNobody), 0);
    child.writeLine("look it up");
    EXPECT_EQ(child.wait(), 0);
}

} // namespace kitwell::platform::test
