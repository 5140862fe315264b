#pragma once
// When a saved session is due. One pure function over local wall-clock time: the caller
// passes the time in.
//
// A wall-clock time that a change to summer time leaves out is due when the clock has passed it;
// one that a change back brings twice is due once, as long as the question is "what comes after the
// last due time".

#include "data/value.h"

#include <cstdint>
#include <optional>
#include <string>

namespace vantry {

// The schedule columns of a session, by the letter in SesFreq:
//   D daily, W weekly, M monthly, O once, H every so many hours, N every so many minutes.
struct ScheduleRec {
    std::string SesFreq;
    std::optional<std::int32_t> SesRunDate;  // O: the day, counted from 1899-12-30
    std::optional<std::int64_t> SesRunTime;  // D, W, M, O: nanoseconds since midnight
    std::optional<int> SesRunDay;            // M: day of the month, 1 .. 31; H, N: the interval
    std::string
        SesWeekDay;  // W: seven of "0" and "1", Monday first; H: the minute of the hour, two digits
};

// The first time strictly after `after` at which the session is due; nothing when there is none, or
// when the columns make no rule. A month without the day runs on its last day. Intervals count from
// `after`, which is the last due time, or the moment at which the schedule became known: hours from
// the last minute mark up to it, minutes from its whole minute.
std::optional<DateTime> NextDue(const ScheduleRec& schedule, const DateTime& after);

// In nanoseconds; 0 for a session that runs at fixed times.
std::int64_t IntervalOf(const ScheduleRec& schedule);

// Why the columns make no rule, in words for a log; empty when they do.
std::string ScheduleFault(const ScheduleRec& schedule);

}  // namespace vantry
