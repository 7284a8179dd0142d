#include "kitwell-dialog/PanelWindow.h"

namespace kitwell::dialog {

using namespace platform;

namespace {

constexpr int kWidth = 560;
constexpr int kHeight = 480;
constexpr int kSpacing = 12;

std::string displayName(const std::string& path) {
    const OwnedText name(g_filename_display_name(path.c_str()));
    return name.get();
}

} // namespace

PanelWindow::PanelWindow(const OpenPanelContent& content, const Teller& tell)
    : verdicts_([tell](const FileUrl& place) { tell(PlaceQuestion{place}); }),
      places_({[this](const std::string& path) { return verdicts_.isEnabled(path); }, [this] { update(); },
               [this](const std::string& path) { enter(path); }}),
      window_(content.prompt, GTK_ACCESSIBLE_ROLE_DIALOG, tell) {
    GtkWidget* explanation = newTextLabel(content.accessoryText);
    gtk_widget_add_css_class(explanation, "heading");
    window_.append(explanation);
    window_.append(newFolderRow());
    window_.append(places_.widget());
    confirmButton_ = window_.addButton(content.prompt, [this] { return PlaceChoice{FileUrl(candidate())}; });
    GtkWidget* cancel = window_.addButton(toolkitText("_Cancel"), [] { return DialogCancel(); });
    gtk_label_set_use_underline(GTK_LABEL(gtk_button_get_child(GTK_BUTTON(cancel))), TRUE);
    window_.setDefault(confirmButton_);
    listenToKeys();
    enter(content.folder.path());
    gtk_window_set_default_size(GTK_WINDOW(window_.widget()), kWidth, kHeight);
    window_.describeBy(explanation, folderLabel_);
    window_.show(places_.rows());
}

void PanelWindow::take(const PlaceVerdict& verdict) {
    verdicts_.take(verdict);
    places_.refresh();
    update();
}

GtkWidget* PanelWindow::newFolderRow() {
    upButton_ = gtk_button_new_from_icon_name("go-up-symbolic");
    folderLabel_ = gtk_label_new(nullptr);
    gtk_label_set_ellipsize(GTK_LABEL(folderLabel_), PANGO_ELLIPSIZE_START);
    onSignal(upButton_, "clicked", [this] { goUp(); });
    GtkWidget* row = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, kSpacing);
    gtk_box_append(GTK_BOX(row), upButton_);
    gtk_box_append(GTK_BOX(row), folderLabel_);
    return row;
}

void PanelWindow::listenToKeys() {
    onKey(window_.widget(), GDK_KEY_Up, GDK_ALT_MASK, [this] {
        goUp();
        return true;
    });
    onKey(window_.widget(), GDK_KEY_Down, GDK_ALT_MASK, [this] {
        places_.enterSelected();
        return true;
    });
    // A list takes Enter as "enter the folder"; in a dialog it confirms.
    for (const guint key : {guint{GDK_KEY_Return}, guint{GDK_KEY_KP_Enter}})
        onKey(places_.rows(), key, kNoModifiers,
              [this] { return gtk_widget_activate(confirmButton_) != FALSE; });
}

void PanelWindow::enter(const std::string& folder) {
    folder_ = folder;
    verdicts_.forget();
    gtk_label_set_label(GTK_LABEL(folderLabel_), displayName(folder).c_str());
    gtk_widget_set_sensitive(upButton_, folder == "/" ? FALSE : TRUE);
    places_.showFolder(folder);
    // The row that had the keyboard is gone; what comes next in the window would be the button that cancels.
    gtk_window_set_focus(GTK_WINDOW(window_.widget()), places_.rows());
    update();
}

void PanelWindow::goUp() {
    enter(FileUrl(folder_).deletingLastPathComponent().path());
}

std::string PanelWindow::candidate() const {
    std::string selected = places_.selectedPath();
    return selected.empty() ? folder_ : selected;
}

void PanelWindow::update() {
    gtk_widget_set_sensitive(confirmButton_, verdicts_.isEnabled(candidate()) ? TRUE : FALSE);
}

} // namespace kitwell::dialog
