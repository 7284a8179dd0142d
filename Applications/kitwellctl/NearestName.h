#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace kitwell::applications {

// The name that a person most likely meant by the text: the one that the fewest letters have to be typed,
// deleted or exchanged for, upper and lower case alike; nothing when none is near.
std::optional<std::string> nearestName(std::string_view text, std::span<const std::string> names);

// "; did you mean 'NAME'?", or nothing.
std::string nearestNameHint(std::string_view text, std::span<const std::string> names);

} // namespace kitwell::applications
