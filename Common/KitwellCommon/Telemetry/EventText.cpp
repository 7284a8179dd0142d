#include "KitwellCommon/Telemetry/EventText.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>

#include "KitwellCommon/Telemetry/CEPLogContext.h"
#include "KitwellPlatform/Values/Date.h"
#include "KitwellPlatform/Values/Text.h"
#include "KitwellPlatform/Values/Xml.h"

namespace kitwell {

using platform::Array;
using platform::Dictionary;
using platform::Value;

namespace {

constexpr std::size_t kUsualSize = 4096;
constexpr std::size_t kDeepestIndentation = 7;

// ---- Numbers and dates

template <class... Form>
std::string printed(Form... form) {
    std::array<char, 48> digits;
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), form...).ptr;
    return {digits.data(), end};
}

// As the C library's "%g".
std::string printedShort(double number) {
    constexpr int kDigits = 6;
    return printed(number, std::chars_format::general, kDigits);
}

void appendDigits(std::string& text, int number, int count) {
    std::array<char, 10> digits;
    for (int place = count - 1; place >= 0; --place, number /= 10)
        digits[static_cast<std::size_t>(place)] = static_cast<char>('0' + number % 10);
    text.append(digits.data(), static_cast<std::size_t>(count));
}

// "2026-11-16 19:40:05.123", UTC.
void appendTimestamp(std::string& text, platform::Date date) {
    const platform::CalendarTime time = date.calendar().value_or(platform::CalendarTime());
    const double seconds = date.secondsSinceReference;
    const int milliseconds = static_cast<int>((seconds - std::floor(seconds)) * 1000);
    appendDigits(text, time.year, 4);
    appendDigits(text += '-', time.month, 2);
    appendDigits(text += '-', time.day, 2);
    appendDigits(text += ' ', time.hour, 2);
    appendDigits(text += ':', time.minute, 2);
    appendDigits(text += ':', static_cast<int>(time.second), 2);
    appendDigits(text += '.', milliseconds, 3);
}

// ---- What is written as it comes: the action, keys, and the bundle's texts

bool isPlainAscii(std::string_view text) {
    return std::all_of(text.begin(), text.end(), [](char character) {
        return static_cast<unsigned char>(character) < 0x80 &&
               (character >= 0x20 || character == '\n' || character == '\t');
    });
}

// Markup stays, so that it is the program's own words that stand here; what no document may hold does not.
void appendAsItComes(std::string& text, std::string_view words) {
    if (isPlainAscii(words))
        text += words;
    else
        text += platform::withXmlCharactersOnly(words);
}

// ---- Entries of a container

bool isContainer(const Value& value) {
    return value.asDictionary() || value.asArray();
}

// Calls `visit` with the name and value of each entry that is not null.
template <class Visit>
void forEachItem(const Value& container, Visit visit) {
    if (const Dictionary* dictionary = container.asDictionary()) {
        for (const auto& [key, value] : *dictionary) {
            if (!value.isNull())
                visit(key, value);
        }
    } else if (const Array* array = container.asArray()) {
        std::size_t index = 0;
        for (const Value& value : *array) {
            if (!value.isNull())
                visit("_" + printed(index), value);
            ++index;
        }
    }
}

void appendScalar(std::string& text, std::string_view name, const Value& value) {
    const auto append = [&](std::string_view shown) { CEPLogAppendAttribute(text, name, shown, false); };
    if (const std::string* string = value.asText())
        CEPLogAppendAttribute(text, name, *string, true);
    else if (const bool* truth = value.asBoolean())
        append(*truth ? "true" : "false");
    else if (const std::int64_t* number = value.asSigned())
        append(printed(*number));
    else if (const std::uint64_t* large = value.asUnsigned())
        append(printed(static_cast<std::int64_t>(*large)));
    else if (const double* real = value.asDouble())
        append(printedShort(*real));
    else if (const platform::Date* date = value.asDate()) {
        if (const auto shown = date->localText())
            append(*shown);
    }
}

void indent(std::string& text, std::size_t depth) {
    text.append(std::min(depth, kDeepestIndentation), '\t');
}

// What follows a start tag's attributes: its nested containers as children, and the end tag.
void finishElement(std::string& text, std::string_view name, const Value& container, std::size_t depth,
                   std::size_t nestedCount) {
    if (nestedCount == 0 || depth >= kMaxEventDepth) {
        text += "/>\n";
        return;
    }
    text += ">\n";
    CEPLogWriteItems(text, container, depth + 1, nullptr);
    indent(text, depth);
    appendAsItComes(text += "</", name);
    text += ">\n";
}

void appendElement(std::string& text, std::string_view name, const Value& container, std::size_t depth) {
    indent(text, depth);
    appendAsItComes(text += '<', name);
    std::size_t nestedCount = 0;
    CEPLogWriteItems(text, container, depth, &nestedCount);
    finishElement(text, name, container, depth, nestedCount);
}

void appendStart(std::string& text, std::string_view action) {
    const CEPLogContext& context = cepLogContext();
    text += kEventStart;
    appendTimestamp(text, platform::Date::now());
    text += '"';
    if (context.toolIdentifier)
        CEPLogAppendAttribute(text, "tool", *context.toolIdentifier, false);
    CEPLogAppendAttribute(text, "toollocation", context.toolLocation, false);
    CEPLogAppendAttribute(text, "toolversion", context.toolVersion, false);
    CEPLogAppendAttribute(text, "action", action, false);
}

} // namespace

bool CEPLogIsEmpty(const Value& value) {
    if (const Dictionary* dictionary = value.asDictionary())
        return dictionary->empty();
    const Array* array = value.asArray();
    return !array || array->empty();
}

void CEPLogAppendAttribute(std::string& text, std::string_view name, std::string_view value, bool isEscaped) {
    text += ' ';
    appendAsItComes(text, name);
    text += "=\"";
    if (isEscaped)
        platform::appendXmlAttributeText(text, value);
    else
        appendAsItComes(text, value);
    text += '"';
}

void CEPLogWriteItems(std::string& text, const Value& container, std::size_t depth,
                      std::size_t* nestedCount) {
    if (nestedCount)
        *nestedCount = 0;
    forEachItem(container, [&](std::string_view name, const Value& value) {
        if (!nestedCount && isContainer(value))
            appendElement(text, name, value, depth);
        else if (nestedCount && isContainer(value))
            ++*nestedCount;
        else if (nestedCount)
            appendScalar(text, name, value);
    });
}

void writeEvent(std::string& text, std::string_view action, const Value& attributes, const Value& options,
                const Value& details) {
    text.clear();
    text.reserve(kUsualSize);
    appendStart(text, action);
    std::size_t nestedCount = 0;
    if (attributes.asDictionary())
        CEPLogWriteItems(text, attributes, 1, &nestedCount);
    if (nestedCount == 0 && CEPLogIsEmpty(options) && CEPLogIsEmpty(details)) {
        text += "/>\n";
    } else {
        text += ">\n";
        if (nestedCount > 0)
            CEPLogWriteItems(text, attributes, 1, nullptr);
        if (!CEPLogIsEmpty(options))
            appendElement(text, "options", options, 1);
        if (!CEPLogIsEmpty(details))
            appendElement(text, "details", details, 1);
        text += kEventEnd.substr(1); // the line before it has ended
    }
}

} // namespace kitwell
