#include "repository/scheduler.h"

#include "data/value_text.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <set>

namespace vantry {
namespace {

DateTime At(const std::string& text) {
    return ParseIsoDateTime(text).value();
}
std::string Text(const DateTime& moment) {
    std::string out;
    AppendIsoDateTime(moment, out);
    return out;
}

SavedSession Session(i32 id, ScheduleRec schedule, const char* created = "2026-01-01 00:00:00") {
    SavedSession session;
    session.SessionID = id;
    session.Schedule = std::move(schedule);
    session.DateCreated = At(created);
    return session;
}
std::int64_t Time(const char* text) {
    return ParseIsoTime(text).value().nanos;
}

// One of each kind; those with a time of day inside the hours that summer time leaves out and
// repeats.
std::vector<SavedSession> EachKind() {
    return {Session(1, {"D", {}, Time("02:30:00"), {}, ""}),
            Session(2, {"W", {}, Time("02:15:00"), {}, "0000011"}),
            Session(3, {"M", {}, Time("23:59:59"), 31, ""}),
            Session(4, {"O", At("2026-07-04 00:00:00").day, Time("12:00:00"), {}, ""}),
            Session(5, {"H", {}, {}, 5, "09"}),
            Session(6, {"N", {}, {}, 15, ""}),
            Session(7, {"D", {}, Time("00:00:00"), {}, ""}),
            Session(8, {"N", {}, {}, 59, ""})};
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

// All due times of the year by the calendar alone.
std::set<std::string> DueTimes(const ScheduleRec& schedule, DateTime from, const DateTime& to) {
    std::set<std::string> due;
    for (auto next = NextDue(schedule, from); next && *next <= to;
         next = NextDue(schedule, *next)) {
        due.insert(Text(*next));
    }
    return due;
}

TEST(Scheduler, AYearMissesNoDueTimeAndDoublesNone) {
    for (const char* place :
         {"UTC", "Europe/Stockholm", "America/New_York", "Australia/Lord_Howe"}) {
        const LocalClock clock(place);
        const auto sessions = EachKind();
        Scheduler scheduler;
        const DateTime first = LocalClock::Local(kStart);
        scheduler.SetSessions(sessions, first);
        std::map<i32, std::set<std::string>> started;
        std::map<i32, int> made_up;
        for (std::time_t now = kStart; now <= kStart + kYear; now += kTick) {
            const DateTime local = LocalClock::Local(now);
            for (const auto& start : scheduler.TakeDue(local)) {
                EXPECT_TRUE(started[start.SessionID].insert(Text(start.Due)).second)
                    << place << ": doubled " << start.SessionID << " " << Text(start.Due);
                made_up[start.SessionID] += start.Missed;
                EXPECT_LE(start.Due, local);
            }
            if (now % 100'000 < kTick) {
                scheduler.SetSessions(sessions, local);  // as after each change of the repository
            }
        }
        const DateTime last = LocalClock::Local(kStart + kYear);
        for (const auto& session : sessions) {
            const auto due = DueTimes(session.Schedule, first, last);
            const auto& got = started[session.SessionID];
            // Where the clock jumps ahead, what it jumped over is one start.
            EXPECT_EQ(got.size() + static_cast<std::size_t>(made_up[session.SessionID]), due.size())
                << place << " session " << session.SessionID;
            EXPECT_TRUE(std::includes(due.begin(), due.end(), got.begin(), got.end())) << place;
            EXPECT_LE(made_up[session.SessionID], 4) << place << " session " << session.SessionID;
        }
        // Counted against the calendar; where no clock jumps, the short ones, too.
        EXPECT_EQ(started[1].size(), 365U) << place;
        EXPECT_EQ(started[2].size(), 104U) << place;
        EXPECT_EQ(started[3].size(), 12U) << place;
        EXPECT_EQ(started[4].size(), 1U) << place;
        if (std::string_view(place) == "UTC") {
            EXPECT_EQ(started[5].size(), 365U * 24 / 5);
            EXPECT_EQ(started[6].size(), 365U * 24 * 4);
            EXPECT_EQ(started[8].size(), 365U * 24 * 60 / 59);
        }
    }
}

// Against seconds counted from the first moment: through both changes of the clock each interval is
// as long as it says, and nothing is made up for.
TEST(Scheduler, AYearOfIntervalsIsCountedInTimePassed) {
    const std::vector<SavedSession> sessions{Session(1, {"N", {}, {}, 7, ""}),
                                             Session(2, {"N", {}, {}, 50, ""}),
                                             Session(3, {"N", {}, {}, 59, ""}),
                                             Session(4, {"H", {}, {}, 7, "40"}),
                                             Session(5, {"H", {}, {}, 23, "10"}),
                                             Session(6, {"H", {}, {}, 1, "00"})};
    const std::time_t lengths[] = {0, 420, 3000, 3540, 25'200, 82'800, 3600};
    // Half past the hour, and the last mark of each before it.
    const std::time_t from = kStart + 1800;
    const std::time_t first[] = {0, from, from, from, from - 3000, from - 1200, from - 1800};
    for (const char* place : {"Europe/Stockholm", "America/New_York"}) {
        const LocalClock clock(place);
        auto scheduler = std::make_unique<Scheduler>();
        std::time_t due[7];
        for (std::size_t i = 1; i < 7; ++i) {
            due[i] = first[i] + lengths[i];
        }
        int starts = 0;
        for (std::time_t now = from; now <= from + kYear; now += kTick) {
            std::tm parts{};
            ::localtime_r(&now, &parts);
            const DateTime local = LocalClock::Local(now);
            if (now == from) {
                scheduler->FollowOffset(parts.tm_gmtoff);
                scheduler->SetSessions(sessions, local);
            } else if (now % 3'000'000 < kTick) {
                const std::string state = scheduler->State();
                scheduler = std::make_unique<Scheduler>();
                scheduler->SetState(state);
                scheduler->FollowOffset(parts.tm_gmtoff);
                scheduler->SetSessions(sessions, local);
            }
            for (const auto& start : scheduler->TakeDue(local, parts.tm_gmtoff)) {
                const auto id = static_cast<std::size_t>(start.SessionID);
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
        EXPECT_GT(starts, 100'000);
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

// The clock of Stockholm goes from 3 o'clock back to 2 on 2026-10-25, that of Lord Howe Island from
// 2 o'clock back to half past 1 on 2026-04-05.
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

TEST(Scheduler, IntervalsGoOnWhileTheClockRepeatsAnHour) {
    const struct {
        const char* place;
        std::time_t from;  // before the change, by two hours
        const char* every_15_minutes;
        const char* every_59_minutes;
        const char* hourly;
        const char* daily;
    } cases[] = {{"Europe/Stockholm",
                  1'792'882'800,
                  "01:15 01:30 01:45 02:00 02:15 02:30 02:45 02:00 02:15 02:30 02:45 03:00 03:15 "
                  "03:30 03:45 04:00 ",
                  "01:59 02:58 02:57 03:56 ",
                  "01:09 02:09 02:09 03:09 ",
                  "02:30 "},
                 {"Australia/Lord_Howe",
                  1'775'307'600,
                  "00:15 00:30 00:45 01:00 01:15 01:30 01:45 01:30 01:45 02:00 02:15 02:30 02:45 "
                  "03:00 03:15 03:30 ",
                  "00:59 01:58 02:27 03:26 ",
                  "00:09 01:09 02:09 03:09 ",
                  "02:30 "}};
    const auto daily = Session(4, {"D", {}, Time("02:30:00"), {}, ""});
    const std::vector<SavedSession> sessions{Session(1, {"N", {}, {}, 15, ""}),
                                             Session(2, {"N", {}, {}, 59, ""}),
                                             Session(3, {"H", {}, {}, 1, "09"}),
                                             daily};
    for (const auto& c : cases) {
        for (const std::time_t restart_after : {0, 7190, 7203, 9000}) {
            const LocalClock clock(c.place);
            auto scheduler = std::make_unique<Scheduler>();
            scheduler->SetSessions(sessions, LocalClock::Local(c.from));
            std::string started[5];
            for (std::time_t passed = 0; passed <= 4 * 3600; passed += 4) {
                if (restart_after != 0 && passed / 4 == restart_after / 4) {
                    const auto state = scheduler->State();
                    scheduler = std::make_unique<Scheduler>();
                    scheduler->SetState(state);
                    scheduler->SetSessions(sessions, LocalClock::Local(c.from + passed));
                }
                const std::time_t now = c.from + passed;
                std::tm parts{};
                ::localtime_r(&now, &parts);
                for (const auto& start :
                     scheduler->TakeDue(LocalClock::Local(now), parts.tm_gmtoff)) {
                    started[start.SessionID] += Text(start.Due).substr(11, 5) + " ";
                    EXPECT_EQ(start.Missed, 0) << c.place;
                }
            }
            EXPECT_EQ(started[1], c.every_15_minutes) << c.place << restart_after;
            EXPECT_EQ(started[3], c.hourly) << c.place << restart_after;
            EXPECT_EQ(started[4], c.daily) << c.place << restart_after;
            EXPECT_EQ(started[2], c.every_59_minutes) << c.place << restart_after;
        }
    }
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
