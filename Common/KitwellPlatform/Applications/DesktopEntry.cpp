#include "KitwellPlatform/Applications/DesktopEntry.h"

#include <algorithm>

#include "KitwellPlatform/Values/Text.h"

namespace kitwell::platform {

namespace {

constexpr std::string_view kGroup = "[Desktop Entry]";

constexpr std::pair<char, char> kEscapes[] = {
    {'\\', '\\'}, {'n', '\n'}, {'r', '\r'}, {'t', '\t'}, {'s', ' '}};

// A blank needs its escape only where it would be taken for one around the value.
std::string escaped(std::string_view text) {
    std::string value;
    for (std::size_t index = 0; index < text.size(); ++index) {
        const bool isOuter = index == 0 || index + 1 == text.size();
        const auto* escape = std::ranges::find(kEscapes, text[index], &std::pair<char, char>::second);
        if (escape != std::end(kEscapes) && (text[index] != ' ' || isOuter))
            (value += '\\') += escape->first;
        else
            value += text[index];
    }
    return value;
}

std::optional<std::string> unescaped(std::string_view value) {
    std::string text;
    for (std::size_t index = 0; index < value.size(); ++index) {
        if (value[index] != '\\') {
            text += value[index];
            continue;
        }
        const char letter = ++index < value.size() ? value[index] : '\0';
        const auto* escape = std::ranges::find(kEscapes, letter, &std::pair<char, char>::first);
        if (escape == std::end(kEscapes))
            return std::nullopt;
        text += escape->second;
    }
    return text;
}

std::string quoted(std::string_view argument) {
    std::string text = "\"";
    for (const char character : argument) {
        if (std::string_view("\"`$\\").find(character) != std::string_view::npos)
            text += '\\';
        text += character;
        if (character == '%') // else it begins a field code
            text += character;
    }
    return text += '"';
}

} // namespace

DesktopEntry DesktopEntry::parse(std::string_view content) {
    DesktopEntry entry;
    bool isInGroup = false;
    while (!content.empty()) {
        const std::size_t end = std::min(content.find('\n'), content.size());
        const std::string_view line = content.substr(0, end);
        content.remove_prefix(std::min(end + 1, content.size()));
        const std::size_t equals = line.find('=');
        if (line.starts_with('['))
            isInGroup = trimmed(line) == kGroup;
        else if (isInGroup && !line.starts_with('#') && equals != std::string_view::npos)
            entry.values_.emplace_back(trimmed(line.substr(0, equals)), trimmed(line.substr(equals + 1)));
    }
    return entry;
}

const std::string* DesktopEntry::find(std::string_view key) const {
    const auto found = std::ranges::find(values_, key, &std::pair<std::string, std::string>::first);
    return found != values_.end() ? &found->second : nullptr;
}

std::optional<std::string> DesktopEntry::textForKey(std::string_view key) const {
    const std::string* value = find(key);
    return value ? unescaped(*value) : std::nullopt;
}

bool DesktopEntry::holds(std::string_view key, std::string_view word) const {
    const std::string* value = find(key);
    return value && *value == word;
}

void DesktopEntry::setText(std::string_view key, std::string_view text) {
    values_.emplace_back(key, escaped(text));
}

std::string DesktopEntry::content() const {
    std::string text = std::string(kGroup) + "\n";
    for (const auto& [key, value] : values_)
        ((text.append(key) += '=').append(value)) += '\n';
    return text;
}

std::string DesktopEntry::commandLine(std::string_view program) {
    // The format forbids "=" in the program's own name, and some desktops look for one with "%" by the name
    // before its doubling is undone: as an argument both are allowed and understood. A command that only
    // executes its argument, and no shell, whose "$" not every desktop unquotes.
    const bool isSafe = program.find_first_of("%=") == std::string_view::npos;
    return isSafe ? quoted(program) : "nice -n 0 " + quoted(program);
}

} // namespace kitwell::platform
