#include "kitwell-dialog/DialogWindow.h"

#include <utility>

namespace kitwell::dialog {

namespace {

constexpr int kMargin = 24;
constexpr int kSpacing = 18;
constexpr int kButtonSpacing = 12;
constexpr int kMaxButtonWidth = 40; // in characters

GtkWidget* newWindow(const std::string& title, GtkAccessibleRole role) {
    auto* window =
        GTK_WIDGET(g_object_new(GTK_TYPE_WINDOW, "accessible-role", role, "title", title.c_str(), nullptr));
    gtk_window_set_icon_name(GTK_WINDOW(window), "dialog-information");
    return window;
}

} // namespace

DialogWindow::DialogWindow(const std::string& title, GtkAccessibleRole role, Teller tell)
    : tell_(std::move(tell)), window_(newWindow(title, role)),
      column_(gtk_box_new(GTK_ORIENTATION_VERTICAL, kSpacing)),
      buttons_(gtk_box_new(GTK_ORIENTATION_HORIZONTAL, kButtonSpacing)) {
    setMargins(column_, kMargin);
    gtk_window_set_child(GTK_WINDOW(window_), column_);
    gtk_widget_set_halign(buttons_, GTK_ALIGN_END);
    const auto cancel = [this] {
        tell_(platform::DialogCancel());
        return true;
    };
    onKey(window_, GDK_KEY_Escape, kNoModifiers, cancel);
    onSignal(window_, "close-request", cancel);
}

DialogWindow::~DialogWindow() {
    gtk_window_destroy(GTK_WINDOW(window_));
}

GtkWidget* DialogWindow::addButton(const std::string& label,
                                   std::function<platform::DialogReply()> answer) const {
    GtkWidget* text = gtk_label_new(label.c_str());
    gtk_label_set_ellipsize(GTK_LABEL(text), PANGO_ELLIPSIZE_END);
    gtk_label_set_max_width_chars(GTK_LABEL(text), kMaxButtonWidth);
    GtkWidget* button = gtk_button_new();
    gtk_button_set_child(GTK_BUTTON(button), text);
    onSignal(button, "clicked", [this, answer = std::move(answer)] { tell_(answer()); });
    gtk_box_prepend(GTK_BOX(buttons_), button);
    return button;
}

void DialogWindow::setDefault(GtkWidget* button) const {
    gtk_widget_add_css_class(button, "suggested-action");
    gtk_window_set_default_widget(GTK_WINDOW(window_), button);
}

void DialogWindow::describeBy(GtkWidget* name, GtkWidget* description) const {
    gtk_accessible_update_relation(GTK_ACCESSIBLE(window_), GTK_ACCESSIBLE_RELATION_LABELLED_BY, name,
                                   nullptr, GTK_ACCESSIBLE_RELATION_DESCRIBED_BY, description, nullptr, -1);
}

void DialogWindow::show(GtkWidget* focus) const {
    append(buttons_);
    gtk_window_set_focus(GTK_WINDOW(window_), focus);
    gtk_window_present(GTK_WINDOW(window_));
}

} // namespace kitwell::dialog
