#pragma once

#include <string>

#include "kitwell-dialog/Session.h"
#include "kitwell-dialog/Toolkit.h"

namespace kitwell::dialog {

// The window of a dialog: whatever it shows, and a row of buttons below. Escape and the close button cancel;
// Enter presses the default button.
class DialogWindow {
public:
    DialogWindow(const std::string& title, GtkAccessibleRole role, Teller tell);
    DialogWindow(const DialogWindow&) = delete;
    DialogWindow& operator=(const DialogWindow&) = delete;
    ~DialogWindow();

    GtkWidget* widget() const { return window_; }
    void append(GtkWidget* content) const { gtk_box_append(GTK_BOX(column_), content); }
    // A button that gives this answer, to the left of those that are there.
    GtkWidget* addButton(const std::string& label, std::function<platform::DialogReply()> answer) const;
    void setDefault(GtkWidget* button) const;
    // The first one is the window's name, the second one tells more, to those who hear the dialog.
    void describeBy(GtkWidget* name, GtkWidget* description) const;
    // Called when all has been added; `focus` has the keyboard first.
    void show(GtkWidget* focus) const;

private:
    Teller tell_;
    GtkWidget* window_;
    GtkWidget* column_;
    GtkWidget* buttons_;
};

} // namespace kitwell::dialog
