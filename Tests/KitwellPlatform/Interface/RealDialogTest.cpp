#include "KitwellPlatform/Interface/Alert.h"
#include "KitwellPlatform/Interface/OpenPanel.h"
#include "Support/Harness.h"

using namespace kitwell::platform;
using namespace kitwell::test;

namespace fs = std::filesystem;

namespace {

// A virtual display of its own for one test, whose picture is a file.
class Display {
public:
    explicit Display(const TestHome& home)
        : picture_(home.path("Xvfb_screen0")),
          server_(ChildProcess::program("/usr/bin/Xvfb",
                                        {"-displayfd", "1", "-screen", "0", "720x500x24", "-fbdir",
                                         home.path(), "-noreset", "-nolisten", "tcp"})),
          name_("DISPLAY=:" + server_.readLine().value_or("none")) {}

    ~Display() {
        server_.signal(SIGTERM); // it removes its lock and its socket
        server_.wait();
    }

    ChildProcess start(const std::string& program, const std::vector<std::string>& arguments) const {
        return ChildProcess::program(program, arguments,
                                     {name_, "WAYLAND_DISPLAY=", "GDK_BACKEND=x11", "GSK_RENDERER=cairo"});
    }
    // Waits for the default button to be drawn as one that can be pressed, and keeps the picture.
    void photograph(const std::string& name) const {
        constexpr char kDefaultButton[] = "\xe4\x84\x35"; // blue, green, red
        EXPECT_TRUE(waitUntil([&] { return picture().find(kDefaultButton) != std::string::npos; }));
        fs::create_directories(SCREENSHOTS_FOLDER);
        const std::string file = std::string(SCREENSHOTS_FOLDER) + "/" + name + ".png";
        auto converter = ChildProcess::program(
            "/bin/sh", {"-c", "xwdtopnm -quiet \"$1\" | pnmtopng -quiet > \"$2\"", "sh", picture_, file});
        EXPECT_EQ(converter.wait(), 0);
    }
    bool shows(const std::string& title) const {
        return start("/usr/bin/xdotool", {"search", "--name", title}).wait() == 0;
    }
    // Types into the window of that title. There is no window manager to give it the keyboard.
    void type(const std::string& title, std::vector<std::string> keys) const {
        auto focus = start("/usr/bin/xdotool",
                           {"search", "--sync", "--onlyvisible", "--name", title, "windowfocus", "--sync"});
        EXPECT_EQ(focus.wait(), 0) << "there is no window " << title;
        keys.insert(keys.begin(), {"key", "--delay", "250"});
        EXPECT_EQ(start("/usr/bin/xdotool", keys).wait(), 0);
    }

private:
    std::string picture() const {
        std::ifstream file(picture_, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    std::string picture_;
    ChildProcess server_;
    std::string name_;
};

class RealDialog : public ::testing::Test {
protected:
    void SetUp() override {
        if (!FileManager::isExecutable(SearchPaths::dialogProgram()))
            GTEST_SKIP() << "built without the toolkit";
    }
    ChildProcess start(const std::string& body) const {
        return display_.start("/proc/self/exe", {"--child", body});
    }

    TestHome home_;
    Display display_{home_};
};

} // namespace

CHILD_BODY(alert) {
    Alert alert;
    alert.setMessageText("Corvalen Kitwell is required for <b>Notes</b> to function properly. "
                         "Would you like to launch Corvalen Kitwell?");
    alert.addButtonWithTitle("Launch Corvalen Kitwell");
    alert.addButtonWithTitle("Quit");
    say(std::to_string(alert.runModal()));
    return 0;
}

CHILD_BODY(panel) {
    const std::string home = ::getenv("HOME");
    struct Rule final : OpenPanelDelegate {
        bool panelShouldEnableURL(const OpenPanel&, const FileUrl& url) override {
            return url.lastPathComponent() != "Closed";
        }
    } rule;
    OpenPanel panel;
    panel.setPrompt("Allow");
    panel.setAccessoryText("Allow Corvalen Kitwell to save files on your Desktop");
    panel.setDirectoryUrl(FileUrl(home + "/Desktop"));
    panel.setDelegate(&rule);
    say(panel.runModal() == ModalResponse::OK ? panel.url().path() : "cancelled");
    return 0;
}

// The alert's text is no markup; the panel passes over what is not enabled.
TEST_F(RealDialog, EachIsAnsweredByTheKeyboard) {
    for (const char* folder : {"Desktop/Closed", "Desktop/Open"})
        fs::create_directories(home_.path(folder));
    std::ofstream(home_.path("Desktop/A file.txt")) << "text";
    const struct {
        const char *body, *title;
        std::vector<std::string> keys;
        std::string answer;
    } rows[] = {{"alert", "for <b>Notes</b> to", {"Tab", "Return"}, "1001"},
                {"alert", "for <b>Notes</b> to", {"Escape"}, "0"},
                {"panel", "Allow", {"Down", "Return"}, home_.path("Desktop/Open")},
                {"panel", "Allow", {"Down", "alt+Down", "Return"}, home_.path("Desktop/Open")},
                {"panel", "Allow", {"alt+Up", "Return"}, home_.path()},
                {"panel", "Allow", {"Escape"}, "cancelled"}};
    for (const auto& row : rows) {
        auto child = start(row.body);
        display_.photograph(row.body);
        display_.type(row.title, row.keys);
        EXPECT_EQ(child.readLine(), row.answer) << row.body;
        EXPECT_TRUE(waitUntil([&] { return !display_.shows(row.title); }));
    }
}

TEST_F(RealDialog, AWindowGoesWithTheProcessThatAskedForIt) {
    auto child = start("alert");
    display_.type("Notes", {"shift"});
    child.signal(SIGKILL);
    EXPECT_TRUE(waitUntil([&] { return !display_.shows("Notes"); }));
}
