#include "KitwellPlatform/Interface/Alert.h"

namespace kitwell::platform {

int Alert::runModal() {
    const auto button = dialogPresenter().showAlert(content_);
    return button ? kAlertFirstButtonReturn + static_cast<int>(*button) : kAlertCancelled;
}

} // namespace kitwell::platform
