#pragma once

#include <string>
#include <utility>

#include "KitwellPlatform/Interface/DialogMessages.h"
#include "KitwellPlatform/Interface/Dialogs.h"

namespace kitwell::platform {

// Shows each dialog with a process of its own, so that no process of this library's users loads a toolkit.
// That process's death, or anything it says that it must not say, cancels the dialog, with a log line. Inside
// the library only; main thread.
class DialogProgram final : public DialogPresenter {
public:
    explicit DialogProgram(std::string executable) : executable_(std::move(executable)) {}

    std::optional<std::size_t> showAlert(const AlertContent& content) override;
    std::optional<FileUrl> showOpenPanel(const OpenPanelContent& content) override;

private:
    std::string executable_;
};

} // namespace kitwell::platform
