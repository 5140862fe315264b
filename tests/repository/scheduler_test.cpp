// When a schedule is due, and what the scheduler makes of that: after breaks, changes of the clock,
// and changes of the sessions.

#include "repository/scheduler.h"

#include "data/value_text.h"
#include "repository/schedule.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <set>
#include <utility>

namespace vantry {
namespace {

DateTime At(const std::string& text) {
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

// What each kind makes of a whole year is looked at below; here are the ends of months, and moments
// that are due times themselves.
TEST(Schedule, NextDueIsTheFirstTimeStrictlyAfter) {
    const auto noon = Time("12:00:00");
    const auto day = At("2026-11-22 00:00:00").day;
    const ScheduleRec monthly{"M", {}, noon, 31, ""};
    const ScheduleRec weekly{"W", {}, noon, {}, "0000011"};  // 2026-11-21 is a Saturday
    const ScheduleRec hourly{"H", {}, {}, 5, "07"};
    const std::tuple<ScheduleRec, const char*, const char*> cases[] = {
        {{"D", {}, noon, {}, ""}, "2026-12-31 12:00:00", "2027-01-01 12:00:00"},
        {weekly, "2026-11-21 11:59:59", "2026-11-21 12:00:00"},
        {weekly, "2026-11-21 12:00:00", "2026-11-22 12:00:00"},
        {weekly, "2026-11-22 12:00:00", "2026-11-28 12:00:00"},
        {monthly, "2026-02-01 00:00:00", "2026-02-28 12:00:00"},
        {monthly, "2028-02-28 12:00:00", "2028-02-29 12:00:00"},
        {{"M", {}, noon, 1, ""}, "2026-12-01 12:00:00", "2027-01-01 12:00:00"},
        {{"O", day, noon, {}, ""}, "2026-11-21 00:00:00", "2026-11-22 12:00:00"},
        {{"O", day, noon, {}, ""}, "2026-11-22 12:00:00", ""},
        // From the last due time, or from the last mark before a schedule became known.
        {hourly, "2026-11-21 20:07:00", "2026-11-22 01:07:00"},
        {hourly, "2026-11-21 20:06:59", "2026-11-22 00:07:00"},
        {{"N", {}, {}, 7, ""}, "2026-11-21 00:06:59", "2026-11-21 00:13:00"},
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

SavedSession Session(i32 id, ScheduleRec schedule, const char* created = "2026-01-01 00:00:00") {
    SavedSession session;
    session.SessionID = id;
    session.Schedule = std::move(schedule);
    session.DateCreated = At(created);
    return session;
}

// A machine's clock: seconds of the epoch, told as local time of a place.
class LocalClock {
public:
    explicit LocalClock(const char* place) {
        ::setenv("TZ", place, 1);
        ::tzset();
    }
    ~LocalClock() {
        ::unsetenv("TZ");
        ::tzset();
    }
    LocalClock(const LocalClock&) = delete;
    LocalClock& operator=(const LocalClock&) = delete;

    static DateTime Local(std::time_t seconds) {
        std::tm parts{};
        ::localtime_r(&seconds, &parts);
        return {*DayOf(parts.tm_year + 1900, parts.tm_mon + 1, parts.tm_mday),
                *NanosOf(parts.tm_hour, parts.tm_min, std::min(parts.tm_sec, 59))};
    }
};

constexpr std::time_t kStart = 1'767'225'600;  // 2026-01-01 00:00:00 UTC
constexpr std::time_t kTick = 8;
constexpr std::time_t kYear = 365 * 86'400;

// Against seconds counted from the first moment: through both changes of the clock each interval is
// as long as it says, and nothing is made up for. What has a time of day, some of them in the hour
// that is left out and repeated, comes as often as the calendar says.
TEST(Scheduler, AYearMissesNoDueTimeAndDoublesNone) {
    const auto july_4 = At("2026-07-04 00:00:00").day;
    const std::vector<SavedSession> sessions{Session(1, {"N", {}, {}, 7, ""}),
                                             Session(2, {"N", {}, {}, 50, ""}),
                                             Session(3, {"N", {}, {}, 59, ""}),
                                             Session(4, {"H", {}, {}, 7, "40"}),
                                             Session(5, {"H", {}, {}, 23, "10"}),
                                             Session(6, {"H", {}, {}, 1, "00"}),
                                             Session(7, {"D", {}, Time("02:30:00"), {}, ""}),
                                             Session(8, {"W", {}, Time("02:15:00"), {}, "0000011"}),
                                             Session(9, {"M", {}, Time("23:59:59"), 31, ""}),
                                             Session(10, {"O", july_4, Time("12:00:00"), {}, ""}),
                                             Session(11, {"D", {}, Time("00:00:00"), {}, ""})};
    const std::size_t by_calendar[] = {365, 104, 12, 1, 365};
    const std::time_t lengths[] = {0, 420, 3000, 3540, 25'200, 82'800, 3600};
    // Half past the hour, and the last mark of each before it.
    const std::time_t from = kStart + 1800;
    const std::time_t first[] = {0, from, from, from, from - 3000, from - 1200, from - 1800};
    for (const char* place :
         {"UTC", "Europe/Stockholm", "America/New_York", "Australia/Lord_Howe"}) {
        const LocalClock clock(place);
        auto scheduler = std::make_unique<Scheduler>();
        std::time_t due[7];
        for (std::size_t i = 1; i < 7; ++i) {
            due[i] = first[i] + lengths[i];
        }
        int starts = 0;
        std::set<std::string> days[5];
        const bool by_half_an_hour = std::string_view(place) == "Australia/Lord_Howe";
        std::time_t changed_at = 0;
        decltype(std::tm::tm_gmtoff) offset = 0;
        for (std::time_t now = from; now <= from + kYear; now += kTick) {
            std::tm parts{};
            ::localtime_r(&now, &parts);
            if (std::exchange(offset, parts.tm_gmtoff) != parts.tm_gmtoff) {
                changed_at = now;
            }
            // Started anew now and then, and several times in an hour that is there twice.
            const auto since_change = now - changed_at;
            const bool restarts = now % 3'000'000 < kTick ||
                                  (since_change > 0 && since_change < 5400 && now % 1200 < kTick);
            const DateTime local = LocalClock::Local(now);
            if (now == from) {
                scheduler->FollowOffset(parts.tm_gmtoff);
                scheduler->SetSessions(sessions, local);
            } else if (restarts) {
                const std::string state = scheduler->State();
                scheduler = std::make_unique<Scheduler>();
                scheduler->SetState(state);
                scheduler->FollowOffset(parts.tm_gmtoff);
                scheduler->SetSessions(sessions, local);
            }
            for (const auto& start : scheduler->TakeDue(local, parts.tm_gmtoff)) {
                const auto id = static_cast<std::size_t>(start.SessionID);
                if (id > 6) {
                    EXPECT_TRUE(days[id - 7].insert(Text(start.Due).substr(0, 10)).second) << place;
                    EXPECT_EQ(start.Missed, 0) << place << id;
                    continue;
                }
                if (by_half_an_hour && id > 3) {  // hours keep their minute mark
                    EXPECT_EQ(Text(start.Due).substr(14, 2), sessions[id - 1].Schedule.SesWeekDay);
                    due[id] = from + kYear + 1;
                    continue;
                }
                ASSERT_EQ(Text(start.Due), Text(LocalClock::Local(due[id]))) << place << id;
                ASSERT_EQ(start.Missed, 0) << place << id;
                ASSERT_TRUE(now >= due[id] && now < due[id] + kTick) << place << id;
                due[id] += lengths[id];
                ++starts;
            }
        }
        for (std::size_t i = 1; i < 7; ++i) {
            EXPECT_GT(due[i], from + kYear) << place << i;
        }
        EXPECT_GT(starts, 90'000);
        for (std::size_t i = 0; i < 5; ++i) {
            EXPECT_EQ(days[i].size(), by_calendar[i]) << place << i + 7;
        }
    }
}

std::string Starts(Scheduler& scheduler, const char* now) {
    std::string text;
    for (const auto& start : scheduler.TakeDue(At(now))) {
        text += std::to_string(start.SessionID) + "@" + Text(start.Due).substr(5, 11) + "+" +
                std::to_string(start.Missed) + " ";
    }
    return text;
}

TEST(Scheduler, WhatWasMissedRunsOnceIfItIsNoMoreThanADayOld) {
    const std::vector<SavedSession> sessions{
        Session(1, {"D", {}, Time("06:00:00"), {}, ""}),
        Session(2, {"N", {}, {}, 10, ""}),
        Session(3, {"O", At("2026-03-02 00:00:00").day, Time("06:00:00"), {}, ""}),
        Session(4, {"M", {}, Time("06:00:00"), 1, ""})};
    std::string state;
    {
        Scheduler scheduler;
        scheduler.SetSessions(sessions, At("2026-03-01 05:00:00"));
        EXPECT_EQ(Starts(scheduler, "2026-03-01 05:09:59"), "");
        EXPECT_EQ(Starts(scheduler, "2026-03-01 06:00:01"),
                  "1@03-01 06:00+0 2@03-01 06:00+5 4@03-01 06:00+0 ");
        state = scheduler.State();
    }
    const std::pair<const char*, const char*> cases[] = {
        {"2026-03-01 06:09:00", ""},
        {"2026-03-01 06:31:00", "2@03-01 06:30+2 "},
        {"2026-03-02 07:05:00", "1@03-02 06:00+0 3@03-02 06:00+0 2@03-02 07:00+143 "},
        {"2026-03-03 05:59:00", "1@03-02 06:00+0 3@03-02 06:00+0 2@03-03 05:50+143 "},
        {"2026-03-03 06:01:00", "1@03-03 06:00+0 2@03-03 06:00+143 "},
        {"2026-04-30 12:00:00", "1@04-30 06:00+0 2@04-30 12:00+144 "},
    };
    for (const auto& [back_at, expected] : cases) {
        Scheduler scheduler;
        scheduler.SetState(state);
        scheduler.SetSessions(sessions, At(back_at));
        EXPECT_EQ(Starts(scheduler, back_at), expected) << back_at;
        EXPECT_EQ(Starts(scheduler, back_at), "") << back_at;
    }
}

// Whoever keeps the state asks after each look: a start that isn't in it would be made again.
TEST(Scheduler, EachStartAndEachGivenUpOneIsAChangeOfTheState) {
    Scheduler scheduler;
    scheduler.SetSessions({Session(1, {"D", {}, Time("02:30:00"), {}, ""})},
                          At("2026-03-02 00:00:00"));
    EXPECT_TRUE(scheduler.TakeDue(At("2026-03-02 00:00:00"), 0).empty());
    scheduler.TakeStateChanged();
    EXPECT_TRUE(scheduler.TakeDue(At("2026-03-02 02:29:59"), 0).empty());
    EXPECT_FALSE(scheduler.TakeStateChanged());
    EXPECT_EQ(scheduler.TakeDue(At("2026-03-02 02:30:00"), 0).size(), 1U);
    EXPECT_TRUE(scheduler.TakeStateChanged());
    EXPECT_TRUE(scheduler.TakeDue(At("2026-03-02 02:30:01"), 0).empty());
    EXPECT_FALSE(scheduler.TakeStateChanged());
    // Mondays; seen on a Thursday.
    scheduler.SetSessions({Session(1, {"W", {}, Time("02:30:00"), {}, "0100000"})},
                          At("2026-03-02 02:30:02"));
    scheduler.TakeStateChanged();
    EXPECT_TRUE(scheduler.TakeDue(At("2026-03-12 00:00:00"), 0).empty());
    EXPECT_TRUE(scheduler.TakeStateChanged());
}

TEST(Scheduler, ASessionThatABackupBringsBackDoesntRunAgain) {
    const auto daily = Session(1, {"D", {}, Time("06:00:00"), {}, ""});
    for (const bool restarted : {false, true}) {
        Scheduler first;
        first.SetSessions({daily}, At("2026-03-01 05:00:00"));
        EXPECT_EQ(Starts(first, "2026-03-01 06:00:00"), "1@03-01 06:00+0 ");
        first.SetSessions({}, At("2026-03-01 09:00:00"));
        first.SetSessions({}, At("2026-03-01 09:01:00"));
        Scheduler second;
        second.SetState(first.State());
        Scheduler& scheduler = restarted ? second : first;
        scheduler.SetSessions({}, At("2026-03-01 09:02:00"));
        scheduler.SetSessions({daily}, At("2026-03-01 09:05:00"));
        EXPECT_EQ(Starts(scheduler, "2026-03-01 09:05:00"), "") << restarted;
        EXPECT_EQ(Starts(scheduler, "2026-03-02 06:00:00"), "1@03-02 06:00+0 ") << restarted;
    }
}

TEST(Scheduler, AClockThatStartsInThePastDoesntBringBackWhatHasRun) {
    const auto daily = Session(1, {"D", {}, Time("06:00:00"), {}, ""});
    Scheduler first;
    first.SetSessions({daily}, At("2026-03-01 05:00:00"));
    EXPECT_EQ(Starts(first, "2026-03-01 06:00:00"), "1@03-01 06:00+0 ");
    for (const bool restarted : {false, true}) {
        auto scheduler = std::make_unique<Scheduler>();
        scheduler->SetState(first.State());
        scheduler->SetSessions({daily}, At("2000-01-01 00:00:00"));
        EXPECT_EQ(Starts(*scheduler, "2000-01-01 00:00:00"), "");
        if (restarted) {
            const auto state = scheduler->State();
            scheduler = std::make_unique<Scheduler>();
            scheduler->SetState(state);
        }
        scheduler->SetSessions({daily}, At("2000-01-01 00:00:05"));
        EXPECT_EQ(Starts(*scheduler, "2026-03-01 09:00:00"), "") << restarted;
        EXPECT_EQ(Starts(*scheduler, "2026-03-02 09:00:00"), "1@03-02 06:00+0 ") << restarted;
    }
    // A journey to the west brings the same time of day once more.
    EXPECT_EQ(Starts(first, "2026-03-01 01:00:00"), "");
    EXPECT_EQ(Starts(first, "2026-03-01 05:59:59"), "");
    EXPECT_EQ(Starts(first, "2026-03-01 06:00:00"), "1@03-01 06:00+0 ");
}

TEST(Scheduler, ClocksAreSetAndSessionsChange) {
    const auto daily = Session(1, {"D", {}, Time("06:00:00"), {}, ""});
    Scheduler scheduler;
    // The first life of the program has missed nothing.
    scheduler.SetSessions({daily}, At("2026-03-01 12:00:00"));
    EXPECT_EQ(Starts(scheduler, "2026-03-01 12:00:00"), "");
    EXPECT_EQ(Starts(scheduler, "2026-03-02 06:00:00"), "1@03-02 06:00+0 ");
    // Back by an hour: nothing twice. Back by a year: the clock was wrong.
    EXPECT_EQ(Starts(scheduler, "2026-03-02 05:00:00"), "");
    EXPECT_EQ(Starts(scheduler, "2026-03-02 06:30:00"), "");
    EXPECT_EQ(Starts(scheduler, "2025-03-02 05:00:00"), "");
    EXPECT_EQ(Starts(scheduler, "2025-03-02 06:00:00"), "1@03-02 06:00+0 ");
    // Another time of day counts from now, a session that is new from its creation.
    auto changed = daily;
    changed.Schedule.SesRunTime = Time("06:10:00");
    const auto created = Session(2, {"D", {}, Time("06:19:00"), {}, ""}, "2025-03-02 06:20:00");
    const auto before = Session(3, {"D", {}, Time("06:21:00"), {}, ""}, "2025-03-02 06:20:00");
    scheduler.SetSessions({changed, created, before}, At("2025-03-02 06:22:00"));
    EXPECT_EQ(Starts(scheduler, "2025-03-02 06:22:00"), "3@03-02 06:21+0 ");
    // A number that is given anew is another session.
    const auto anew = Session(3, {"D", {}, Time("06:21:00"), {}, ""}, "2025-03-02 06:25:00");
    scheduler.SetSessions({anew}, At("2025-03-02 06:26:00"));
    EXPECT_EQ(Starts(scheduler, "2025-03-03 06:00:00"), "");
    // It has missed nothing of the former one's, whether that was seen to go or not.
    const auto often = Session(4, {"N", {}, {}, 10, ""}, "2025-03-03 05:00:00");
    const auto heir = Session(4, often.Schedule, "2025-03-03 06:58:00");
    for (const bool seen_to_go : {false, true}) {
        Scheduler taken;
        taken.SetSessions({often}, At("2025-03-03 06:00:00"));
        if (seen_to_go) {
            taken.SetSessions({}, At("2025-03-03 06:59:00"));
        }
        taken.SetSessions({heir}, At("2025-03-03 07:00:00"));
        EXPECT_EQ(Starts(taken, "2025-03-03 07:00:00"), "") << seen_to_go;
    }
    // A state that somebody has spoilt is passed over.
    Scheduler spoilt;
    spoilt.SetState("x\n3 yesterday D\n\xFF\xFE\n99999999999999999999 2025-03-02T06:00:00 D\n");
    spoilt.SetSessions({anew}, At("2025-03-02 06:20:00"));
    EXPECT_EQ(Starts(spoilt, "2025-03-02 06:20:30"), "");
    EXPECT_EQ(spoilt.NextDueTime(), At("2025-03-02 06:21:00"));
    // Nor does one that a full disk or a power failure has cut run its sessions once more.
    Scheduler whole;
    whole.SetSessions({daily, before}, At("2026-03-02 05:00:00"));
    EXPECT_EQ(Starts(whole, "2026-03-02 06:30:00"), "1@03-02 06:00+0 3@03-02 06:21+0 ");
    const std::string state = whole.State();
    for (std::size_t length = 0; length <= state.size(); ++length) {
        Scheduler cut;
        cut.SetState(state.substr(0, length));
        cut.SetSessions({daily, before}, At("2026-03-02 06:40:00"));
        EXPECT_EQ(Starts(cut, "2026-03-02 06:40:00"), "") << state.substr(0, length);
        EXPECT_EQ(cut.NextDueTime(), At("2026-03-03 06:00:00")) << state.substr(0, length);
    }
}

}  // namespace
}  // namespace vantry
