#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "KitwellPlatform/Export.h"
#include "KitwellPlatform/Values/Data.h"
#include "KitwellPlatform/Values/Result.h"
#include "KitwellPlatform/Values/Value.h"

namespace kitwell::platform {

inline constexpr std::string_view kJsonErrorDomain = "json";

// The codes of the errors of that domain.
enum class JsonFault : std::int64_t {
    Syntax = 1,   // not JSON; also what follows the value
    Empty = 2,    // nothing but white space
    Encoding = 3, // not UTF-8, or half a surrogate pair
    Number = 4,   // beyond the range of a double
    Depth = 5,    // nested deeper than kMaxJsonDepth
    Size = 6,     // more bytes or more values than are let through
    Unwritable = 7,
};

// Bounds of what is read and written; whatever is beyond them is an error, found before memory is taken.
inline constexpr std::size_t kMaxJsonDepth = 512;
inline constexpr std::size_t kMaxJsonBytes = 64U << 20;
inline constexpr std::size_t kMaxJsonValues = 4U << 20;

// Both count from 1; the column counts characters.
struct JsonPosition {
    std::size_t line = 1;
    std::size_t column = 1;
    friend bool operator==(const JsonPosition&, const JsonPosition&) = default;
};

// What a reading found beside the value.
struct JsonReport {
    struct Duplicate {
        std::string key;
        JsonPosition position; // of the later key
    };
    JsonPosition fault;                // where the reading failed, if it did
    std::vector<Duplicate> duplicates; // of the whole text, in its order; not more than kMaxJsonDuplicates
};
inline constexpr std::size_t kMaxJsonDuplicates = 100;

// Reads a JSON text (RFC 8259) of at most `maxBytes`; a byte order mark in front is skipped. A number becomes
// a 64-bit integer or a double when that is written with the very same text, else a NumberText, so that no
// number is changed by reading and writing. Of several values under one key of a dictionary the last one
// stays. An error tells its place in its description, and in the report if there is one; a number is one
// when it is too large for a double. Any thread.
PLATFORM_API Result<Value> parseJson(std::string_view text, std::size_t maxBytes = kMaxJsonBytes,
                                     JsonReport* report = nullptr);

enum class JsonLayout { Compact, Pretty };

// The value as JSON: in one line, or in lines indented by four blanks and ended by a line break. The error
// Unwritable for what JSON has no word for (a date, data, a number that is not finite, a text that is not
// UTF-8, a NumberText that is no number) and for what is nested deeper than kMaxJsonDepth; Size, as soon as
// it shows, for more than `maxBytes` or kMaxJsonValues, so that all that is written can be read again.
// Compact, a value never takes more bytes than the text that it was read from. Any thread.
PLATFORM_API Result<Data> writeJson(const Value& root, JsonLayout layout,
                                    std::size_t maxBytes = kMaxJsonBytes);

} // namespace kitwell::platform
