#pragma once
// Days and times of day in the proleptic Gregorian calendar, years 1 to 9999. In the header because
// they run for every date of every row.

#include "data/value.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <optional>
#include <string_view>

namespace vantry {

struct CalendarDate {
    int year = 1899;
    int month = 12;
    int day = 30;
};

// The names of dates in words, whatever the locale; the short ones are their beginnings.
inline constexpr std::array<std::string_view, 12> kMonthNames = {"January",
                                                                 "February",
                                                                 "March",
                                                                 "April",
                                                                 "May",
                                                                 "June",
                                                                 "July",
                                                                 "August",
                                                                 "September",
                                                                 "October",
                                                                 "November",
                                                                 "December"};
inline constexpr std::array<std::string_view, 7> kDayNames = {
    "Sunday", "Monday", "Tuesday", "Wednesday", "Thursday", "Friday", "Saturday"};
inline constexpr std::size_t kShortName = 3;

inline constexpr int kMinYear = 1;
inline constexpr int kFirstYearOf1900s = 30;  // of two digits: 30 is 1930, 29 is 2029
inline constexpr int kMaxYear = 9999;
// 1899-12-30 counted in days from 0000-03-01.
inline constexpr std::int32_t kDayZeroSinceMarch = 693'899;

inline constexpr int DaysOfMonth(int year, int month) {
    if (month == 2) {
        return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0) ? 29 : 28;
    }
    return month == 4 || month == 6 || month == 9 || month == 11 ? 30 : 31;
}

// 1 Sunday to 7 Saturday. Day 0, 1899-12-30, was a Saturday.
inline constexpr int WeekdayOf(std::int32_t day) {
    return static_cast<int>(((std::int64_t{day} + 6) % 7 + 7) % 7) + 1;
}

inline constexpr std::string_view MonthName(int month) {  // 1 to 12
    return kMonthNames[static_cast<std::size_t>(month - 1)];
}

inline constexpr std::string_view DayName(int weekday) {  // 1 is Sunday
    return kDayNames[static_cast<std::size_t>(weekday - 1)];
}

// Both ways count from a year that begins in March: then a leap day is its last day, and lengths of
// months and years are straight lines, rounded. The lines are taken by multiplication and shift,
// with factors that are exact over all years that a DateTime has (tried for every day).

// A day out of range counts as the nearest one in it.
inline constexpr CalendarDate CalendarOf(std::int32_t day) {
    constexpr std::uint32_t kQuartersPerCentury = 146'097;  // 36'524.25 days, times four
    constexpr std::uint32_t kYearFactor = 2'939'745;        // 2^32 / 1461, rounded up
    constexpr std::uint32_t kMonthFactor = 2'141;           // 2^16 * 5 / 153, rounded
    constexpr std::uint32_t kMonthStart = 197'913;
    constexpr std::uint32_t kJanuary = 306;  // days from March to January
    const auto since_march =
        static_cast<std::uint32_t>(std::clamp(day, kMinDay, kMaxDay) + kDayZeroSinceMarch);
    const std::uint32_t quarters = 4 * since_march + 3;
    const std::uint32_t century = quarters / kQuartersPerCentury;
    const std::uint32_t of_century = (quarters % kQuartersPerCentury) | 3;
    const std::uint64_t years = std::uint64_t{kYearFactor} * of_century;
    const std::uint32_t of_year = static_cast<std::uint32_t>(years) / kYearFactor / 4;
    const std::uint32_t months = kMonthFactor * of_year + kMonthStart;
    const bool next_year = of_year >= kJanuary;
    CalendarDate date;
    date.year = static_cast<int>(100 * century + (years >> 32)) + (next_year ? 1 : 0);
    date.month = static_cast<int>(months >> 16) - (next_year ? 12 : 0);
    date.day = static_cast<int>((months & 0xFFFF) / kMonthFactor) + 1;
    return date;
}

// Nothing if there is no such day.
inline constexpr std::optional<std::int32_t> DayOf(int year, int month, int day) {
    if (year < kMinYear || year > kMaxYear || month < 1 || month > 12 || day < 1 ||
        (day > 28 && day > DaysOfMonth(year, month))) {
        return std::nullopt;
    }
    const bool before_march = month <= 2;
    const int from_march = before_march ? year - 1 : year;
    const int month_from_march = before_march ? month + 12 : month;
    const int century = from_march / 100;
    const int of_years = 1461 * from_march / 4 - century + century / 4;
    const int of_months = (979 * month_from_march - 2919) / 32;
    return of_years + of_months + day - 1 - kDayZeroSinceMarch;
}

// The time of day that so many nanoseconds after midnight are.
struct ClockTime {
    unsigned hour;
    unsigned minute;
    unsigned second;
    std::uint32_t nanos;
};
inline constexpr ClockTime ClockOf(std::int64_t nanos_of_day) {
    const auto nanos =
        static_cast<std::uint64_t>(std::clamp<std::int64_t>(nanos_of_day, 0, kNanosPerDay - 1));
    const auto seconds = static_cast<std::uint32_t>(nanos / kNanosPerSecond);
    return {seconds / 3600,
            seconds / 60 % 60,
            seconds % 60,
            static_cast<std::uint32_t>(nanos % kNanosPerSecond)};
}

// Nothing if there is no such time.
inline constexpr std::optional<std::int64_t> NanosOf(int hour,
                                                     int minute,
                                                     int second,
                                                     std::int64_t nanos = 0) {
    if (hour < 0 || hour > 23 || minute < 0 || minute > 59 || second < 0 || second > 59 ||
        nanos < 0 || nanos >= kNanosPerSecond) {
        return std::nullopt;
    }
    return (hour * 3600 + minute * 60 + second) * kNanosPerSecond + nanos;
}

}  // namespace vantry
