#include "KitwellPlatform/Interface/OpenPanel.h"

#include <filesystem>

namespace kitwell::platform {

void OpenPanel::setDirectoryUrl(const FileUrl& url) {
    std::error_code ignored;
    content_.folder = FileUrl(FileUrl(std::filesystem::absolute(url.path(), ignored).string()).path());
}

ModalResponse OpenPanel::runModal() {
    OpenPanelContent content = content_;
    if (delegate_)
        content.isEnabled = [this](const FileUrl& url) {
            return delegate_->panelShouldEnableURL(*this, url);
        };
    const auto chosen = dialogPresenter().showOpenPanel(content);
    if (!chosen)
        return ModalResponse::Cancel;
    url_ = *chosen;
    return ModalResponse::OK;
}

} // namespace kitwell::platform
