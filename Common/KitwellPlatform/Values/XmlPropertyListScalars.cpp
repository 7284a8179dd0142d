#include <array>
#include <charconv>
#include <limits>

#include "KitwellPlatform/Values/PropertyListReaders.h"

namespace kitwell::platform {

namespace {

constexpr std::uint8_t kNoDigit = 64;

constexpr std::array<std::uint8_t, 256> kBase64Digits = [] {
    constexpr std::string_view kAlphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::array<std::uint8_t, 256> digits{};
    digits.fill(kNoDigit);
    for (std::size_t digit = 0; digit < kAlphabet.size(); ++digit)
        digits[static_cast<unsigned char>(kAlphabet[digit])] = static_cast<std::uint8_t>(digit);
    return digits;
}();

std::string_view withoutSpaceAround(std::string_view characters) {
    while (!characters.empty() && isXmlSpace(characters.front()))
        characters.remove_prefix(1);
    while (!characters.empty() && isXmlSpace(characters.back()))
        characters.remove_suffix(1);
    return characters;
}

// Decimal digits, or "0x" and hexadecimal ones; no sign.
std::optional<std::uint64_t> magnitude(std::string_view digits) {
    int base = 10;
    if (digits.starts_with("0x") || digits.starts_with("0X")) {
        digits.remove_prefix(2);
        base = 16;
    }
    std::uint64_t number = 0;
    const auto [end, fault] = std::from_chars(digits.data(), digits.data() + digits.size(), number, base);
    return fault == std::errc() && end == digits.data() + digits.size() ? std::optional(number)
                                                                        : std::nullopt;
}

} // namespace

bool isXmlSpace(char character) {
    return character == ' ' || character == '\t' || character == '\n' || character == '\r';
}

std::optional<Value> integerFromXml(std::string_view characters) {
    std::string_view digits = withoutSpaceAround(characters);
    const bool negative = digits.starts_with('-');
    if (negative || digits.starts_with('+'))
        digits.remove_prefix(1);
    const auto number = magnitude(digits);
    constexpr std::uint64_t kMostSigned = std::numeric_limits<std::int64_t>::max();
    if (!number || (negative && *number > kMostSigned + 1))
        return std::nullopt;
    if (negative)
        return Value(static_cast<std::int64_t>(0 - *number));
    return *number <= kMostSigned ? Value(static_cast<std::int64_t>(*number)) : Value(*number);
}

std::optional<Value> realFromXml(std::string_view characters) {
    std::string_view digits = withoutSpaceAround(characters);
    if (digits.starts_with('+') && !digits.starts_with("+-"))
        digits.remove_prefix(1);
    double number = 0;
    const auto [end, fault] = std::from_chars(digits.data(), digits.data() + digits.size(), number);
    if (fault != std::errc() || end != digits.data() + digits.size())
        return std::nullopt;
    return Value(number);
}

std::optional<Value> dateFromXml(std::string_view characters) {
    const auto date = Date::fromIso8601(withoutSpaceAround(characters));
    return date ? std::optional(Value(*date)) : std::nullopt;
}

std::optional<Value> dataFromXml(std::string_view characters) {
    std::vector<std::byte> bytes;
    bytes.reserve(characters.size() / 4 * 3);
    std::uint32_t group = 0;
    std::size_t digits = 0;
    std::size_t padding = 0;
    for (const char character : characters) {
        if (isXmlSpace(character))
            continue;
        const std::uint8_t digit = kBase64Digits[static_cast<unsigned char>(character)];
        padding += character == '=' ? 1 : 0;
        // Padding stands for the last one or two digits of the last group, and nothing follows it.
        if ((digit == kNoDigit && character != '=') || (padding > 0 && character != '=') || padding > 2)
            return std::nullopt;
        group = group << 6 | (digit & 63U);
        if (++digits % 4 != 0)
            continue;
        for (std::size_t place = 0; place < 3 - padding; ++place)
            bytes.push_back(static_cast<std::byte>(group >> (16 - 8 * place)));
        group = 0;
    }
    return digits % 4 == 0 ? std::optional(Value(Data::adopting(std::move(bytes)))) : std::nullopt;
}

} // namespace kitwell::platform
