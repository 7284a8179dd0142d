#include "kitwell-dialog/PlaceList.h"

#include <utility>

namespace kitwell::dialog {

namespace {

constexpr int kRowMargin = 6;
constexpr int kRowSpacing = 12;
constexpr char kAttributes[] = "standard::name,standard::display-name,standard::type,standard::symbolic-icon,"
                               "standard::is-hidden";

GFileInfo* infoOf(gpointer entry) {
    return G_FILE_INFO(entry);
}

std::string pathOf(GFileInfo* info) {
    GFile* file = G_FILE(g_file_info_get_attribute_object(info, "standard::file"));
    const OwnedText path(file ? g_file_get_path(file) : nullptr);
    return path ? path.get() : "";
}

bool isFolder(GFileInfo* info) {
    return g_file_info_get_file_type(info) == G_FILE_TYPE_DIRECTORY;
}

gboolean isVisible(gpointer entry, gpointer) {
    return g_file_info_get_is_hidden(infoOf(entry)) ? FALSE : TRUE;
}

int order(gconstpointer left, gconstpointer right, gpointer) {
    GFileInfo* const first = infoOf(const_cast<gpointer>(left));
    GFileInfo* const second = infoOf(const_cast<gpointer>(right));
    if (isFolder(first) != isFolder(second))
        return isFolder(first) ? -1 : 1;
    return g_utf8_collate(g_file_info_get_display_name(first), g_file_info_get_display_name(second));
}

// The models own what they are made of.
GtkSingleSelection* newSelection(GtkDirectoryList* directory) {
    GtkFilter* visible = GTK_FILTER(gtk_custom_filter_new(isVisible, nullptr, nullptr));
    GtkSorter* sorter = GTK_SORTER(gtk_custom_sorter_new(order, nullptr, nullptr));
    auto* entries = gtk_filter_list_model_new(G_LIST_MODEL(directory), visible);
    auto* sorted = gtk_sort_list_model_new(G_LIST_MODEL(entries), sorter);
    GtkSingleSelection* selection = gtk_single_selection_new(G_LIST_MODEL(sorted));
    gtk_single_selection_set_autoselect(selection, FALSE);
    gtk_single_selection_set_can_unselect(selection, TRUE);
    gtk_single_selection_set_selected(selection, GTK_INVALID_LIST_POSITION);
    return selection;
}

} // namespace

PlaceList::PlaceList(Rules rules)
    : rules_(std::move(rules)), directory_(gtk_directory_list_new(kAttributes, nullptr)),
      selection_(newSelection(directory_)),
      rows_(gtk_list_view_new(GTK_SELECTION_MODEL(selection_), newFactory())),
      scroller_(gtk_scrolled_window_new()) {
    gtk_scrolled_window_set_child(GTK_SCROLLED_WINDOW(scroller_), rows_);
    gtk_scrolled_window_set_has_frame(GTK_SCROLLED_WINDOW(scroller_), TRUE);
    gtk_widget_set_vexpand(scroller_, TRUE);
    onSignal(selection_, "notify::selected", [this] { rules_.selectionChanged(); });
    const auto activated = +[](GtkListView*, guint position, gpointer list) {
        static_cast<const PlaceList*>(list)->activate(position);
    };
    g_signal_connect(rows_, "activate", G_CALLBACK(activated), this);
}

void PlaceList::showFolder(const std::string& path) {
    const Owned<GFile> folder(g_file_new_for_path(path.c_str()));
    gtk_single_selection_set_selected(selection_, GTK_INVALID_LIST_POSITION);
    gtk_directory_list_set_file(directory_, folder.get());
}

std::string PlaceList::selectedPath() const {
    gpointer entry = gtk_single_selection_get_selected_item(selection_);
    return entry ? pathOf(infoOf(entry)) : "";
}

void PlaceList::refresh() {
    for (GtkListItem* item : inSight_)
        setEnabled(item);
}

GtkListItemFactory* PlaceList::newFactory() {
    using Handler = void (*)(GtkSignalListItemFactory*, GtkListItem*, gpointer);
    const Handler setup = [](GtkSignalListItemFactory*, GtkListItem* item, gpointer list) {
        static_cast<PlaceList*>(list)->makeRow(item);
    };
    const Handler bind = [](GtkSignalListItemFactory*, GtkListItem* item, gpointer list) {
        static_cast<PlaceList*>(list)->fillRow(item);
    };
    const Handler unbind = [](GtkSignalListItemFactory*, GtkListItem* item, gpointer list) {
        static_cast<PlaceList*>(list)->inSight_.erase(item);
    };
    GtkListItemFactory* factory = gtk_signal_list_item_factory_new();
    g_signal_connect(factory, "setup", G_CALLBACK(setup), this);
    g_signal_connect(factory, "bind", G_CALLBACK(bind), this);
    g_signal_connect(factory, "unbind", G_CALLBACK(unbind), this);
    return factory;
}

void PlaceList::makeRow(GtkListItem* item) {
    GtkWidget* row = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, kRowSpacing);
    setMargins(row, kRowMargin);
    GtkWidget* name = gtk_label_new(nullptr);
    gtk_label_set_ellipsize(GTK_LABEL(name), PANGO_ELLIPSIZE_MIDDLE);
    gtk_box_append(GTK_BOX(row), gtk_image_new());
    gtk_box_append(GTK_BOX(row), name);
    gtk_list_item_set_child(item, row);
}

void PlaceList::fillRow(GtkListItem* item) {
    GFileInfo* info = infoOf(gtk_list_item_get_item(item));
    GtkWidget* icon = gtk_widget_get_first_child(gtk_list_item_get_child(item));
    gtk_image_set_from_gicon(GTK_IMAGE(icon), g_file_info_get_symbolic_icon(info));
    gtk_label_set_label(GTK_LABEL(gtk_widget_get_next_sibling(icon)), g_file_info_get_display_name(info));
    gtk_list_item_set_activatable(item, isFolder(info) ? TRUE : FALSE);
    inSight_.insert(item);
    setEnabled(item);
}

void PlaceList::setEnabled(GtkListItem* item) const {
    const gboolean enabled = rules_.isEnabled(pathOf(infoOf(gtk_list_item_get_item(item)))) ? TRUE : FALSE;
    gtk_widget_set_sensitive(gtk_list_item_get_child(item), enabled);
}

void PlaceList::activate(guint position) const {
    const Owned<GFileInfo> entry(infoOf(g_list_model_get_item(G_LIST_MODEL(selection_), position)));
    if (entry && isFolder(entry.get()))
        rules_.enter(pathOf(entry.get()));
}

} // namespace kitwell::dialog
