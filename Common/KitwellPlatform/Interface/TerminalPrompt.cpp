#include "KitwellPlatform/Interface/TerminalPrompt.h"

#include <charconv>
#include <fcntl.h>
#include <filesystem>
#include <unistd.h>

#include "KitwellPlatform/Files/SearchPaths.h"
#include "KitwellPlatform/Interface/TerminalForeground.h"
#include "KitwellPlatform/Interface/TerminalLine.h"

namespace kitwell::platform {

namespace {

// A descriptor of its own, so that not waiting for input is a matter of this library alone.
constexpr int kTerminalFlags = O_RDWR | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;

// The number of the button that the line names, from 1.
std::optional<std::size_t> buttonFrom(const std::string& line, std::size_t count) {
    std::size_t number = 0;
    const auto [end, failure] = std::from_chars(line.data(), line.data() + line.size(), number);
    const bool isWhole = failure == std::errc() && end == line.data() + line.size();
    return isWhole && number >= 1 && number <= count ? std::optional(number - 1) : std::nullopt;
}

} // namespace

FileDescriptor openTerminal() {
    FileDescriptor controlling(::open("/dev/tty", kTerminalFlags));
    if (controlling)
        return isInForeground(controlling.get()) ? std::move(controlling) : FileDescriptor();
    if (::isatty(STDIN_FILENO) == 0 || ::isatty(STDOUT_FILENO) == 0)
        return {};
    FileDescriptor terminal(::open("/proc/self/fd/0", kTerminalFlags));
    return terminal && isInForeground(terminal.get()) ? std::move(terminal) : FileDescriptor();
}

std::optional<std::size_t> TerminalPrompt::showAlert(const AlertContent& content) {
    std::string question = "\n" + content.message + "\n";
    if (!content.informativeText.empty())
        question += content.informativeText + "\n";
    for (std::size_t index = 0; index < content.buttons.size(); ++index)
        question += "  " + std::to_string(index + 1) + "  " + content.buttons[index] + "\n";
    question += "Number (nothing cancels): ";
    for (;;) {
        const std::string line = askForLine(terminal_, question);
        if (line.empty())
            return std::nullopt;
        if (const auto button = buttonFrom(line, content.buttons.size()))
            return button;
        question = "A number from 1 to " + std::to_string(content.buttons.size()) + " (nothing cancels): ";
    }
}

std::optional<FileUrl> TerminalPrompt::showOpenPanel(const OpenPanelContent& content) {
    const std::string folder = content.folder.path().empty() ? SearchPaths::home() : content.folder.path();
    std::string question = "\n" + content.accessoryText + "\n" + content.prompt + ": a path, or . for " +
                           folder + " (nothing cancels): ";
    for (;;) {
        const std::string line = askForLine(terminal_, question);
        if (line.empty())
            return std::nullopt;
        const FileUrl place((std::filesystem::path(folder) / line).lexically_normal().string());
        if (content.allows(place))
            return FileUrl(place.path());
        question = place.path() + " cannot be chosen. Another path (nothing cancels): ";
    }
}

} // namespace kitwell::platform
