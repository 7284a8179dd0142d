#include "Shared/Repetition.h"

#include <algorithm>
#include <cmath>

namespace kitwell::applications {

using platform::Date;

std::optional<Date> nextRepetition(Date date, double interval, Date now) {
    constexpr double kLeastInterval = 1;
    if (!(interval > 0) || !std::isfinite(interval))
        return std::nullopt;
    const double pause = interval < kLeastInterval ? kLeastInterval : 0;
    const double steps = std::max(1.0, std::floor((date.secondsUntil(now) + pause) / interval) + 1);
    const Date next = date.adding(steps * interval);
    // Far from the reference a double's own steps are larger than the interval.
    return next > now ? next : now.adding(std::max(interval, kLeastInterval));
}

} // namespace kitwell::applications
