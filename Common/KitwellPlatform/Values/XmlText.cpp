#include <array>
#include <charconv>

#include "KitwellPlatform/Values/Text.h"
#include "KitwellPlatform/Values/Xml.h"

namespace kitwell::platform {

namespace {

constexpr char32_t kReplacement = 0xFFFD;

bool isXmlCharacter(char32_t code) {
    if (code < 0x20)
        return code == '\t' || code == '\n' || code == '\r';
    return code != 0xFFFE && code != 0xFFFF;
}

// Takes the first character off the text: U+FFFD for what XML has no character for, a byte at a time where
// the text is not UTF-8.
char32_t takeCharacter(std::string_view& text) {
    const auto character = firstUtf8Character(text);
    text.remove_prefix(character ? character->size : 1);
    return character && isXmlCharacter(character->code) ? character->code : kReplacement;
}

// What may stand in a quoted attribute as it is.
constexpr std::array<bool, 256> plainCharacters() {
    std::array<bool, 256> plain{};
    for (std::size_t code = 0x20; code < 0x7F; ++code)
        plain[code] = code != '&' && code != '<' && code != '>' && code != '"';
    return plain;
}

constexpr std::array<bool, 256> kPlain = plainCharacters();

std::size_t plainLength(std::string_view text) {
    std::size_t length = 0;
    while (length < text.size() && kPlain[static_cast<unsigned char>(text[length])])
        ++length;
    return length;
}

void appendReference(std::string& xml, char32_t code) {
    std::array<char, 8> digits;
    const auto* end =
        std::to_chars(digits.data(), digits.data() + digits.size(), static_cast<unsigned>(code), 16).ptr;
    xml += "&#x";
    for (const char* digit = digits.data(); digit != end; ++digit)
        xml += static_cast<char>(*digit >= 'a' ? *digit - 'a' + 'A' : *digit);
    xml += ';';
}

void appendCharacter(std::string& xml, char32_t code) {
    switch (code) {
    case '&':
        xml += "&amp;";
        break;
    case '<':
        xml += "&lt;";
        break;
    case '>':
        xml += "&gt;";
        break;
    case '"':
        xml += "&quot;";
        break;
    default:
        appendReference(xml, code);
    }
}

} // namespace

void appendXmlAttributeText(std::string& xml, std::string_view text) {
    for (;;) {
        const std::size_t plain = plainLength(text);
        xml.append(text.substr(0, plain));
        text.remove_prefix(plain);
        if (text.empty())
            return;
        appendCharacter(xml, takeCharacter(text));
    }
}

std::string withXmlCharactersOnly(std::string_view text) {
    std::string clean;
    clean.reserve(text.size());
    while (!text.empty()) {
        const std::string_view before = text;
        if (takeCharacter(text) == kReplacement)
            clean += "\xEF\xBF\xBD";
        else
            clean.append(before.substr(0, before.size() - text.size()));
    }
    return clean;
}

} // namespace kitwell::platform
