#pragma once

#include <optional>

#include "KitwellPlatform/Values/Date.h"

namespace kitwell::applications {

// The first date after `now` on the grid of `interval` seconds that begins at `date`; for intervals of less
// than a second one that is at least a second away, so that nobody keeps the agent busy. Nothing when
// `interval` is no repetition (zero, negative, or no number).
std::optional<platform::Date> nextRepetition(platform::Date date, double interval, platform::Date now);

} // namespace kitwell::applications
