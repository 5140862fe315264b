#pragma once
// The scheduler without its main: reads the schedules, starts runners, keeps its state and its log
// in the folder "log". One look at a time, so that a test can bring its own clock.

#include "drivers/file/file.h"
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
    // `folder`: of the repository and of the program VYRun. `now`: local time.
    TimerService(std::string folder, std::function<DateTime()> now);

    // Reads the repository if it has changed, and starts what is due. Never throws.
    void Look();
    // Until the next look, at most a few seconds.
    std::chrono::milliseconds Wait() const;
    // A line with the time in "log/VYTimer.log".
    void Log(const std::string& line);

private:
    void ReadSchedules(const DateTime& now);
    void Await(DueStart due);
    bool Start(const DueStart& due);
    void SaveState();
    void LogOnce(std::string& last, const std::string& line);
    std::string Named(i32 session_id) const;

    std::string folder_;
    std::function<DateTime()> now_;
    std::string logs_;
    Scheduler scheduler_;
    RunnerProcesses runners_;
    std::deque<DueStart> waiting_;
    std::map<i32, std::string> names_;
    std::optional<file::FileStamp> stamp_;  // of the repository that was read
    int looks_since_reading_ = 0;
    bool missing_ = false;
    std::string last_trouble_;
    std::string last_warning_;
    std::map<i32, std::string> last_faults_;
    std::map<i32, std::string> last_start_faults_;
};

}  // namespace vantry
