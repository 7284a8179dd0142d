#include "KitwellPlatform/Values/Utf16.h"

#include <algorithm>
#include <bit>
#include <cstdint>

namespace kitwell::platform {

namespace {

constexpr std::uint32_t kFirstInPlanes = 0x10000; // the first character that takes two units
constexpr std::uint32_t kFirstHighSurrogate = 0xD800;
constexpr std::uint32_t kFirstLowSurrogate = 0xDC00;

bool isHighSurrogate(std::uint32_t unit) {
    return (unit & 0xFC00) == kFirstHighSurrogate;
}

bool isLowSurrogate(std::uint32_t unit) {
    return (unit & 0xFC00) == kFirstLowSurrogate;
}

std::uint32_t unitAt(std::span<const std::byte> bytes, std::size_t at) {
    return std::to_integer<std::uint32_t>(bytes[at]) << 8 | std::to_integer<std::uint32_t>(bytes[at + 1]);
}

// A first byte says how many bytes of six bits follow it.
void appendCharacter(std::string& text, std::uint32_t character) {
    if (character < 0x80) {
        text += static_cast<char>(character);
        return;
    }
    const int more = character < 0x800 ? 1 : character < kFirstInPlanes ? 2 : 3;
    text += static_cast<char>((0x780U >> more & 0xFF) | character >> (6 * more));
    for (int place = more - 1; place >= 0; --place)
        text += static_cast<char>(0x80 | (character >> (6 * place) & 0x3F));
}

void appendUnit(std::string& units, std::uint32_t unit) {
    units += static_cast<char>(unit >> 8);
    units += static_cast<char>(unit);
}

} // namespace

std::variant<std::string, std::size_t> utf8FromUtf16(std::span<const std::byte> bytes) {
    std::string text;
    text.reserve(bytes.size() / 2);
    for (std::size_t at = 0; at < bytes.size(); at += 2) {
        std::uint32_t character = unitAt(bytes, at);
        if (isHighSurrogate(character)) {
            if (at + 2 == bytes.size() || !isLowSurrogate(unitAt(bytes, at + 2)))
                return at;
            const std::uint32_t low = unitAt(bytes, at + 2) - kFirstLowSurrogate;
            character = kFirstInPlanes + ((character - kFirstHighSurrogate) << 10) + low;
            at += 2;
        } else if (isLowSurrogate(character)) {
            return at;
        }
        appendCharacter(text, character);
    }
    return text;
}

std::string utf16FromUtf8(std::string_view text) {
    std::string units;
    units.reserve(2 * text.size());
    for (std::size_t at = 0; at < text.size();) {
        const auto first = static_cast<unsigned char>(text[at]);
        const auto length = static_cast<std::size_t>(std::max(1, std::countl_one(first)));
        std::uint32_t character = length == 1 ? first : first & (0x7FU >> length);
        for (const char byte : text.substr(at + 1, length - 1))
            character = character << 6 | (static_cast<unsigned char>(byte) & 0x3F);
        at += length;
        if (character >= kFirstInPlanes) {
            appendUnit(units, kFirstHighSurrogate + ((character - kFirstInPlanes) >> 10));
            character = kFirstLowSurrogate + ((character - kFirstInPlanes) & 0x3FF);
        }
        appendUnit(units, character);
    }
    return units;
}

} // namespace kitwell::platform
