#include "repository/schedule.h"

#include "data/value_text.h"

#include <gtest/gtest.h>

namespace vantry {
namespace {

DateTime At(const char* text) {
    return ParseIsoDateTime(text).value();
}
std::int64_t Time(const char* text) {
    return ParseIsoTime(text).value().nanos;
}
std::string Text(const std::optional<DateTime>& moment) {
    std::string out;
    if (moment) {
        AppendIsoDateTime(*moment, out);
    }
    return out;
}

ScheduleRec Daily(const char* time) {
    return {"D", {}, Time(time), {}, ""};
}
ScheduleRec Weekly(const char* mask, const char* time) {
    return {"W", {}, Time(time), {}, mask};
}
ScheduleRec Monthly(int day, const char* time) {
    return {"M", {}, Time(time), day, ""};
}
ScheduleRec Once(const char* date, const char* time) {
    return {"O", At(date).day, Time(time), {}, ""};
}
ScheduleRec Hourly(int hours, const char* mark) {
    return {"H", {}, {}, hours, mark};
}
ScheduleRec Minutely(int minutes) {
    return {"N", {}, {}, minutes, ""};
}

TEST(Schedule, NextDueIsTheFirstTimeStrictlyAfter) {
    const std::tuple<ScheduleRec, const char*, const char*> cases[] = {
        {Daily("06:30:00"), "2026-11-21 06:29:59", "2026-11-21 06:30:00"},
        {Daily("06:30:00"), "2026-11-21 06:30:00", "2026-11-22 06:30:00"},
        {Daily("00:00:00"), "2026-12-31 00:00:00", "2027-01-01 00:00:00"},
        // 2026-11-21 is a Saturday.
        {Weekly("1000000", "08:00:00"), "2026-11-21 09:00:00", "2026-11-23 08:00:00"},
        {Weekly("0000010", "08:00:00"), "2026-11-21 07:59:59", "2026-11-21 08:00:00"},
        {Weekly("0000010", "08:00:00"), "2026-11-21 08:00:00", "2026-11-28 08:00:00"},
        {Weekly("0000011", "08:00:00"), "2026-11-21 08:00:00", "2026-11-22 08:00:00"},
        {Monthly(31, "12:00:00"), "2026-02-01 00:00:00", "2026-02-28 12:00:00"},
        {Monthly(31, "12:00:00"), "2028-02-28 12:00:00", "2028-02-29 12:00:00"},
        {Monthly(30, "12:00:00"), "2026-01-30 12:00:00", "2026-02-28 12:00:00"},
        {Monthly(1, "12:00:00"), "2026-12-01 12:00:00", "2027-01-01 12:00:00"},
        {Monthly(15, "12:00:00"), "2026-11-01 00:00:00", "2026-11-15 12:00:00"},
        {Once("2026-11-22 00:00:00", "04:05:00"), "2026-11-21 00:00:00", "2026-11-22 04:05:00"},
        {Once("2026-11-22 00:00:00", "04:05:00"), "2026-11-22 04:05:00", ""},
        // From the last due time, or from the last mark before a schedule became known.
        {Hourly(1, "07"), "2026-11-21 23:07:00", "2026-11-22 00:07:00"},
        {Hourly(5, "07"), "2026-11-21 20:07:00", "2026-11-22 01:07:00"},
        {Hourly(5, "07"), "2026-11-21 20:06:59", "2026-11-22 00:07:00"},
        {Hourly(23, "59"), "2026-11-21 00:58:00", "2026-11-21 22:59:00"},
        {Hourly(1, "00"), "2026-11-21 00:00:00", "2026-11-21 01:00:00"},
        {Minutely(1), "2026-11-21 23:59:00", "2026-11-22 00:00:00"},
        {Minutely(7), "2026-11-21 00:06:59", "2026-11-21 00:13:00"},
        {Minutely(59), "2026-12-31 23:55:00", "2027-01-01 00:54:00"},
    };
    for (const auto& [schedule, after, due] : cases) {
        EXPECT_EQ(Text(NextDue(schedule, At(after))), due)
            << schedule.SesFreq << " after " << after;
    }
}

TEST(Schedule, ColumnsThatMakeNoRuleAreNeverDueAndSayWhy) {
    const ScheduleRec faulty[] = {{},
                                  {"X", 1, 0, 1, "1111111"},
                                  {"D", {}, {}, {}, ""},
                                  {"W", {}, 0, {}, "0000000"},
                                  {"W", {}, 0, {}, "11"},
                                  {"W", {}, 0, {}, "1111112"},
                                  {"M", {}, 0, {}, ""},
                                  {"M", {}, 0, 0, ""},
                                  {"M", {}, 0, 32, ""},
                                  {"O", {}, 0, {}, ""},
                                  {"H", {}, {}, 0, "00"},
                                  {"H", {}, {}, 24, "00"},
                                  {"H", {}, {}, 1, "60"},
                                  {"H", {}, {}, 1, ""},
                                  {"N", {}, {}, 60, ""}};
    for (const auto& schedule : faulty) {
        EXPECT_FALSE(NextDue(schedule, At("2026-11-21 00:00:00"))) << schedule.SesFreq;
        EXPECT_FALSE(ScheduleFault(schedule).empty());
    }
}

}  // namespace
}  // namespace vantry
