#pragma once

#include <optional>
#include <string>

#include "KitwellPlatform/Values/Value.h"

namespace kitwell::applications {

// The value in one line of JSON. A date becomes its ISO 8601 text; what JSON has no word for (data, a number
// that is not finite) becomes null. Bytes that are not UTF-8 become U+FFFD; control characters are
// escaped. What is nested deeper than JSON is written becomes a text that says so. Nothing when the value is
// larger than JSON is written.
std::optional<std::string> jsonText(const platform::Value& value);

} // namespace kitwell::applications
