#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <variant>

#include "KitwellPlatform/Export.h"

namespace kitwell::platform {

struct Utf8Character {
    char32_t code = 0;
    std::size_t size = 0; // bytes that it takes, 1 to 4
};

// The character that the text begins with; nothing when it is empty or its first bytes are no character.
PLATFORM_API std::optional<Utf8Character> firstUtf8Character(std::string_view text);

PLATFORM_API bool isValidUtf8(std::string_view text);

// How many bytes the control character takes that the text begins with, of C0, DEL or C1; 0 when it begins
// with none. Such a character could steer the terminal that the text is shown on.
PLATFORM_API std::size_t leadingControlCharacter(std::string_view text);

// Without the blanks, tabs and line ends around it.
PLATFORM_API std::string_view trimmed(std::string_view text);

// The text with `sign` in the place of each control character that is none of the bytes of `kept`.
PLATFORM_API std::string withoutControlCharacters(std::string_view text, char sign,
                                                  std::string_view kept = {});

// The bytes as text when they are valid UTF-8, else nothing.
PLATFORM_API std::optional<std::string> textFromUtf8(std::string_view bytes);

// One argument of a format text.
class FormatArgument {
public:
    FormatArgument(std::string_view text) : held_(text) {}
    FormatArgument(const std::string& text) : held_(std::string_view(text)) {}
    FormatArgument(const char* text) : held_(std::string_view(text)) {}
    FormatArgument(double number) : held_(number) {}
    FormatArgument(std::signed_integral auto number) : held_(std::int64_t{number}) {}
    FormatArgument(std::unsigned_integral auto number) : held_(std::uint64_t{number}) {}

    const std::variant<std::string_view, double, std::int64_t, std::uint64_t>& held() const { return held_; }

private:
    std::variant<std::string_view, double, std::int64_t, std::uint64_t> held_;
};

// Fills a format text: %@ and %s take a text, %d %i %u %x %X (with any of the length letters l, h, q, z) an
// integer, %g %f %e a double; flags, width and precision as in the C library; %% is a percent sign. %@ also
// takes a number, in its shortest form. An argument that is missing or of another kind leaves its place
// holder standing, so that a wrong format shows and never reads past its arguments.
PLATFORM_API std::string formatText(std::string_view format, std::span<const FormatArgument> arguments);

template <class... Arguments>
std::string formatText(std::string_view format, const Arguments&... arguments) {
    const FormatArgument list[sizeof...(arguments) + 1] = {FormatArgument(arguments)..., FormatArgument("")};
    return formatText(format, std::span(list, sizeof...(arguments)));
}

} // namespace kitwell::platform
