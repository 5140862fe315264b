#include "repository/schedule.h"

#include "data/value_text.h"

#include <algorithm>

namespace vantry {
namespace {

constexpr std::int64_t kNanosPerMinute = 60 * kNanosPerSecond;
constexpr int kDaysPerWeek = 7;

// The place of a day in a week mask, which begins with Monday.
int PlaceInWeek(std::int32_t day) {
    return (WeekdayOf(day) + kDaysPerWeek - 2) % kDaysPerWeek;
}

bool IsWeekMask(const std::string& mask) {
    return mask.size() == kDaysPerWeek && mask.find_first_not_of("01") == std::string::npos &&
           mask.find('1') != std::string::npos;
}

std::optional<int> MinuteMark(const std::string& text) {
    const auto minute = ParseInt64(text);
    if (!minute || *minute < 0 || *minute > 59) {
        return std::nullopt;
    }
    return static_cast<int>(*minute);
}

std::optional<DateTime> NextMonthly(int day_of_month, std::int64_t time, const DateTime& after) {
    auto date = CalendarOf(after.day);
    // This month's day or, once that has passed, the next month's.
    for (int months = 0; months < 2; ++months) {
        // In shorter months on the last day: a session for the 31st runs each month.
        const int day = std::min(day_of_month, DaysOfMonth(date.year, date.month));
        if (const auto number = DayOf(date.year, date.month, day)) {
            const DateTime due{*number, time};
            if (due > after) {
                return due;
            }
        }
        date.year += date.month / 12;
        date.month = date.month % 12 + 1;
    }
    return std::nullopt;
}

std::optional<DateTime> NextOnDays(const std::string& mask,
                                   std::int64_t time,
                                   const DateTime& after) {
    // A whole week and its first day again: today's time may have passed.
    for (std::int32_t day = after.day; day <= after.day + kDaysPerWeek; ++day) {
        const DateTime due{day, time};
        if (due > after && mask[static_cast<std::size_t>(PlaceInWeek(day))] == '1') {
            return due;
        }
    }
    return std::nullopt;
}

DateTime Later(const DateTime& moment, std::int64_t nanos) {
    const std::int64_t sum = moment.nanos + nanos;
    return sum < kNanosPerDay ? DateTime{moment.day, sum}
                              : DateTime{moment.day + 1, sum - kNanosPerDay};
}

// The last time up to `moment` at which the clock's minutes and seconds were `mark` and 0. Below 0
// where that was the day before: an hour at least is added to it.
DateTime LastMark(const DateTime& moment, int mark) {
    constexpr std::int64_t kNanosPerHour = 60 * kNanosPerMinute;
    const std::int64_t into = mark * kNanosPerMinute;
    const std::int64_t since = (moment.nanos - into + kNanosPerHour) % kNanosPerHour;
    return {moment.day, moment.nanos - since};
}

bool IsBetween(const std::optional<int>& value, int low, int high) {
    return value && *value >= low && *value <= high;
}

}  // namespace

std::int64_t IntervalOf(const ScheduleRec& schedule) {
    const std::int64_t count = schedule.SesRunDay.value_or(0);
    if (schedule.SesFreq == "H") {
        return count * 60 * kNanosPerMinute;
    }
    return schedule.SesFreq == "N" ? count * kNanosPerMinute : 0;
}

std::string ScheduleFault(const ScheduleRec& schedule) {
    const std::string& kind = schedule.SesFreq;
    const bool with_time = kind == "D" || kind == "W" || kind == "M" || kind == "O";
    if (with_time && !schedule.SesRunTime) {
        return "the schedule has no time of day";
    }
    if (kind == "D") {
        return {};
    }
    if (kind == "W") {
        return IsWeekMask(schedule.SesWeekDay) ? "" : "the schedule names no day of the week";
    }
    if (kind == "M") {
        return IsBetween(schedule.SesRunDay, 1, 31) ? "" : "the schedule names no day of the month";
    }
    if (kind == "O") {
        return schedule.SesRunDate ? "" : "the schedule has no date";
    }
    if (kind == "H") {
        if (!IsBetween(schedule.SesRunDay, 1, 23)) {
            return "the schedule has no interval of 1 to 23 hours";
        }
        return MinuteMark(schedule.SesWeekDay) ? "" : "the schedule has no minute of the hour";
    }
    if (kind == "N") {
        return IsBetween(schedule.SesRunDay, 1, 59)
                   ? ""
                   : "the schedule has no interval of 1 to 59 minutes";
    }
    return "\"" + kind + "\" is no kind of schedule";
}

std::optional<DateTime> NextDue(const ScheduleRec& schedule, const DateTime& after) {
    if (!ScheduleFault(schedule).empty()) {
        return std::nullopt;
    }
    switch (schedule.SesFreq[0]) {
        case 'D':
            return NextOnDays("1111111", *schedule.SesRunTime, after);
        case 'W':
            return NextOnDays(schedule.SesWeekDay, *schedule.SesRunTime, after);
        case 'M':
            return NextMonthly(*schedule.SesRunDay, *schedule.SesRunTime, after);
        case 'O': {
            const DateTime due{*schedule.SesRunDate, *schedule.SesRunTime};
            return due > after ? std::optional(due) : std::nullopt;
        }
        case 'H':
            // From the last mark, not from `after`: starts keep to the minute, however late one
            // was.
            return Later(LastMark(after, *MinuteMark(schedule.SesWeekDay)), IntervalOf(schedule));
        default:
            return Later({after.day, after.nanos / kNanosPerMinute * kNanosPerMinute},
                         IntervalOf(schedule));
    }
}

}  // namespace vantry
