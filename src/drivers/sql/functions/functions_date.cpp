// Dates and times. An interval is one of yyyy q m y d w ww h n s. All is reckoned in days and
// nanoseconds, never in the fraction of a day that SQLite holds: 0.1 s has none. Easy to get wrong:
// differences count the boundaries between two moments (11:59:59 to 12:00:00 is one hour), months
// are added by the calendar (January 31st and a month is the last of February), weeks depend on the
// day that they begin with and on which one counts as the first of a year, and dates before
// 1899-12-30 have negative days but times that run forward all the same.

#include "data/value_convert.h"
#include "data/value_text.h"
#include "drivers/sql/errors.h"
#include "drivers/sql/functions/functions.h"
#include "drivers/sql/parse/lexer.h"

#include <cmath>

namespace vantry::sql {

namespace {

// In the order of the table below, from the longest to the shortest, as users know them.
enum class Interval { Year, Quarter, Month, DayOfYear, Day, Weekday, Week, Hour, Minute, Second };

Interval IntervalOf(const FunctionCall& call, int k) {
    static constexpr std::pair<std::string_view, Interval> kIntervals[] = {
        {"yyyy", Interval::Year},
        {"q", Interval::Quarter},
        {"m", Interval::Month},
        {"y", Interval::DayOfYear},
        {"d", Interval::Day},
        {"w", Interval::Weekday},
        {"ww", Interval::Week},
        {"h", Interval::Hour},
        {"n", Interval::Minute},
        {"s", Interval::Second}};
    for (const auto& [text, interval] : kIntervals) {
        if (EqualsNoCase(call.Text(k), text)) {
            return interval;
        }
    }
    call.Refuse();
}

std::int64_t Seconds(const DateTime& date) {
    return date.nanos / kNanosPerSecond;
}

// 1 for the first day of the week: `first_day` is 1 Sunday ... 7 Saturday, 0 the usual Sunday.
int WeekdayFrom(const FunctionCall& call, std::int32_t day, std::int64_t first_day) {
    if (first_day < 0 || first_day > 7) {
        call.Refuse();
    }
    const int first = first_day == 0 ? 1 : static_cast<int>(first_day);
    return (WeekdayOf(day) - first + 7) % 7 + 1;
}

// The week that holds January 1st is the first (`rule` 0 or 1), the first with four days (2), or
// the first full one (3).
std::int64_t WeekOfYear(const FunctionCall& call,
                        std::int32_t day,
                        std::int64_t first_day,
                        std::int64_t rule) {
    if (rule < 0 || rule > 3) {
        call.Refuse();
    }
    const auto first_of_week = [&](std::int32_t of) {
        // The day that the week of a day begins with.
        return of - (WeekdayFrom(call, of, first_day) - 1);
    };
    const auto start_of = [&](int year) {
        const auto january = DayOf(year, 1, 1).value_or(kMinDay);
        const auto week = first_of_week(january);
        const auto days_inside = 7 - (january - week);
        const int needed = rule == 2 ? 4 : rule == 3 ? 7 : 1;
        return days_inside >= needed ? week : week + 7;
    };
    // The last days of a year may belong to the first week of the next, the first ones to the
    // last week of the one before.
    const int year = CalendarOf(day).year;
    auto start = start_of(year);
    if (rule >= 2 && year < 9999 && first_of_week(day) >= start_of(year + 1)) {
        start = start_of(year + 1);
    } else if (first_of_week(day) < start) {
        start = start_of(year - 1);
    }
    return (first_of_week(day) - start) / 7 + 1;
}

std::int64_t Part(const FunctionCall& call,
                  Interval interval,
                  const DateTime& date,
                  std::int64_t first_day,
                  std::int64_t rule) {
    const auto calendar = CalendarOf(date.day);
    switch (interval) {
        case Interval::Year:
            return calendar.year;
        case Interval::Quarter:
            return (calendar.month - 1) / 3 + 1;
        case Interval::Month:
            return calendar.month;
        case Interval::DayOfYear:
            return date.day - DayOf(calendar.year, 1, 1).value_or(0) + 1;
        case Interval::Day:
            return calendar.day;
        case Interval::Weekday:
            return WeekdayFrom(call, date.day, first_day);
        case Interval::Week:
            return WeekOfYear(call, date.day, first_day, rule);
        case Interval::Hour:
            return Seconds(date) / 3600;
        case Interval::Minute:
            return Seconds(date) / 60 % 60;
        case Interval::Second:
            return Seconds(date) % 60;
    }
    return 0;
}

void DatePart(FunctionCall& call) {
    const auto first_day = call.count > 2 ? call.Whole(2) : 1;
    const auto rule = call.count > 3 ? call.Whole(3) : 1;
    call.Return(Part(call, IntervalOf(call, 0), call.Date(1), first_day, rule));
}

template <Interval kInterval>
void PartOf(FunctionCall& call) {
    call.Return(Part(call, kInterval, call.Date(0), 1, 1));
}

void Weekday(FunctionCall& call) {
    call.Return(
        std::int64_t{WeekdayFrom(call, call.Date(0).day, call.count > 1 ? call.Whole(1) : 1)});
}

DateTime AtDay(const FunctionCall&, std::int64_t day, std::int64_t nanos) {
    if (day < kMinDay || day > kMaxDay) {
        throw Overflow();
    }
    return {static_cast<std::int32_t>(day), nanos};
}

// The same day of another month, or its last day where that is shorter.
DateTime PlusMonths(const FunctionCall& call, const DateTime& date, std::int64_t months) {
    const auto calendar = CalendarOf(date.day);
    if (std::abs(months) > 120'000) {
        throw Overflow();
    }
    const auto total = std::int64_t{calendar.year} * 12 + calendar.month - 1 + months;
    if (total < 12 || total >= 120'000) {
        throw Overflow();
    }
    const auto year = static_cast<int>(total / 12);
    const auto month = static_cast<int>(total % 12) + 1;
    // Every month has 28 days, so three steps back are enough.
    for (int day = calendar.day; day > 27; --day) {
        if (const auto found = DayOf(year, month, day)) {
            return AtDay(call, *found, date.nanos);
        }
    }
    return AtDay(call, DayOf(year, month, calendar.day).value_or(0), date.nanos);
}

DateTime PlusNanos(const FunctionCall& call, const DateTime& date, Int128 nanos) {
    // Ten thousand years of nanoseconds don't fit 64 bits.
    const Int128 total = Int128{date.day} * kNanosPerDay + date.nanos + nanos;
    auto day = total / kNanosPerDay;
    auto rest = total % kNanosPerDay;
    if (rest < 0) {
        --day;
        rest += kNanosPerDay;
    }
    if (day < kMinDay || day > kMaxDay) {
        throw Overflow();
    }
    return AtDay(call, static_cast<std::int64_t>(day), static_cast<std::int64_t>(rest));
}

void DateAdd(FunctionCall& call) {
    // Enough seconds for 30,000 years, and their nanoseconds fit 128 bits.
    const auto number = call.Within(1, std::int64_t{1} << 40);
    const auto date = call.Date(2);
    switch (IntervalOf(call, 0)) {
        case Interval::Year:
            return call.Return(PlusMonths(call, date, number * 12));
        case Interval::Quarter:
            return call.Return(PlusMonths(call, date, number * 3));
        case Interval::Month:
            return call.Return(PlusMonths(call, date, number));
        // All three add days: "w" doesn't skip weekends.
        case Interval::DayOfYear:
        case Interval::Day:
        case Interval::Weekday:
            return call.Return(AtDay(call, date.day + number, date.nanos));
        case Interval::Week:
            return call.Return(AtDay(call, date.day + number * 7, date.nanos));
        case Interval::Hour:
            return call.Return(PlusNanos(call, date, Int128{number} * 3600 * kNanosPerSecond));
        case Interval::Minute:
            return call.Return(PlusNanos(call, date, Int128{number} * 60 * kNanosPerSecond));
        case Interval::Second:
            return call.Return(PlusNanos(call, date, Int128{number} * kNanosPerSecond));
    }
}

// How many boundaries of the interval lie between the two.
void DateDiff(FunctionCall& call) {
    const auto interval = IntervalOf(call, 0);
    const auto from = call.Date(1);
    const auto to = call.Date(2);
    const auto first = CalendarOf(from.day);
    const auto last = CalendarOf(to.day);
    const std::int64_t days = std::int64_t{to.day} - from.day;
    const auto seconds_between = [&](std::int64_t unit) {
        const auto count = [&](const DateTime& date) {
            // Counted from a day before all that there are, so that division rounds one way.
            return (std::int64_t{date.day} * 86'400 + Seconds(date) +
                    std::int64_t{700'000} * 86'400) /
                   unit;
        };
        return count(to) - count(from);
    };
    switch (interval) {
        case Interval::Year:
            return call.Return(std::int64_t{last.year - first.year});
        case Interval::Quarter:
            return call.Return(std::int64_t{(last.year * 4 + (last.month - 1) / 3) -
                                            (first.year * 4 + (first.month - 1) / 3)});
        case Interval::Month:
            return call.Return(
                std::int64_t{(last.year * 12 + last.month) - (first.year * 12 + first.month)});
        case Interval::DayOfYear:
        case Interval::Day:
            return call.Return(days);
        // "w" counts whole weeks between the two, "ww" beginnings of weeks.
        case Interval::Weekday:
            return call.Return(days / 7);
        case Interval::Week: {
            const auto first_day = call.count > 3 ? call.Whole(3) : 1;
            const auto week = [&](std::int32_t day) {
                return std::int64_t{day} - WeekdayFrom(call, day, first_day);
            };
            return call.Return((week(to.day) - week(from.day)) / 7);
        }
        case Interval::Hour:
            return call.Return(seconds_between(3600));
        case Interval::Minute:
            return call.Return(seconds_between(60));
        case Interval::Second:
            return call.Return(seconds_between(1));
    }
}

// Months and days beyond their range carry over: month 13 is January of the next year.
void DateSerial(FunctionCall& call) {
    auto year = call.Within(0, 20'000);
    // Two-digit years as in text: 0 to 29 are in this century.
    if (year >= 0 && year < 100) {
        year += year < 30 ? 2000 : 1900;
    }
    // From 0, so that division by 12 gives the year.
    const auto month = call.Within(1, 240'000) - 1;
    const auto day = call.Within(2, 8'000'000);
    const auto total = year * 12 + month;
    if (total < 12 || total >= 120'000) {
        throw Overflow();
    }
    const auto first =
        DayOf(static_cast<int>(total / 12), static_cast<int>(total % 12) + 1, 1).value_or(0);
    call.Return(AtDay(call, first + day - 1, 0));
}

void TimeSerial(FunctionCall& call) {
    constexpr std::int64_t kLimit = 100'000'000;
    const auto hours = call.Within(0, kLimit);
    const auto minutes = call.Within(1, kLimit);
    const auto seconds = call.Within(2, kLimit);
    call.Return(
        PlusNanos(call, {}, Int128{(hours * 60 + minutes) * 60 + seconds} * kNanosPerSecond));
}

void DateValue(FunctionCall& call) {
    call.Return(DateTime{call.Date(0).day, 0});
}

void TimeValue(FunctionCall& call) {
    call.Return(DateTime{0, call.Date(0).nanos});
}

// CDate(Null) is an error, Null + 1 is Null.
void ToDate(FunctionCall& call) {
    if (call.IsNull(0)) {
        throw InvalidUseOfNull();
    }
    call.Return(call.Date(0));
}

// The session's present, the same for all rows of a run: a load that begins before midnight writes
// one date.
void Today(FunctionCall& call) {
    call.Return(DateTime{call.session.Present().day, 0});
}

void TimeOfDay(FunctionCall& call) {
    call.Return(DateTime{0, call.session.Present().nanos});
}

void Present(FunctionCall& call) {
    call.Return(call.session.Present());
}

void NameOfMonth(FunctionCall& call) {
    const auto month = call.Whole(0);
    // The engines refuse month 13, where DateSerial carries it over.
    if (month < 1 || month > 12) {
        call.Refuse();
    }
    const auto name = MonthName(static_cast<int>(month));
    call.Return(call.count > 1 && call.Whole(1) != 0 ? name.substr(0, 3) : name);
}

// DayName(number [, abbreviated [, first day]])
void NameOfWeekday(FunctionCall& call) {
    const auto number = call.Whole(0);
    const auto first_day = call.count > 2 ? call.Whole(2) : 1;
    if (number < 1 || number > 7 || first_day < 0 || first_day > 7) {
        call.Refuse();
    }
    const auto first = first_day == 0 ? 1 : first_day;
    const auto name = DayName(static_cast<int>((number - 1 + first - 1) % 7) + 1);
    call.Return(call.count > 1 && call.Whole(1) != 0 ? name.substr(0, 3) : name);
}

constexpr FunctionEntry kDate[] = {
    {"CDate", 1, 1, "d", 'd', ToDate, true},
    {"CVDate", 1, 1, "d", 'd', ToDate, true},
    {"Date", 0, 0, "", 'd', Today, true, nullptr, true},
    {"Time", 0, 0, "", 'd', TimeOfDay, true, nullptr, true},
    {"Now", 0, 0, "", 'd', Present, true, nullptr, true},
    {"DateSerial", 3, 3, "n", 'd', DateSerial},
    {"TimeSerial", 3, 3, "n", 'd', TimeSerial},
    {"DateValue", 1, 1, "d", 'd', DateValue},
    {"TimeValue", 1, 1, "d", 'd', TimeValue},
    {"Year", 1, 1, "d", 'i', PartOf<Interval::Year>},
    {"Month", 1, 1, "d", 'i', PartOf<Interval::Month>},
    {"Day", 1, 1, "d", 'i', PartOf<Interval::Day>},
    {"Hour", 1, 1, "d", 'i', PartOf<Interval::Hour>},
    {"Minute", 1, 1, "d", 'i', PartOf<Interval::Minute>},
    {"Second", 1, 1, "d", 'i', PartOf<Interval::Second>},
    {"Weekday", 1, 2, "dn", 'i', Weekday},
    {"MonthName", 1, 2, "n", 't', NameOfMonth},
    {"WeekdayName", 1, 3, "n", 't', NameOfWeekday},
    {"DatePart", 2, 4, "tdn", 'i', DatePart},
    {"DateAdd", 3, 3, "tnd", 'd', DateAdd},
    {"DateDiff", 3, 5, "tddn", 'l', DateDiff},
};

}  // namespace

std::span<const FunctionEntry> DateFunctions() {
    return kDate;
}

}  // namespace vantry::sql
