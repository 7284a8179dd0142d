#include "Shared/Words.h"

#include <algorithm>
#include <cctype>

namespace kitwell::applications {

std::string printable(std::string_view text) {
    std::string safe;
    for (std::size_t at = 0; at < text.size(); ++at) {
        const auto byte = static_cast<unsigned char>(text[at]);
        const bool isC1 =
            byte == 0xC2 && at + 1 < text.size() && static_cast<unsigned char>(text[at + 1]) < 0xA0;
        if (isC1)
            ++at;
        safe += byte < 0x20 || byte == 0x7F || isC1 ? '.' : text[at];
    }
    return safe;
}

bool isSameName(std::string_view left, std::string_view right) {
    return std::equal(
        left.begin(), left.end(), right.begin(), right.end(),
        [](unsigned char one, unsigned char other) { return std::tolower(one) == std::tolower(other); });
}

} // namespace kitwell::applications
