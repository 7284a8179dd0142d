#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "KitwellPlatform/Export.h"
#include "KitwellPlatform/Files/FileUrl.h"

namespace kitwell::platform {

enum class AlertStyle { Warning = 0, Informational = 1, Critical = 2 };

// What an alert shows. The first button is the default one.
struct AlertContent {
    AlertStyle style = AlertStyle::Warning;
    std::string message;
    std::string informativeText;
    std::vector<std::string> buttons; // in the order in which they were added; at least one
};

// What an open panel shows.
struct OpenPanelContent {
    std::string prompt;        // the label of the button that confirms
    std::string accessoryText; // the explanation beside the list
    FileUrl folder;            // where the panel opens; empty for the home folder
    bool canChooseFiles = false;
    bool canChooseFolders = true;
    // Whether a place may be chosen; empty for any. Called on the caller's thread while the panel is up.
    std::function<bool(const FileUrl&)> isEnabled;

    // Whether there is such a place, of a kind that can be chosen, and enabled.
    PLATFORM_API bool allows(const FileUrl& place) const;
};

// The person in front of the screen. Both calls return when that person has answered, or when the caller's
// run loop is stopped; the loop runs in the modal mode meanwhile. A handler that the loop calls may show
// another dialog. Main thread.
class PLATFORM_API DialogPresenter {
public:
    virtual ~DialogPresenter() = default;
    // The index of the button that was pressed; nothing when the alert was cancelled or could not be shown.
    virtual std::optional<std::size_t> showAlert(const AlertContent& content) = 0;
    // The place that was confirmed; nothing when the panel was cancelled or could not be shown.
    virtual std::optional<FileUrl> showOpenPanel(const OpenPanelContent& content) = 0;
};

// Who presents dialogs in this process. At first: the dialog program on the display; where there is no
// display (or no such program), a prompt on the process's terminal; where there is neither, nobody: every
// dialog counts as cancelled, with one log line.
PLATFORM_API DialogPresenter& dialogPresenter();
// Presents with another one, which stays the caller's; null restores the first. For tests.
PLATFORM_API void setDialogPresenter(DialogPresenter* presenter);
// The program that is run on a display instead of the one that stands beside this library; an absolute path,
// empty to restore that one. It speaks what DialogMessages.h describes on its standard input.
PLATFORM_API void setDialogProgram(std::string path);

} // namespace kitwell::platform
