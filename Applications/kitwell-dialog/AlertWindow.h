#pragma once

#include "kitwell-dialog/DialogWindow.h"
#include "kitwell-dialog/Session.h"

namespace kitwell::dialog {

// A message with its buttons, the first one at the right edge, where this desktop has the default one.
class AlertWindow {
public:
    AlertWindow(const platform::AlertContent& content, const Teller& tell);

private:
    DialogWindow window_;
};

} // namespace kitwell::dialog
