#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "KitwellCommon/Export.h"
#include "KitwellPlatform/Values/Value.h"

namespace kitwell {

// Turns what an administrator types into what the settings store. Any thread.
class KITWELL_API KWSKeyValueHelper {
public:
    KWSKeyValueHelper() = delete;

    // Reads a comma-separated list of tool names, or kKWSWhiteToolsList_BusinessToolsetValue alone, into the
    // value for kKWSWhiteToolsListKey: an array of texts without white space around them, empty ones
    // included; no array for a blank text, which stands for no white list. Answers true with error code 0;
    // false with -1 and no array when there is no text at all, or when the predefined set stands among names
    // (with a log line). False, and nothing is touched, when one of the places is missing.
    static bool arrayFromWhiteListString(std::optional<std::string_view> text,
                                         std::optional<platform::Array>* outArray, std::int64_t* errorCode);
};

} // namespace kitwell
