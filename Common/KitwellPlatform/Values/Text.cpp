#include "KitwellPlatform/Values/Text.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdio>

namespace kitwell::platform {

namespace {

// How many continuation bytes follow this first byte of a character, or -1 when it can be none.
int continuationCount(unsigned char first) {
    if (first < 0x80)
        return 0;
    if (first >= 0xC2 && first <= 0xDF)
        return 1;
    if (first >= 0xE0 && first <= 0xEF)
        return 2;
    if (first >= 0xF0 && first <= 0xF4)
        return 3;
    return -1;
}

// Overlong forms, surrogates and what lies beyond the last character show in the second byte already.
bool isSecondByte(unsigned char first, unsigned char second) {
    switch (first) {
    case 0xE0:
        return second >= 0xA0 && second <= 0xBF;
    case 0xED:
        return second >= 0x80 && second <= 0x9F;
    case 0xF0:
        return second >= 0x90 && second <= 0xBF;
    case 0xF4:
        return second >= 0x80 && second <= 0x8F;
    default:
        return second >= 0x80 && second <= 0xBF;
    }
}

struct PlaceHolder {
    std::string_view whole;  // "%-5.2lf"
    std::string_view layout; // "-5.2": flags, width and precision
    char conversion = 0;
};

// Reads the place holder that begins with the percent sign at `start`; nothing when it is not complete or its
// layout would make the text unboundedly wide.
std::optional<PlaceHolder> placeHolderAt(std::string_view format, std::size_t start) {
    constexpr std::size_t kMaxLayout = 6;
    std::size_t at = format.find_first_not_of("+-0 #.123456789", start + 1);
    if (at == std::string_view::npos || at - start - 1 > kMaxLayout)
        return std::nullopt;
    const std::string_view layout = format.substr(start + 1, at - start - 1);
    at = format.find_first_not_of("lhqz", at);
    if (at == std::string_view::npos)
        return std::nullopt;
    return PlaceHolder{format.substr(start, at - start + 1), layout, format[at]};
}

template <class Number>
std::string printed(const PlaceHolder& holder, const char* length, char conversion, Number number) {
    const std::string format = "%" + std::string(holder.layout) + length + conversion;
    std::array<char, 512> buffer;
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
    const int count = std::snprintf(buffer.data(), buffer.size(), format.c_str(), number);
#pragma GCC diagnostic pop
    if (count < 0)
        return {};
    if (static_cast<std::size_t>(count) < buffer.size())
        return {buffer.data(), static_cast<std::size_t>(count)};
    std::string large(static_cast<std::size_t>(count) + 1, '\0');
    std::snprintf(large.data(), large.size(), format.c_str(), number);
    large.pop_back();
    return large;
}

template <class Number>
std::string shortest(Number number) {
    std::array<char, 64> buffer;
    const auto end = std::to_chars(buffer.data(), buffer.data() + buffer.size(), number).ptr;
    return {buffer.data(), end};
}

bool isOneOf(char conversion, std::string_view set) {
    return set.find(conversion) != std::string_view::npos;
}

// The argument in the form that the place holder asks for; nothing when the two do not fit together.
struct Filler {
    const PlaceHolder& holder;

    std::optional<std::string> operator()(std::string_view text) const {
        return isOneOf(holder.conversion, "@s") ? std::optional(std::string(text)) : std::nullopt;
    }
    std::optional<std::string> operator()(double number) const {
        if (holder.conversion == '@')
            return shortest(number);
        if (!isOneOf(holder.conversion, "gGfFeE"))
            return std::nullopt;
        return printed(holder, "", holder.conversion, number);
    }
    std::optional<std::string> operator()(std::int64_t number) const { return integer(number); }
    std::optional<std::string> operator()(std::uint64_t number) const { return integer(number); }

    template <class Integer>
    std::optional<std::string> integer(Integer number) const {
        if (holder.conversion == '@')
            return shortest(number);
        if (isOneOf(holder.conversion, "di"))
            return printed(holder, "ll", std::is_signed_v<Integer> ? 'd' : 'u',
                           static_cast<long long>(number));
        if (!isOneOf(holder.conversion, "uxX"))
            return std::nullopt;
        return printed(holder, "ll", holder.conversion, static_cast<unsigned long long>(number));
    }
};

} // namespace

std::optional<Utf8Character> firstUtf8Character(std::string_view text) {
    if (text.empty())
        return std::nullopt;
    const auto byte = [&](std::size_t place) { return static_cast<unsigned char>(text[place]); };
    const int more = continuationCount(byte(0));
    if (more < 0 || text.size() <= static_cast<std::size_t>(more))
        return std::nullopt;
    if (more == 0)
        return Utf8Character{byte(0), 1};
    if (!isSecondByte(byte(0), byte(1)))
        return std::nullopt;
    char32_t code = byte(0) & (0x3FU >> static_cast<unsigned>(more));
    for (std::size_t place = 1; place <= static_cast<std::size_t>(more); ++place) {
        if ((byte(place) & 0xC0) != 0x80)
            return std::nullopt;
        code = code << 6U | (byte(place) & 0x3FU);
    }
    return Utf8Character{code, static_cast<std::size_t>(more) + 1};
}

std::size_t leadingControlCharacter(std::string_view text) {
    if (text.empty())
        return 0;
    const auto first = static_cast<unsigned char>(text[0]);
    if (first < 0x20 || first == 0x7F)
        return 1;
    const auto character = firstUtf8Character(text);
    return character && character->code >= 0x80 && character->code < 0xA0 ? character->size : 0;
}

std::string withoutControlCharacters(std::string_view text, char sign, std::string_view kept) {
    std::string safe;
    safe.reserve(text.size());
    while (!text.empty()) {
        const std::size_t size = leadingControlCharacter(text);
        const bool isReplaced = size > 0 && kept.find(text.front()) == std::string_view::npos;
        safe += isReplaced ? sign : text.front();
        text.remove_prefix(std::max<std::size_t>(size, 1));
    }
    return safe;
}

bool isValidUtf8(std::string_view text) {
    while (!text.empty()) {
        const auto character = firstUtf8Character(text);
        if (!character)
            return false;
        text.remove_prefix(character->size);
    }
    return true;
}

std::string_view trimmed(std::string_view text) {
    constexpr std::string_view kBlanks = " \t\r\n";
    text.remove_prefix(std::min(text.find_first_not_of(kBlanks), text.size()));
    return text.substr(0, text.find_last_not_of(kBlanks) + 1);
}

std::optional<std::string> textFromUtf8(std::string_view bytes) {
    return isValidUtf8(bytes) ? std::optional(std::string(bytes)) : std::nullopt;
}

std::string formatText(std::string_view format, std::span<const FormatArgument> arguments) {
    std::string text;
    std::size_t next = 0;
    std::size_t at = 0;
    while (at < format.size()) {
        const std::size_t percent = std::min(format.find('%', at), format.size());
        text += format.substr(at, percent - at);
        if (percent == format.size())
            break;
        const auto holder = placeHolderAt(format, percent);
        if (!holder) {
            text += '%';
            at = percent + 1;
            continue;
        }
        at = percent + holder->whole.size();
        if (holder->whole == "%%") {
            text += '%';
            continue;
        }
        std::optional<std::string> filled;
        if (next < arguments.size())
            filled = std::visit(Filler{*holder}, arguments[next++].held());
        text += filled ? *filled : std::string(holder->whole);
    }
    return text;
}

} // namespace kitwell::platform
