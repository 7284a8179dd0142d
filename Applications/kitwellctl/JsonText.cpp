#include "JsonText.h"

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

// The value in kinds that JSON knows.
Value withWords(const Value& value) {
    if (const std::string* text = value.asText())
        return validText(*text);
    if (const platform::Date* date = value.asDate())
        return date->iso8601() ? Value(*date->iso8601()) : Value();
    if (const double* number = value.asDouble())
        return std::isfinite(*number) ? value : Value();
    if (const platform::Array* array = value.asArray()) {
        platform::Array all;
        for (const Value& element : *array)
            all.push_back(withWords(element));
        return all;
    }
    if (const platform::Dictionary* entries = value.asDictionary()) {
        platform::Dictionary all;
        for (const auto& [key, held] : *entries)
            all.set(validText(key), withWords(held));
        return all;
    }
    return value.asData() ? Value() : value;
}

} // namespace

std::string jsonText(const Value& value) {
    const auto json = platform::writeJson(withWords(value), platform::JsonLayout::Compact);
    return json ? std::string(json->text()) : "null"; // nested too deep
}

} // namespace kitwell::applications
