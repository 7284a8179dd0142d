#include <poll.h>

#include "KitwellPlatform/Interface/Alert.h"
#include "KitwellPlatform/Interface/DialogChannel.h"
#include "KitwellPlatform/Interface/DialogMessages.h"
#include "KitwellPlatform/Interface/OpenPanel.h"
#include "KitwellPlatform/Ports/PortNameServer.h"
#include "Support/Harness.h"

using namespace kitwell::platform;
using namespace kitwell::test;
using namespace std::chrono_literals;

namespace fs = std::filesystem;

namespace {

std::optional<std::string> nextPacket(DialogChannel& channel) {
    pollfd entry{channel.descriptor(), POLLIN, 0};
    ::poll(&entry, 1, -1);
    return channel.receive();
}

// Says what the message is, with "|" for NUL, once the file that the informative text names is there; or says
// nothing, and leaves a file when the caller has closed the dialog.
void playAlert(DialogChannel& channel, const AlertContent& alert) {
    if (alert.message == "silence") {
        if (!nextPacket(channel))
            std::ofstream(std::string(::getenv("HOME")) + "/closed") << "closed";
        return;
    }
    if (!alert.informativeText.empty())
        waitUntil([&] { return fs::exists(alert.informativeText); });
    std::string packet = alert.message;
    std::replace(packet.begin(), packet.end(), '|', '\0');
    channel.send(packet);
}

class DialogProgram : public ::testing::Test {
protected:
    DialogProgram() {
        ::setenv("DISPLAY", ":none", 1);
        setDialogProgram(program_);
    }
    ~DialogProgram() override { setDialogProgram(""); }

    static int answerTo(const std::string& packet, const std::string& onceThereIs = "") {
        Alert alert;
        alert.setMessageText(packet);
        alert.setInformativeText(onceThereIs);
        alert.addButtonWithTitle("First");
        alert.addButtonWithTitle("Second");
        return alert.runModal();
    }
    std::string make(const std::string& name) const {
        std::ofstream(home_.path(name)) << "there";
        return home_.path(name);
    }

    TestHome home_;
    const std::string program_ = makeTestBundle(home_.path("data"), "child-scripted", "sample.scripted");
    LogLines log_;
};

} // namespace

// Plays the program that shows dialogs.
CHILD_BODY(scripted) {
    DialogChannel channel{FileDescriptor(::dup(STDIN_FILENO))};
    const auto request = dialogRequestFrom(nextPacket(channel).value_or(""));
    if (const auto* panel = std::get_if<OpenPanelContent>(&*request))
        channel.send(*packetFor(DialogReply(PlaceChoice{FileUrl(panel->prompt)})));
    else
        playAlert(channel, std::get<AlertContent>(*request));
    return 0;
}

TEST_F(DialogProgram, OnlyAnAnswerToWhatWasAskedCountsAndAllElseIsACancel) {
    const std::string noProgram = make("no program");
    fs::permissions(noProgram, fs::perms::owner_all);
    const std::tuple<const char*, int, std::size_t, std::string> rows[] = {
        {"press|1|", kAlertSecondButtonReturn, 0, program_},
        {"cancel|", kAlertCancelled, 0, program_},
        {"press|2|", kAlertCancelled, 0, program_},    // there is no third button
        {"question|/|", kAlertCancelled, 1, program_}, // nothing to ask about in an alert
        {"rubbish", kAlertCancelled, 1, program_},
        {"press|0|", kAlertCancelled, 1, "/bin/true"}, // ends without a word
        {"press|0|", kAlertCancelled, 1, noProgram}};
    for (const auto& [packet, answer, logLines, program] : rows) {
        log_.lines.clear();
        setDialogProgram(program);
        EXPECT_EQ(answerTo(packet), answer) << packet << program;
        EXPECT_EQ(log_.lines.size(), logLines) << packet << program;
    }
}

TEST_F(DialogProgram, AnAnswerCountsAlsoFromOneThatEndsWithSomethingUnread) {
    auto ends = DialogChannel::makePair();
    ASSERT_TRUE(ends && ends->first.send("never read") && ends->second.send("the answer"));
    DialogChannel caller = std::move(ends->first);
    ends.reset();
    EXPECT_EQ(caller.receive(), "the answer");
    EXPECT_EQ(caller.receive(), std::nullopt);
}

TEST_F(DialogProgram, TheCallersTimersAndPortsGoOnWhileADialogIsUp) {
    RecordingPort port("sample.busy");
    const auto peer = PortNameServer::systemDefault().portForName("sample.busy");
    ASSERT_TRUE(peer);
    bool isSent = false;
    bool defaultTimerFired = false;
    const auto modal = Timer::repeating(RunLoop::current(), 1ms, RunLoopModes::Modal, [&] {
        if (!std::exchange(isSent, true))
            PortMessage{7, {}}.sendBeforeDate(*peer, Date::now().adding(5));
        else if (!port.received.empty())
            make("go");
    });
    const auto other =
        Timer::once(RunLoop::current(), 0ms, RunLoopModes::Default, [&] { defaultTimerFired = true; });
    EXPECT_EQ(answerTo("press|1|", home_.path("go")), kAlertSecondButtonReturn);
    EXPECT_FALSE(defaultTimerFired) << "a dialog must not run what waits for it to end";
}

TEST_F(DialogProgram, ADialogThatIsAskedForWhileAnotherIsUpIsAnsweredAndSoIsTheFirst) {
    int inner = -1;
    const auto nested = Timer::once(RunLoop::current(), 0ms, RunLoopModes::Modal, [&] {
        make("outer"); // answered while the inner one is up
        inner = answerTo("press|1|", home_.path("inner"));
    });
    const auto release =
        Timer::repeating(RunLoop::current(), 50ms, RunLoopModes::Modal, [&] { make("inner"); });
    EXPECT_EQ(answerTo("press|0|", home_.path("outer")), kAlertFirstButtonReturn);
    EXPECT_EQ(inner, kAlertSecondButtonReturn);
}

TEST_F(DialogProgram, StoppingTheLoopClosesTheDialogAndShowsNoOther) {
    const auto stop =
        Timer::once(RunLoop::current(), 20ms, RunLoopModes::Modal, [] { RunLoop::current().stop(); });
    EXPECT_EQ(answerTo("silence"), kAlertCancelled);
    EXPECT_TRUE(waitUntil([&] { return fs::exists(home_.path("closed")); }));
    EXPECT_EQ(answerTo("press|0|"), kAlertCancelled);
    RunLoop::current().restart();
    EXPECT_EQ(answerTo("press|0|"), kAlertFirstButtonReturn);
}

TEST_F(DialogProgram, APanelAnswersOnlyWithAPlaceThatTheRuleEnables) {
    struct Rule final : OpenPanelDelegate {
        std::string enabled;
        bool panelShouldEnableURL(const OpenPanel&, const FileUrl& url) override {
            return url.path() == enabled;
        }
    } rule;
    const auto ask = [&](const std::string& answer) {
        OpenPanel panel;
        panel.setDirectoryUrl(FileUrl(home_.path() + "/"));
        panel.setPrompt(answer);
        panel.setDelegate(&rule);
        return panel.runModal() == ModalResponse::OK ? panel.url().path() : "cancelled";
    };
    rule.enabled = home_.path("data");
    EXPECT_EQ(ask(home_.path("data")), rule.enabled);
    EXPECT_EQ(ask(home_.path("run")), "cancelled") << "chosen against the rule";
    rule.enabled = make("file");
    EXPECT_EQ(ask(rule.enabled), "cancelled") << "a file where only folders can be chosen";
}
