#include "kitwell-dialog/AlertWindow.h"

namespace kitwell::dialog {

using namespace platform;

namespace {

constexpr int kIconSize = 48;
constexpr int kSpacing = 18;
constexpr int kMaxMessageLines = 8;
constexpr int kMinTextWidth = 300;
constexpr int kMaxTextHeight = 320; // what is longer is scrolled

const char* iconName(AlertStyle style) {
    switch (style) {
    case AlertStyle::Informational:
        return "dialog-information-symbolic";
    case AlertStyle::Critical:
        return "dialog-error-symbolic";
    case AlertStyle::Warning:
        break;
    }
    return "dialog-warning-symbolic";
}

GtkWidget* newIcon(AlertStyle style) {
    GtkWidget* icon = gtk_image_new_from_icon_name(iconName(style));
    gtk_image_set_pixel_size(GTK_IMAGE(icon), kIconSize);
    gtk_widget_set_valign(icon, GTK_ALIGN_START);
    return icon;
}

GtkWidget* newMessage(const std::string& text) {
    GtkWidget* label = newTextLabel(text);
    gtk_widget_add_css_class(label, "title-4");
    gtk_label_set_lines(GTK_LABEL(label), kMaxMessageLines);
    gtk_label_set_ellipsize(GTK_LABEL(label), PANGO_ELLIPSIZE_END);
    return label;
}

GtkWidget* scrolled(GtkWidget* text) {
    GtkWidget* view = gtk_scrolled_window_new();
    GtkScrolledWindow* scroller = GTK_SCROLLED_WINDOW(view);
    gtk_scrolled_window_set_child(scroller, text);
    gtk_scrolled_window_set_policy(scroller, GTK_POLICY_NEVER, GTK_POLICY_AUTOMATIC);
    gtk_scrolled_window_set_propagate_natural_height(scroller, TRUE);
    gtk_scrolled_window_set_max_content_height(scroller, kMaxTextHeight);
    return view;
}

} // namespace

AlertWindow::AlertWindow(const AlertContent& content, const Teller& tell)
    : window_(content.message, GTK_ACCESSIBLE_ROLE_ALERT_DIALOG, tell) {
    GtkWidget* message = newMessage(content.message);
    GtkWidget* information = newTextLabel(content.informativeText);
    GtkWidget* texts = gtk_box_new(GTK_ORIENTATION_VERTICAL, kSpacing / 2);
    gtk_widget_set_valign(texts, GTK_ALIGN_CENTER);
    gtk_widget_set_size_request(texts, kMinTextWidth, -1);
    gtk_box_append(GTK_BOX(texts), message);
    GtkWidget* view = scrolled(information);
    gtk_widget_set_visible(view, content.informativeText.empty() ? FALSE : TRUE);
    gtk_box_append(GTK_BOX(texts), view);

    GtkWidget* row = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, kSpacing);
    gtk_box_append(GTK_BOX(row), newIcon(content.style));
    gtk_box_append(GTK_BOX(row), texts);
    window_.append(row);

    GtkWidget* first = nullptr;
    for (std::size_t index = 0; index < content.buttons.size(); ++index) {
        GtkWidget* button = window_.addButton(content.buttons[index], [index] { return ButtonPress{index}; });
        first = first ? first : button;
    }
    window_.setDefault(first);
    gtk_window_set_resizable(GTK_WINDOW(window_.widget()), FALSE);
    window_.describeBy(message, information);
    window_.show(first);
}

} // namespace kitwell::dialog
