#pragma once

#include <functional>
#include <gtk/gtk.h>
#include <memory>
#include <string>

namespace kitwell::dialog {

// What a constructor of the toolkit answers to its only owner.
struct Unreference {
    void operator()(gpointer object) const { g_object_unref(object); }
};
template <class Object>
using Owned = std::unique_ptr<Object, Unreference>;

struct Free {
    void operator()(gpointer memory) const { g_free(memory); }
};
using OwnedText = std::unique_ptr<char, Free>;

// Calls the handler at each such signal, until the object goes. A signal that wants an answer is told that it
// has been handled.
void onSignal(gpointer object, const char* signal, std::function<void()> handler);

inline constexpr GdkModifierType kNoModifiers{};

// Calls the handler when the key is pressed in the widget or below it, before those below see it; the handler
// answers whether that was all.
void onKey(GtkWidget* widget, guint key, GdkModifierType modifiers, std::function<bool()> handler);

// A label for a text of somebody else's: never markup, wrapped, its beginning at the left.
GtkWidget* newTextLabel(const std::string& text);

void setMargins(GtkWidget* widget, int margin);

// The toolkit's own text in the user's language.
const char* toolkitText(const char* key);

} // namespace kitwell::dialog
