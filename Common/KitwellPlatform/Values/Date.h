#pragma once

#include <compare>
#include <optional>
#include <string>
#include <string_view>

#include "KitwellPlatform/Export.h"

namespace kitwell::platform {

// A moment in the proleptic Gregorian calendar, UTC.
struct CalendarTime {
    int year = 2001;
    int month = 1; // 1 to 12
    int day = 1;   // 1 to 31
    int hour = 0;
    int minute = 0;
    double second = 0; // 0 up to, not including, 60
};

// A moment as seconds since 2001-01-01 00:00:00 UTC. The calendar forms hold for the years 1 to 9999.
struct PLATFORM_API Date {
    double secondsSinceReference = 0;

    static Date now();
    static Date fromUnixTime(double seconds);
    // Nothing when a field is out of its range or the day is not in the month.
    static std::optional<Date> fromCalendar(const CalendarTime& time);
    // Reads "YYYY-MM-DDThh:mm:ssZ" exactly; nothing for any other text.
    static std::optional<Date> fromIso8601(std::string_view text);

    double unixTime() const;
    // Nothing outside the years 1 to 9999.
    std::optional<CalendarTime> calendar() const;
    // "YYYY-MM-DDThh:mm:ssZ", whole seconds rounded down; nothing outside the years 1 to 9999.
    std::optional<std::string> iso8601() const;

    // "YYYY-MM-DD hh:mm:ss.mmm +hhmm" in the process's time zone, milliseconds rounded down; nothing outside
    // the years 1 to 9999.
    std::optional<std::string> localText() const;

    Date adding(double seconds) const { return {secondsSinceReference + seconds}; }
    double secondsUntil(Date later) const { return later.secondsSinceReference - secondsSinceReference; }

    // The check misreads the comparison with zero that this stands for.
    friend auto operator<=>(const Date&, const Date&) = default; // NOLINT(modernize-use-nullptr)
};

} // namespace kitwell::platform
