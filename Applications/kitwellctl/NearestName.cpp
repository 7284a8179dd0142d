#include "NearestName.h"

#include <algorithm>
#include <cctype>
#include <numeric>
#include <vector>

namespace kitwell::applications {

namespace {

constexpr std::size_t kLongestName = 100; // the work grows with the square of the length

bool isSameLetter(char left, char right) {
    return std::tolower(static_cast<unsigned char>(left)) == std::tolower(static_cast<unsigned char>(right));
}

// One row of the table of distances between the beginnings of both texts, after the other.
std::size_t distance(std::string_view left, std::string_view right) {
    std::vector<std::size_t> row(right.size() + 1);
    std::iota(row.begin(), row.end(), 0);
    for (std::size_t line = 1; line <= left.size(); ++line) {
        std::size_t diagonal = row[0];
        row[0] = line;
        for (std::size_t column = 1; column <= right.size(); ++column) {
            const std::size_t exchanged =
                diagonal + (isSameLetter(left[line - 1], right[column - 1]) ? 0 : 1);
            diagonal = row[column];
            row[column] = std::min({row[column] + 1, row[column - 1] + 1, exchanged});
        }
    }
    return row.back();
}

} // namespace

std::optional<std::string> nearestName(std::string_view text, std::span<const std::string> names) {
    if (text.size() > kLongestName)
        return std::nullopt;
    const auto isNearer = [text](const std::string& one, const std::string& other) {
        return distance(text, one) < distance(text, other);
    };
    const auto nearest = std::min_element(names.begin(), names.end(), isNearer);
    if (nearest == names.end() || distance(text, *nearest) > 1 + nearest->size() / 3)
        return std::nullopt;
    return *nearest;
}

std::string nearestNameHint(std::string_view text, std::span<const std::string> names) {
    const auto nearest = nearestName(text, names);
    return nearest ? "; did you mean '" + *nearest + "'?" : "";
}

} // namespace kitwell::applications
