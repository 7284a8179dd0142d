#include <fcntl.h>

#include "KitwellPlatform/Interface/Alert.h"
#include "KitwellPlatform/Interface/OpenPanel.h"
#include "Support/Harness.h"
#include "Support/Keyboard.h"

using namespace kitwell::platform;
using namespace kitwell::test;

// Shows the dialog of the first argument on the terminal of the second one, or with no terminal at all.
CHILD_BODY(asks) {
    ::unsetenv("DISPLAY");
    ::unsetenv("WAYLAND_DISPLAY");
    ::setsid();
    const FileDescriptor terminal(arguments.size() > 1 ? ::open(arguments[1].c_str(), O_RDWR) : -1);
    std::size_t logLines = 0;
    setLogSink([&](std::string_view line) { logLines += 1 + line.size() / 1000; });
    if (arguments[0] == "panel") {
        OpenPanel panel;
        panel.setDirectoryUrl(FileUrl(::getenv("HOME")));
        panel.setAccessoryText("Where to?");
        panel.setPrompt("Allow");
        say(panel.runModal() == ModalResponse::OK ? panel.url().path() : "cancelled");
        return 0;
    }
    Alert alert;
    alert.setMessageText("Esc\x1b[2J \xc2\x9bJ" + std::string(10'000, 'x'));
    alert.addButtonWithTitle("Launch");
    alert.addButtonWithTitle("Quit");
    say(std::to_string(alert.runModal()));
    say(std::to_string(logLines) + " log lines");
    return 0;
}

class TerminalPrompt : public InTestHome {};

TEST_F(TerminalPrompt, AnAlertIsAnsweredByANumberAndNothingElse) {
    const std::pair<const char*, int> rows[] = {{"2\n", kAlertSecondButtonReturn},
                                                {" 1 \r\n", kAlertFirstButtonReturn},
                                                {"\n", kAlertCancelled},
                                                {"\x04", kAlertCancelled}};
    for (const auto& [line, answer] : rows) {
        const Keyboard keyboard;
        auto child = ChildProcess::body("asks", {"alert", keyboard.terminal()});
        EXPECT_EQ(keyboard.waitFor("(nothing cancels): ").find_first_of("\x1b\x9b"), std::string::npos)
            << "a text steers the terminal";
        for (const char* wrong : {"0\n", "3\n", "1x\n", "18446744073709551617\n"}) {
            keyboard.type(wrong);
            keyboard.waitFor("A number from 1 to 2");
        }
        keyboard.type(line);
        EXPECT_EQ(child.readLine(), std::to_string(answer)) << line;
    }
}

TEST_F(TerminalPrompt, APanelTakesAPathThatCanBeChosen) {
    const Keyboard keyboard;
    auto child = ChildProcess::body("asks", {"panel", keyboard.terminal()});
    keyboard.waitFor(home.path() + " (nothing cancels): ");
    for (const char* wrong : {"missing\n", "/etc/passwd\n"}) {
        keyboard.type(wrong);
        keyboard.waitFor("cannot be chosen");
    }
    keyboard.type("run/../data/\n");
    EXPECT_EQ(child.readLine(), home.path("data"));
}

TEST_F(TerminalPrompt, WithNeitherDisplayNorTerminalADialogIsCancelledWithOneShortLogLine) {
    auto child = ChildProcess::body("asks", {"alert"});
    EXPECT_EQ(child.readLine(), "0");
    EXPECT_EQ(child.readLine(), "1 log lines");
}

TEST_F(TerminalPrompt, ATerminalThatGoesAwayCancels) {
    auto keyboard = std::make_unique<Keyboard>();
    ::signal(SIGHUP, SIG_IGN); // inherited: the system tells the session that its terminal is gone
    auto child = ChildProcess::body("asks", {"alert", keyboard->terminal()});
    keyboard->waitFor("(nothing cancels): ");
    keyboard.reset();
    EXPECT_EQ(child.readLine(), "0");
}
