#include "JsonText.h"

#include <algorithm>
#include <cmath>

#include "KitwellPlatform/Values/Json.h"
#include "KitwellPlatform/Values/Text.h"

namespace kitwell::applications {

using platform::Value;

namespace {

// A text that is not UTF-8 keeps its ASCII characters.
std::string validText(const std::string& text) {
    if (platform::isValidUtf8(text))
        return text;
    std::string valid;
    for (const char character : text)
        valid += static_cast<unsigned char>(character) < 0x80 ? std::string(1, character) : "\uFFFD";
    return valid;
}

// JSON itself lets them stand, but a terminal obeys them.
std::string withEscapedControls(std::string_view json) {
    std::string escaped;
    while (!json.empty()) {
        const std::size_t size = platform::leadingControlCharacter(json);
        if (size > 0)
            escaped +=
                platform::formatText("\\u%04x", std::uint64_t{static_cast<unsigned char>(json[size - 1])});
        else
            escaped += json.front();
        json.remove_prefix(std::max<std::size_t>(size, 1));
    }
    return escaped;
}

// The value in kinds that JSON knows, as deep as is written.
Value withWords(const Value& value, std::size_t depth) {
    if (const std::string* text = value.asText())
        return validText(*text);
    if (const platform::Date* date = value.asDate())
        return date->iso8601() ? Value(*date->iso8601()) : Value();
    if (const double* number = value.asDouble())
        return std::isfinite(*number) ? value : Value();
    if (depth == platform::kMaxJsonDepth && (value.asArray() || value.asDictionary()))
        return "(nested too deep)";
    if (const platform::Array* array = value.asArray()) {
        platform::Array all;
        for (const Value& element : *array)
            all.push_back(withWords(element, depth + 1));
        return all;
    }
    if (const platform::Dictionary* entries = value.asDictionary()) {
        platform::Dictionary all;
        for (const auto& [key, held] : *entries)
            all.set(validText(key), withWords(held, depth + 1));
        return all;
    }
    return value.asData() ? Value() : value;
}

} // namespace

std::optional<std::string> jsonText(const Value& value) {
    const auto json = platform::writeJson(withWords(value, 0), platform::JsonLayout::Compact);
    return json ? std::optional(withEscapedControls(json->text())) : std::nullopt;
}

} // namespace kitwell::applications
