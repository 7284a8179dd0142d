#pragma once

#include <string>

#include "KitwellPlatform/Export.h"
#include "KitwellPlatform/Files/FileUrl.h"
#include "KitwellPlatform/Interface/Dialogs.h"

namespace kitwell::platform {

class OpenPanel;

// Decides which places a panel enables. Main thread.
class PLATFORM_API OpenPanelDelegate {
public:
    virtual ~OpenPanelDelegate() = default;
    virtual bool panelShouldEnableURL(const OpenPanel& panel, const FileUrl& url) = 0;
};

enum class ModalResponse { Cancel = 0, OK = 1 };

// Asks for one file or folder. Main thread.
class PLATFORM_API OpenPanel {
public:
    void setPrompt(std::string title) { content_.prompt = std::move(title); }
    void setAccessoryText(std::string text) { content_.accessoryText = std::move(text); }
    void setCanChooseFiles(bool can) { content_.canChooseFiles = can; }
    void setCanChooseFolders(bool can) { content_.canChooseFolders = can; }
    // The folder in which the panel opens. `directoryUrl` answers it as the panel holds it: absolute, without
    // trailing slash.
    void setDirectoryUrl(const FileUrl& url);
    const FileUrl& directoryUrl() const { return content_.folder; }
    // Stays the caller's; null for none.
    void setDelegate(OpenPanelDelegate* delegate) { delegate_ = delegate; }

    // Waits for the person's answer; the run loop goes on in the modal mode.
    ModalResponse runModal();
    // What was chosen, after ModalResponse::OK.
    const FileUrl& url() const { return url_; }

private:
    OpenPanelContent content_;
    OpenPanelDelegate* delegate_ = nullptr;
    FileUrl url_;
};

} // namespace kitwell::platform
