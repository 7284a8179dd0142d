#include "kitwell-dialog/Toolkit.h"

#include <utility>

namespace kitwell::dialog {

namespace {

template <class Function>
gpointer handedOver(Function function) {
    return std::make_unique<Function>(std::move(function)).release();
}

// Takes back what was handed over, and ends it.
template <class Function>
void drop(gpointer function) {
    const std::unique_ptr<Function> taken(static_cast<Function*>(function));
}

constexpr int kLineWidth = 52; // in characters

} // namespace

void onSignal(gpointer object, const char* signal, std::function<void()> handler) {
    using Handler = std::function<void()>;
    constexpr auto call = +[](gpointer function) -> gboolean {
        (*static_cast<Handler*>(function))();
        return TRUE;
    };
    constexpr auto end = +[](gpointer function, GClosure*) { drop<Handler>(function); };
    g_signal_connect_data(object, signal, G_CALLBACK(call), handedOver(std::move(handler)), end,
                          G_CONNECT_SWAPPED);
}

void onKey(GtkWidget* widget, guint key, GdkModifierType modifiers, std::function<bool()> handler) {
    using Handler = std::function<bool()>;
    constexpr auto call = +[](GtkWidget*, GVariant*, gpointer function) -> gboolean {
        return (*static_cast<Handler*>(function))() ? TRUE : FALSE;
    };
    GtkEventController* controller = gtk_shortcut_controller_new();
    gtk_event_controller_set_propagation_phase(controller, GTK_PHASE_CAPTURE);
    GtkShortcut* shortcut =
        gtk_shortcut_new(gtk_keyval_trigger_new(key, modifiers),
                         gtk_callback_action_new(call, handedOver(std::move(handler)), drop<Handler>));
    gtk_shortcut_controller_add_shortcut(GTK_SHORTCUT_CONTROLLER(controller), shortcut);
    gtk_widget_add_controller(widget, controller);
}

GtkWidget* newTextLabel(const std::string& text) {
    GtkWidget* widget = gtk_label_new(text.c_str());
    GtkLabel* label = GTK_LABEL(widget);
    gtk_label_set_wrap(label, TRUE);
    gtk_label_set_wrap_mode(label, PANGO_WRAP_WORD_CHAR);
    gtk_label_set_max_width_chars(label, kLineWidth);
    gtk_label_set_xalign(label, 0);
    return widget;
}

void setMargins(GtkWidget* widget, int margin) {
    gtk_widget_set_margin_start(widget, margin);
    gtk_widget_set_margin_end(widget, margin);
    gtk_widget_set_margin_top(widget, margin);
    gtk_widget_set_margin_bottom(widget, margin);
}

const char* toolkitText(const char* key) {
    return g_dgettext("gtk40", key);
}

} // namespace kitwell::dialog
