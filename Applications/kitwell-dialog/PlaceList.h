#pragma once

#include <functional>
#include <set>
#include <string>

#include "kitwell-dialog/Toolkit.h"

namespace kitwell::dialog {

// The entries of one folder, folders first, without the hidden ones, of which one at most is selected. Those
// that are not enabled are dimmed, and the keyboard passes over them; a folder among them can still be
// entered.
class PlaceList {
public:
    struct Rules {
        std::function<bool(const std::string& path)> isEnabled; // asked when a row comes into sight
        std::function<void()> selectionChanged;
        std::function<void(const std::string& path)> enter; // a folder was activated
    };
    explicit PlaceList(Rules rules);
    PlaceList(const PlaceList&) = delete;
    PlaceList& operator=(const PlaceList&) = delete;

    // Belongs to the window that it is added to.
    GtkWidget* widget() const { return scroller_; }
    GtkWidget* rows() const { return rows_; }
    void showFolder(const std::string& path);
    // Empty for none.
    std::string selectedPath() const;
    void enterSelected() const { activate(gtk_single_selection_get_selected(selection_)); }
    // Asks the rule again for each row in sight.
    void refresh();

private:
    GtkListItemFactory* newFactory();
    void makeRow(GtkListItem* item);
    void fillRow(GtkListItem* item);
    void setEnabled(GtkListItem* item) const;
    void activate(guint position) const;

    Rules rules_;
    GtkDirectoryList* directory_;
    GtkSingleSelection* selection_;
    GtkWidget* rows_;
    GtkWidget* scroller_;
    std::set<GtkListItem*> inSight_;
};

} // namespace kitwell::dialog
