#include "KitwellPlatform/Values/Date.h"

#include <charconv>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <ctime>

namespace kitwell::platform {

namespace {

using namespace std::chrono;

constexpr sys_days kReferenceDay = year{2001} / January / 1;
constexpr double kReferenceUnixTime = 978307200;
constexpr double kSecondsPerDay = 86400;
constexpr double kFirstSecond = (sys_days{year{1} / January / 1} - kReferenceDay).count() * kSecondsPerDay;
constexpr double kEndOfTime = (sys_days{year{10000} / January / 1} - kReferenceDay).count() * kSecondsPerDay;

// Reads a field of exactly this many digits; nothing else is a number here.
std::optional<int> digits(std::string_view text) {
    int number = 0;
    for (const char character : text) {
        if (character < '0' || character > '9')
            return std::nullopt;
        number = number * 10 + (character - '0');
    }
    return number;
}

} // namespace

Date Date::now() {
    return fromUnixTime(duration<double>(system_clock::now().time_since_epoch()).count());
}

Date Date::fromUnixTime(double seconds) {
    return {seconds - kReferenceUnixTime};
}

double Date::unixTime() const {
    return secondsSinceReference + kReferenceUnixTime;
}

std::optional<Date> Date::fromCalendar(const CalendarTime& time) {
    const year_month_day date = year{time.year} / static_cast<int>(time.month) / time.day;
    const bool inRange = time.year >= 1 && time.year <= 9999 && time.month >= 1 && time.day >= 1 &&
                         date.ok() && time.hour >= 0 && time.hour < 24 && time.minute >= 0 &&
                         time.minute < 60 && time.second >= 0 && time.second < 60;
    if (!inRange)
        return std::nullopt;
    const double days = static_cast<double>((sys_days{date} - kReferenceDay).count());
    return Date{days * kSecondsPerDay + time.hour * 3600.0 + time.minute * 60.0 + time.second};
}

std::optional<CalendarTime> Date::calendar() const {
    if (!(secondsSinceReference >= kFirstSecond && secondsSinceReference < kEndOfTime))
        return std::nullopt;
    const double dayNumber = std::floor(secondsSinceReference / kSecondsPerDay);
    const double inDay = secondsSinceReference - dayNumber * kSecondsPerDay;
    const year_month_day date{kReferenceDay + days{static_cast<int>(dayNumber)}};
    const int hour = static_cast<int>(inDay / 3600);
    const int minute = static_cast<int>((inDay - hour * 3600.0) / 60);
    return CalendarTime{int{date.year()},
                        static_cast<int>(unsigned{date.month()}),
                        static_cast<int>(unsigned{date.day()}),
                        hour,
                        minute,
                        inDay - hour * 3600.0 - minute * 60.0};
}

std::optional<Date> Date::fromIso8601(std::string_view text) {
    const bool shaped = text.size() == 20 && text[4] == '-' && text[7] == '-' && text[10] == 'T' &&
                        text[13] == ':' && text[16] == ':' && text[19] == 'Z';
    if (!shaped)
        return std::nullopt;
    const auto year = digits(text.substr(0, 4)), month = digits(text.substr(5, 2)),
               day = digits(text.substr(8, 2));
    const auto hour = digits(text.substr(11, 2)), minute = digits(text.substr(14, 2)),
               second = digits(text.substr(17, 2));
    if (!year || !month || !day || !hour || !minute || !second)
        return std::nullopt;
    return fromCalendar({*year, *month, *day, *hour, *minute, static_cast<double>(*second)});
}

std::optional<std::string> Date::iso8601() const {
    const auto time = Date{std::floor(secondsSinceReference)}.calendar();
    if (!time)
        return std::nullopt;
    char text[64];
    std::snprintf(text, sizeof text, "%04d-%02d-%02dT%02d:%02d:%02dZ", time->year, time->month, time->day,
                  time->hour, time->minute, static_cast<int>(time->second));
    return text;
}

std::optional<std::string> Date::localText() const {
    const std::time_t wholeSeconds = static_cast<std::time_t>(std::floor(calendar() ? unixTime() : 0));
    std::tm zone{};
    if (!calendar() || !::localtime_r(&wholeSeconds, &zone))
        return std::nullopt;
    const auto shifted = adding(static_cast<double>(zone.tm_gmtoff)).calendar();
    const auto time = shifted ? shifted : calendar(); // in UTC where the zone leads out of these years
    const long offset = shifted ? zone.tm_gmtoff : 0;
    const long minutes = std::labs(offset) / 60;
    char text[64];
    std::snprintf(text, sizeof text, "%04d-%02d-%02d %02d:%02d:%06.3f %c%02ld%02ld", time->year, time->month,
                  time->day, time->hour, time->minute, std::floor(time->second * 1000) / 1000,
                  offset < 0 ? '-' : '+', minutes / 60, minutes % 60);
    return text;
}

} // namespace kitwell::platform
