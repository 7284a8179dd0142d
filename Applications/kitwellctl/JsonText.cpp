#include "JsonText.h"

#include <array>
#include <charconv>
#include <cmath>

#include "KitwellPlatform/Values/Text.h"

namespace kitwell::applications {

using platform::Value;

namespace {

std::string quoted(std::string_view text) {
    const bool isUtf8 = platform::isValidUtf8(text);
    std::string json = "\"";
    for (const char character : text) {
        const auto byte = static_cast<unsigned char>(character);
        if (character == '"' || character == '\\')
            (json += '\\') += character;
        else if (byte < 0x20)
            json += platform::formatText("\\u%04x", unsigned{byte});
        else if (byte >= 0x80 && !isUtf8)
            json += "\\ufffd";
        else
            json += character;
    }
    return json += '"';
}

template <class Number>
std::string shortest(Number number) {
    std::array<char, 32> digits;
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr;
    return {digits.data(), end};
}

template <class List, class Write>
std::string joined(const List& list, Write write) {
    std::string json;
    for (const auto& item : list) {
        json += json.empty() ? "" : ",";
        json += write(item);
    }
    return json;
}

} // namespace

std::string jsonText(const Value& value) {
    if (const bool* boolean = value.asBoolean())
        return *boolean ? "true" : "false";
    if (const std::int64_t* number = value.asSigned())
        return shortest(*number);
    if (const std::uint64_t* number = value.asUnsigned())
        return shortest(*number);
    if (const double* number = value.asDouble(); number && std::isfinite(*number))
        return shortest(*number);
    if (const std::string* text = value.asText())
        return quoted(*text);
    if (const platform::Date* date = value.asDate(); date && date->iso8601())
        return quoted(*date->iso8601());
    if (const platform::Array* array = value.asArray())
        return "[" + joined(*array, jsonText) + "]";
    if (const platform::Dictionary* entries = value.asDictionary())
        return "{" +
               joined(*entries,
                      [](const auto& entry) { return quoted(entry.first) + ":" + jsonText(entry.second); }) +
               "}";
    return "null";
}

} // namespace kitwell::applications
