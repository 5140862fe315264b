// Per session one moment is kept, `dealt_with`: every due time up to it has been handed out or
// given up. What is due next is NextDue(schedule, dealt_with), so a look can come late, twice or
// not at all, and each due time is still handed out once.
// Easy to get wrong: the clock. All times are wall-clock times without a zone. Set back by up to
// two hours (the end of summer time), it repeats times that have been dealt with, and nothing
// happens until it has caught up; set back further, it was wrong before, and every `dealt_with`
// lies in a future that may take years to come. ResetAfterStepBack, ReturnFromStepBack and
// FollowOffset hold those cases; the tests have a clock for each.
#include "repository/scheduler.h"

#include "data/value_text.h"

#include <algorithm>
#include <cmath>
#include <sstream>

namespace vantry {
namespace {

constexpr std::int64_t kNanosPerHour = 3600 * kNanosPerSecond;
// No zone's summer time is more than two hours ahead; a longer step back is a clock that is set.
constexpr std::int64_t kLongestStepBack = 2 * kNanosPerHour;
// Lines of the state that belong to no session. The last one says that the file is whole.
const std::string kOffset = "offset ";
const std::string kEnd = "end";

DateTime DayBefore(const DateTime& moment) {
    return {moment.day - 1, moment.nanos};
}

// By less than two days, either way.
DateTime Shifted(const DateTime& moment, std::int64_t nanos) {
    DateTime moved{moment.day, moment.nanos + nanos};
    for (; moved.nanos < 0; --moved.day) {
        moved.nanos += kNanosPerDay;
    }
    for (; moved.nanos >= kNanosPerDay; ++moved.day) {
        moved.nanos -= kNanosPerDay;
    }
    return moved;
}

std::int64_t Between(const DateTime& earlier, const DateTime& later) {
    return (later.day - earlier.day) * kNanosPerDay + later.nanos - earlier.nanos;
}

bool IsFurtherThan(const DateTime& later, const DateTime& earlier, std::int64_t nanos) {
    const std::int64_t days = later.day - earlier.day;
    return days > 1 || days * 24 * kNanosPerHour + later.nanos - earlier.nanos > nanos;
}

// Everything by which the due times of a session are determined, and its creation: a number that
// was given anew is another session. One word, as it stands in a line of the state.
std::string SignatureOf(const SavedSession& session) {
    const auto& schedule = session.Schedule;
    const auto number = [](const auto& value) {
        return value ? std::to_string(*value) : std::string("-");
    };
    std::string text = schedule.SesFreq + "/" + number(schedule.SesRunDate) + "/" +
                       number(schedule.SesRunTime) + "/" + number(schedule.SesRunDay) + "/" +
                       schedule.SesWeekDay + "/" +
                       (session.DateCreated ? IsoText(*session.DateCreated) : std::string());
    std::replace_if(
        text.begin(), text.end(), [](unsigned char c) { return c <= ' ' || c == 0x7F; }, '_');
    return text;
}

}  // namespace

void Scheduler::SetSessions(const std::vector<SavedSession>& sessions, const DateTime& now) {
    // Three questions per session: is it new, is its schedule another one, has it been away?
    std::map<i32, Entry> entries;
    KeepGone(now);
    for (const auto& session : sessions) {
        Entry entry{SignatureOf(session), session.Schedule, now, {}, {}};
        const auto known = entries_.find(session.SessionID);
        if (known == entries_.end()) {
            const auto gone = gone_.find(session.SessionID);
            if (gone != gone_.end() && gone->second.signature == entry.signature) {
                entry.dealt_with = gone->second.dealt_with;
            } else if (has_history_ && session.DateCreated && *session.DateCreated < now) {
                // Created while the program was down: what came due since then is made up for, up
                // to a day. Without a former state there is no telling what has run already, so
                // all sessions begin from now.
                entry.dealt_with = std::max(*session.DateCreated, DayBefore(now));
            }
            state_changed_ = true;
        } else if (known->second.signature == entry.signature) {
            entry.dealt_with = known->second.dealt_with;
            entry.before_step_back = known->second.before_step_back;
        } else {
            state_changed_ = true;
        }
        entry.next = NextDue(entry.schedule, entry.dealt_with);
        entries.emplace(session.SessionID, std::move(entry));
    }
    has_history_ = true;
    state_changed_ = state_changed_ || entries.size() != entries_.size();
    for (auto& [id, entry] : entries_) {
        if (!entries.contains(id)) {
            gone_[id] = std::move(entry);
        }
    }
    entries_ = std::move(entries);
}

// A session that comes back after more than a day has no due time left that could be handed out,
// so there is nothing to remember of it.
void Scheduler::KeepGone(const DateTime& now) {
    std::erase_if(gone_, [&](const auto& item) { return item.second.dealt_with < DayBefore(now); });
}

std::vector<DueStart> Scheduler::TakeDue(const DateTime& now, std::int64_t utc_offset) {
    FollowOffset(utc_offset);
    ResetAfterStepBack(now);
    ReturnFromStepBack(now);
    last_look_ = now;
    std::vector<DueStart> starts;
    for (auto& [id, entry] : entries_) {
        if (!entry.next || *entry.next > now) {
            continue;
        }
        DueStart start{id, *entry.next, 0};
        if (start.Due < DayBefore(now)) {
            // Too old, and each one before it: go on with the first that isn't.
            const DateTime day_before = DayBefore(now);
            if (const auto interval = IntervalOf(entry.schedule); interval > 0) {
                // As many whole intervals later: it goes on counting from its own due times.
                const auto left_out = (Between(start.Due, day_before) - 1) / interval;
                entry.dealt_with = {
                    start.Due.day + static_cast<std::int32_t>(left_out * interval / kNanosPerDay),
                    start.Due.nanos};
                entry.dealt_with = Shifted(entry.dealt_with, left_out * interval % kNanosPerDay);
            } else {
                entry.dealt_with = day_before;
                entry.dealt_with.nanos -= day_before.nanos > 0 ? 1 : 0;  // "after" excludes it
            }
            entry.next = NextDue(entry.schedule, entry.dealt_with);
            state_changed_ = true;
            if (!entry.next || *entry.next > now) {
                continue;
            }
            start.Due = *entry.next;
        }
        // Several due times passed: one start for all, at the latest of them.
        for (entry.next = NextDue(entry.schedule, start.Due); entry.next && *entry.next <= now;
             entry.next = NextDue(entry.schedule, start.Due)) {
            start.Due = *entry.next;
            ++start.Missed;
        }
        entry.dealt_with = start.Due;
        state_changed_ = true;
        starts.push_back(start);
    }
    // Stable: sessions that are due at the same time start in the order of their numbers.
    std::stable_sort(starts.begin(), starts.end(), [](const DueStart& left, const DueStart& right) {
        return left.Due < right.Due;
    });
    return starts;
}

// Times of day are the clock's; intervals are a matter of time passed, whatever the clock does.
// When summer time begins, 01:56 was an hour ago by the clock at 03:00 and four minutes ago in
// truth: it becomes 02:56, so that what runs every seven minutes is due at 03:03, and no due time
// lies in the hour that never was. When it ends, or the machine travels, likewise. Hours keep their
// minute mark where the clock moves by half an hour: they count from the next mark. The offset is
// read before and after the time, so that no time is taken for one of another offset.
void Scheduler::FollowOffset(std::int64_t utc_offset) {
    const auto former = std::exchange(utc_offset_, utc_offset);
    if (former == utc_offset) {
        return;
    }
    state_changed_ = true;
    const auto moved = former ? (utc_offset - *former) * kNanosPerSecond : 0;
    for (auto& [id, entry] : entries_) {
        if (moved == 0 || IntervalOf(entry.schedule) == 0) {
            continue;
        }
        const bool hours = entry.schedule.SesFreq == "H";
        const auto whole_hours =
            static_cast<std::int64_t>(std::ceil(static_cast<double>(moved) / kNanosPerHour));
        const auto shift = hours ? whole_hours * kNanosPerHour : moved;
        entry.dealt_with = Shifted(entry.dealt_with, shift);
        if (entry.before_step_back) {
            entry.before_step_back = Shifted(*entry.before_step_back, shift);
        }
        entry.next = NextDue(entry.schedule, entry.dealt_with);
    }
}

void Scheduler::ResetAfterStepBack(const DateTime& now) {
    for (auto& [id, entry] : entries_) {
        const bool once =
            entry.schedule.SesFreq == "O";  // has one due time, whatever the clock says
        if (!once && IsFurtherThan(entry.dealt_with, now, kLongestStepBack)) {
            entry.before_step_back =
                std::max(entry.dealt_with, entry.before_step_back.value_or(now));
            entry.dealt_with = now;
            entry.next = NextDue(entry.schedule, now);
            state_changed_ = true;
        }
    }
}

// A machine without a battery starts with a clock of years ago and is put right by the network some
// seconds later. What had been dealt with before holds again then, or a week of due times would be
// made up for. The leap forward shows it; where the time has gone by at its own pace (a
// journey to the west), the new times were the right ones.
void Scheduler::ReturnFromStepBack(const DateTime& now) {
    const bool leapt = last_look_ && IsFurtherThan(now, *last_look_, kLongestStepBack);
    for (auto& [id, entry] : entries_) {
        if (!entry.before_step_back || now < *entry.before_step_back) {
            continue;
        }
        if (leapt) {
            entry.dealt_with = std::max(entry.dealt_with, *entry.before_step_back);
            entry.next = NextDue(entry.schedule, entry.dealt_with);
        }
        entry.before_step_back.reset();
        state_changed_ = true;
    }
}

std::optional<DateTime> Scheduler::NextDueTime() const {
    std::optional<DateTime> next;
    for (const auto& [id, entry] : entries_) {
        if (entry.next && (!next || *entry.next < *next)) {
            next = entry.next;
        }
    }
    return next;
}

std::string Scheduler::State() const {
    std::string state;
    if (utc_offset_) {
        state = kOffset + std::to_string(*utc_offset_) + "\n";
    }
    const auto add = [&](i32 id, const Entry& entry) {
        // The later of the two: read back after a restart, the clock may have been put right
        // meanwhile.
        std::string moment = IsoText(entry.before_step_back.value_or(entry.dealt_with));
        moment[10] = 'T';
        state += std::to_string(id) + " " + moment + " " + entry.signature + "\n";
    };
    for (const auto& [id, entry] : entries_) {
        add(id, entry);
    }
    for (const auto& [id, entry] : gone_) {
        // The same form: who reads them back takes each for a session until SetSessions says that
        // it is gone.
        if (!entries_.contains(id)) {
            add(id, entry);
        }
    }
    return state + kEnd + "\n";
}

bool Scheduler::TakeStateChanged() {
    return std::exchange(state_changed_, false);
}

void Scheduler::SetState(const std::string& state) {
    bool readable = true;
    bool whole = false;
    std::istringstream lines(state);
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with(kOffset)) {
            utc_offset_ = ParseInt64(std::string_view(line).substr(kOffset.size()));
            continue;
        }
        if (line == kEnd) {
            whole = true;
            continue;
        }
        std::istringstream words(line);
        i32 id = 0;
        std::string moment;
        Entry entry;
        words >> id >> moment >> entry.signature;
        const auto dealt_with = ParseIsoDateTime(moment);
        if (words && dealt_with) {
            entry.dealt_with = *dealt_with;
            entries_[id] = std::move(entry);
        } else {
            readable = false;
        }
    }
    // A file cut short by a full disk may lack any session: none is then taken for one that ran.
    has_history_ = whole && readable;
}

}  // namespace vantry
