#pragma once

#include <string>
#include <utility>

#include "KitwellPlatform/Files/FileDescriptor.h"
#include "KitwellPlatform/Interface/Dialogs.h"

namespace kitwell::platform {

// The terminal on which this process may ask: the one that controls it, while it stands in its foreground;
// else what its standard input and output are, when both are a terminal. Empty when there is none.
FileDescriptor openTerminal();

// Shows dialogs as text and reads the answer as a line. An empty line and the end of input cancel. Inside the
// library only; main thread.
class TerminalPrompt final : public DialogPresenter {
public:
    explicit TerminalPrompt(FileDescriptor terminal) : terminal_(std::move(terminal)) {}

    std::optional<std::size_t> showAlert(const AlertContent& content) override;
    std::optional<FileUrl> showOpenPanel(const OpenPanelContent& content) override;

private:
    FileDescriptor terminal_;
};

} // namespace kitwell::platform
