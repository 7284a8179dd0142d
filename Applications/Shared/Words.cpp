#include "Shared/Words.h"

#include <algorithm>
#include <cctype>

#include "KitwellPlatform/Values/Text.h"

namespace kitwell::applications {

std::string printable(std::string_view text) {
    return platform::withoutControlCharacters(text, '.');
}

bool isSameName(std::string_view left, std::string_view right) {
    return std::equal(
        left.begin(), left.end(), right.begin(), right.end(),
        [](unsigned char one, unsigned char other) { return std::tolower(one) == std::tolower(other); });
}

} // namespace kitwell::applications
