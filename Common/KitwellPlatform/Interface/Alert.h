#pragma once

#include <string>
#include <utility>
#include <vector>

#include "KitwellPlatform/Export.h"
#include "KitwellPlatform/Interface/Dialogs.h"

namespace kitwell::platform {

// What `runModal` answers for the first, second, … button.
inline constexpr int kAlertFirstButtonReturn = 1000;
inline constexpr int kAlertSecondButtonReturn = 1001;
// What it answers when no button was pressed: the alert was closed, or there was nobody to show it to.
inline constexpr int kAlertCancelled = 0;

// A message with buttons. Main thread.
class PLATFORM_API Alert {
public:
    void setAlertStyle(AlertStyle style) { content_.style = style; }
    AlertStyle alertStyle() const { return content_.style; }
    void setMessageText(std::string text) { content_.message = std::move(text); }
    const std::string& messageText() const { return content_.message; }
    void setInformativeText(std::string text) { content_.informativeText = std::move(text); }
    void addButtonWithTitle(std::string title) { content_.buttons.push_back(std::move(title)); }
    const std::vector<std::string>& buttons() const { return content_.buttons; }

    // Waits for the person's answer; the run loop goes on in the modal mode.
    int runModal();

private:
    AlertContent content_;
};

} // namespace kitwell::platform
