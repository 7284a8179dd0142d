#include "KitwellPlatform/Interface/Dialogs.h"

#include "KitwellPlatform/Files/FileManager.h"
#include "KitwellPlatform/Files/SearchPaths.h"
#include "KitwellPlatform/Interface/DialogProgram.h"
#include "KitwellPlatform/Interface/TerminalPrompt.h"
#include "KitwellPlatform/Logging/Log.h"
#include "KitwellPlatform/Machine/Environment.h"

namespace kitwell::platform {

namespace {

struct Presenters {
    DialogPresenter* replacement = nullptr;
    std::string replacementProgram;
};

Presenters& presenters() {
    static Presenters one;
    return one;
}

bool isSet(const char* name) {
    return !environmentVariable(name).value_or("").empty();
}

std::string dialogProgram() {
    const std::string& replacement = presenters().replacementProgram;
    return replacement.empty() ? SearchPaths::dialogProgram() : replacement;
}

// Enough to tell which dialog it was.
std::string beginningOf(const std::string& text) {
    constexpr std::size_t kMaxBytes = 200;
    if (text.size() <= kMaxBytes)
        return text;
    std::size_t end = kMaxBytes;
    while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0U) == 0x80) // not inside a character
        --end;
    return text.substr(0, end) + "...";
}

// Looks for a way to the person anew at each dialog: a display or a terminal may have come or gone.
class SystemPresenter final : public DialogPresenter {
public:
    std::optional<std::size_t> showAlert(const AlertContent& content) override {
        return show([&](DialogPresenter& presenter) { return presenter.showAlert(content); },
                    content.message);
    }
    std::optional<FileUrl> showOpenPanel(const OpenPanelContent& content) override {
        return show([&](DialogPresenter& presenter) { return presenter.showOpenPanel(content); },
                    content.accessoryText);
    }

private:
    template <class Show>
    static std::invoke_result_t<Show, DialogPresenter&> show(const Show& showWith,
                                                             const std::string& subject) {
        const bool hasDisplay = isSet("WAYLAND_DISPLAY") || isSet("DISPLAY");
        if (const std::string program = dialogProgram(); hasDisplay && FileManager::isExecutable(program)) {
            DialogProgram presenter(program);
            return showWith(presenter);
        }
        if (FileDescriptor terminal = openTerminal()) {
            TerminalPrompt presenter(std::move(terminal));
            return showWith(presenter);
        }
        writeLogLine("There is nowhere to show a dialog, which counts as cancelled: " + beginningOf(subject));
        return std::nullopt;
    }
};

} // namespace

bool OpenPanelContent::allows(const FileUrl& place) const {
    const std::string path = place.path();
    const bool isFolder = FileManager::folderExists(path);
    const bool isOfKind = isFolder ? canChooseFolders : canChooseFiles && FileManager::fileExists(path);
    return isOfKind && (!isEnabled || isEnabled(place));
}

DialogPresenter& dialogPresenter() {
    static SystemPresenter system;
    DialogPresenter* const replacement = presenters().replacement;
    if (replacement)
        return *replacement;
    return system;
}

void setDialogPresenter(DialogPresenter* presenter) {
    presenters().replacement = presenter;
}

void setDialogProgram(std::string path) {
    presenters().replacementProgram = std::move(path);
}

} // namespace kitwell::platform
