#include "Shared/Words.h"

#include <algorithm>
#include <cctype>

#include "KitwellPlatform/Values/Text.h"

namespace kitwell::applications {

std::string printable(std::string_view text) {
    std::string safe;
    while (!text.empty()) {
        const std::size_t size = platform::leadingControlCharacter(text);
        safe += size > 0 ? '.' : text.front();
        text.remove_prefix(std::max<std::size_t>(size, 1));
    }
    return safe;
}

bool isSameName(std::string_view left, std::string_view right) {
    return std::equal(
        left.begin(), left.end(), right.begin(), right.end(),
        [](unsigned char one, unsigned char other) { return std::tolower(one) == std::tolower(other); });
}

} // namespace kitwell::applications
