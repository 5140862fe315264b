#pragma once
// Decides which sessions are to be started now. No clock, no files, no processes: the caller passes
// the local time and the sessions in, and stores State() while the program is down.
//
// A due time counts as dealt with as soon as its session has been handed out; each is handed out
// once. Due times that passed unseen (the program was down, the machine asleep, the clock moved
// forward, the repository out of reach) become one start, if the latest of them is no more than a
// day old. When the clock goes back by no more than two hours, nothing is due until it has caught
// up; when it goes back further it was wrong before, and counting begins anew from the new time. If
// it then leaps forward again, that was the mistake, and what had been dealt with holds as before.
// Where summer time begins and ends the clock jumps and time does not: a session that runs at
// intervals goes on doing so, counted in time passed. A session that leaves the repository and
// comes back, from a backup say, isn't handed out anew for what it has had.

#include "repository/saved_session.h"

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace vantry {

struct DueStart {
    i32 SessionID = 0;
    DateTime Due;
    int Missed = 0;  // due times before this one that this start makes up for
};

class Scheduler {
public:
    // The sessions as they stand in the repository. Those that are new count from their creation
    // on, those whose schedule has changed from `now`, and all of them do at the first call when
    // there is no former state.
    void SetSessions(const std::vector<SavedSession>& sessions, const DateTime& now);
    // Tells by how many seconds local time is ahead of UTC from now on; before SetSessions, whose
    // new sessions count from a time with this offset.
    void FollowOffset(std::int64_t utc_offset);
    // What is due at `now`, oldest due time first. `utc_offset`: by how many seconds `now` is ahead
    // of UTC.
    std::vector<DueStart> TakeDue(const DateTime& now, std::int64_t utc_offset = 0);
    // When TakeDue will next have something, as far as known.
    std::optional<DateTime> NextDueTime() const;

    // What must outlive the program, as text, and whether it has changed since the last call.
    std::string State() const;
    bool TakeStateChanged();
    // Lines that can't be read are passed over: their sessions count from now on, and so does each
    // that isn't named, for it may have stood in one of them or behind a cut.
    void SetState(const std::string& state);

private:
    struct Entry {
        std::string signature;  // by which a changed schedule, or a number given anew, shows
        ScheduleRec schedule;
        DateTime dealt_with;
        std::optional<DateTime> next;
        // `dealt_with` as it was when the clock went back by more than two hours. Taken up again
        // when the clock leaps forward: a machine without a battery starts years ago.
        std::optional<DateTime> before_step_back;
    };
    void KeepGone(const DateTime& now);
    void ResetAfterStepBack(const DateTime& now);
    void ReturnFromStepBack(const DateTime& now);

    std::map<i32, Entry> entries_;
    std::map<i32, Entry> gone_;  // out of the repository for up to a day: a backup may restore them
    std::optional<std::int64_t> utc_offset_;
    std::optional<DateTime> last_look_;
    bool state_changed_ = false;
    bool has_history_ = false;
};

}  // namespace vantry
