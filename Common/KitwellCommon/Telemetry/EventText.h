#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "KitwellPlatform/Values/Value.h"

namespace kitwell {

// How one event is put into XML. Inside the framework only; any thread.

// Containers nested deeper than this are left out; what can be shown of them is an element of its own each.
inline constexpr std::size_t kMaxEventDepth = 1024;

// True for what is no dictionary and no array, and for one without entries.
bool CEPLogIsEmpty(const platform::Value& value);

// Appends ` name="value"`. The name is never escaped, the value when that is asked for.
void CEPLogAppendAttribute(std::string& text, std::string_view name, std::string_view value, bool isEscaped);

// With `nestedCount`: appends the scalar entries of the container as attributes, and counts the containers
// among its entries. Without: appends those containers as child elements at this depth. Entries come in the
// container's own order; an array's are named "_0", "_1" …
void CEPLogWriteItems(std::string& text, const platform::Value& container, std::size_t depth,
                      std::size_t* nestedCount);

// Fills `text` with the whole element, in UTF-8 that any XML document can hold.
void writeEvent(std::string& text, std::string_view action, const platform::Value& attributes,
                const platform::Value& options, const platform::Value& details);

// Where an event begins. No value of an event can hold it, since "<" is escaped there.
inline constexpr std::string_view kEventStart = "<event timestamp=\"";
// Where one with children ends: their own lines begin with a tab.
inline constexpr std::string_view kEventEnd = "\n</event>\n";

} // namespace kitwell
