#pragma once

#include <string>

#include "kitwell-dialog/DialogWindow.h"
#include "kitwell-dialog/PlaceList.h"
#include "kitwell-dialog/Session.h"
#include "kitwell-dialog/Verdicts.h"

namespace kitwell::dialog {

// Asks for one place: the explanation, the folder in which the person is and what is in it. What is confirmed
// is the selected entry, or the folder itself while none is selected.
class PanelWindow {
public:
    PanelWindow(const platform::OpenPanelContent& content, const Teller& tell);

    void take(const platform::PlaceVerdict& verdict);

private:
    GtkWidget* newFolderRow();
    void listenToKeys();
    void enter(const std::string& folder);
    void goUp();
    std::string candidate() const;
    void update();

    Verdicts verdicts_;
    PlaceList places_;
    std::string folder_;
    DialogWindow window_; // ends first: its rows tell the list when they go
    GtkWidget* upButton_ = nullptr;
    GtkWidget* folderLabel_ = nullptr;
    GtkWidget* confirmButton_ = nullptr;
};

} // namespace kitwell::dialog
