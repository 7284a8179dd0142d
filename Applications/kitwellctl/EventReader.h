#pragma once

#include <string_view>

#include "KitwellPlatform/Values/Result.h"
#include "KitwellPlatform/Values/Value.h"

namespace kitwell::applications {

// Adds a row for each event of the document: time, tool, action, attributes, options, details, version and
// location; null where the event has none. A container is a dictionary of what it holds, values as texts;
// what is nested deeper than a hundred containers is left out. The rows of what stood before a fault are
// kept.
platform::Result<void> readEvents(std::string_view document, platform::Array& rows);

} // namespace kitwell::applications
