#pragma once
// The scheduler without its main: reads the schedules, starts runners, keeps its state and its log
// in the folder "log". One look at a time, so that a test can bring its own clock.

#include "data/value_text.h"
#include "files/file.h"
#include "repository/failure_teller.h"
#include "repository/runner_processes.h"
#include "repository/scheduler.h"

#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <string>

namespace vantry {

class TimerService {
public:
    // `folder`: of the repository and of the program VYRun. `now`: local time, by `utc_offset`
    // seconds ahead of UTC. A runner that does nothing for `idle_limit` is named in the log.
    TimerService(std::string folder,
                 std::function<DateTime()> now,
                 std::function<std::int64_t()> utc_offset = LocalUtcOffset,
                 std::chrono::milliseconds idle_limit = std::chrono::minutes(10));

    // Reads the repository if it has changed, and starts what is due. Never throws.
    void Look();
    // Until the next look, at most a few seconds.
    std::chrono::milliseconds Wait() const;
    // A line with the time in "log/VYTimer.log".
    void Log(const std::string& line);

private:
    void TellFailure(const RunnerProcesses::Ended& ended);
    void ReadSchedules(const DateTime& now);
    void LoadState();
    void Await(DueStart due);
    std::vector<DueStart> TakeStarts();
    bool Start(const DueStart& due);
    bool SaveState();
    void LogOnce(std::string& last, const std::string& line);
    std::string Named(i32 session_id) const;

    std::string folder_;
    std::function<DateTime()> now_;
    std::function<std::int64_t()> utc_offset_;
    std::string logs_;
    Scheduler scheduler_;
    RunnerProcesses runners_;
    std::deque<DueStart> waiting_;  // due, but too many are running or the runner can't be started
    bool unsaved_ = false;          // something to note besides what the scheduler tells
    std::map<i32, std::string> names_;
    std::map<i32, std::string> log_files_;
    FailureTeller teller_;
    std::optional<file::FileStamp> stamp_;  // of the repository that was read
    int looks_since_reading_ = 0;
    bool missing_ = false;
    std::string last_trouble_;
    std::string last_warning_;
    std::string last_save_fault_;
    std::map<i32, std::string> last_faults_;
    std::map<i32, std::string> last_start_faults_;
};

}  // namespace vantry
