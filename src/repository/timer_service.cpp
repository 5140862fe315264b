// Ties the scheduler's decisions to the world: the repository as file and as database, the runner's
// processes, a state file and a log file. One Look() reads what has changed, asks for what is due,
// notes it, and starts it; the main sleeps in between for Wait().
// Easy to get wrong: the order of noting and starting. What is due is written to the state file
// before any runner starts; a power cut in between loses one start. The other way round it would
// start a session twice, and a load that appends would have each row twice.
// Nothing here may end the program: it is started at login and works unwatched. Trouble goes into
// the log, once per kind of trouble.
#include "repository/timer_service.h"

#include "core/folders.h"
#include "core/settings.h"
#include "data/error_text.h"
#include "data/message_text.h"
#include "data/value_text.h"
#include "repository/program_lock.h"
#include "repository/repository.h"
#include "repository/run_log_file.h"
#include "repository/session_runner.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <optional>
#include <span>
#include <sstream>

namespace vantry {
namespace {

constexpr std::chrono::milliseconds kLookInterval{5000};
constexpr int kLooksBetweenReadings = 120;         // ten minutes
constexpr std::uintmax_t kLongestLog = 1'000'000;  // bytes; one former log is kept beside it

// Nothing if there is no such file.
std::optional<std::string> ContentOf(const std::string& path) {
    const auto file = file::File::OpenIfThere(path, file::OpenMode::Read);
    if (!file) {
        return std::nullopt;
    }
    std::string content(file->Size(), '\0');
    content.resize(file->Read(0, std::as_writable_bytes(std::span(content))));
    return content;
}

// The state file holds the scheduler's own lines and these, "waiting NUMBER DUE MISSED": a start
// that is due, but waits for room or for a runner that can be started. A word at the line's front
// tells them apart, so that a version that doesn't know a kind of line passes over it.
const std::string kWaiting = "waiting ";

std::string WaitingLine(const DueStart& due) {
    std::string when = IsoText(due.Due);
    when[10] = 'T';
    return kWaiting + std::to_string(due.SessionID) + " " + when + " " +
           std::to_string(due.Missed) + "\n";
}

std::optional<DueStart> WaitingOf(const std::string& line) {
    std::istringstream words(line.substr(kWaiting.size()));
    DueStart due;
    std::string when;
    words >> due.SessionID >> when >> due.Missed;
    const auto moment = ParseIsoDateTime(when);
    if (!words || !moment) {
        return std::nullopt;
    }
    due.Due = *moment;
    return due;
}

// The same day of grace that the scheduler gives due times that passed while the program was down:
// a start that waits must not live longer than one that was never seen.
bool IsWorthATry(const DateTime& due, const DateTime& now) {
    return now <= DateTime{due.day + 1, due.nanos};
}

}  // namespace

TimerService::TimerService(std::string folder,
                           std::function<DateTime()> now,
                           std::function<std::int64_t()> utc_offset,
                           std::chrono::milliseconds idle_limit)
    : folder_(std::move(folder)),
      now_(std::move(now)),
      utc_offset_(std::move(utc_offset)),
      logs_(LogFolder(folder_)),
      runners_(ProgramPath(folder_, "VYRun"), JoinPath(logs_, "VYTimer.log"), idle_limit),
      teller_(ProgramPath(folder_, "VYRun")) {
    LoadState();
}

void TimerService::LoadState() {
    std::optional<std::string> content;
    try {
        content = ContentOf(JoinPath(logs_, "VYTimer.state"));
    } catch (const DataError& error) {
        // Without it there is no telling what has run already.
        Log("The scheduler can't work: " + error.Description());
        throw;
    }
    if (!content) {
        return;
    }
    std::istringstream lines(*content);
    std::string of_scheduler;
    for (std::string line; std::getline(lines, line);) {
        if (!line.starts_with(kWaiting)) {
            of_scheduler += line + "\n";
        } else if (const auto due = WaitingOf(line)) {
            waiting_.push_back(*due);
        }
    }
    scheduler_.SetState(of_scheduler);
}

// By the settings of this moment: a scheduler runs for weeks.
void TimerService::TellFailure(const RunnerProcesses::Ended& ended) {
    LoadSettings(folder_);
    for (const auto& fault : TakeSettingsFaults()) {
        Log(fault);
    }
    const auto name = names_.find(ended.SessionID);
    const auto fault = teller_.Tell(
        {name == names_.end() ? std::to_string(ended.SessionID) : "\"" + name->second + "\"",
         ended.How,
         log_files_[ended.SessionID]});
    if (!fault.empty()) {
        Log(fault);
    }
}

void TimerService::Look() {
    // First of all, so that a session whose run has just ended can start again in the same look.
    for (const auto& ended : runners_.TakeEnded()) {
        Log(Named(ended.SessionID) + " " + ended.How + ".");
        if (!ended.Whole) {
            TellFailure(ended);
        }
    }
    teller_.Reap();
    for (const auto& hanging : runners_.TakeHanging()) {
        Log(Named(hanging.SessionID) +
            " has done nothing for a long time and may hang, on its server or a file: process " +
            std::to_string(hanging.Pid) + ". The other sessions go on.");
    }
    // One reading of both: see FollowOffset of the scheduler.
    auto utc_offset = utc_offset_();
    DateTime now = now_();
    for (auto again = utc_offset_(); again != utc_offset; again = utc_offset_()) {
        utc_offset = again;
        now = now_();
    }
    scheduler_.FollowOffset(utc_offset);
    ReadSchedules(now);
    if (!missing_) {
        for (const auto& due : scheduler_.TakeDue(now, utc_offset)) {
            Await(due);
        }
        const auto too_old = [&](const DueStart& due) { return !IsWorthATry(due.Due, now); };
        unsaved_ |= std::erase_if(waiting_, too_old) > 0;
        // Noted as started before they are: see above. Those that then can't be started wait again.
        auto starts = TakeStarts();
        if (!SaveState()) {
            // A start that isn't noted would be made again by the next scheduler: it waits.
            waiting_.insert(waiting_.begin(), starts.begin(), starts.end());
            starts.clear();
        }
        for (const auto& due : starts) {
            if (!Start(due)) {
                waiting_.push_back(due);
                unsaved_ = true;
            }
        }
    }
    SaveState();
}

std::vector<DueStart> TimerService::TakeStarts() {
    // A machine that was asleep may find forty sessions due at once; they start in the order of
    // their due times as room comes.
    const auto count = std::min<std::size_t>(waiting_.size(), runners_.Room());
    const auto end = waiting_.begin() + static_cast<std::ptrdiff_t>(count);
    std::vector<DueStart> starts(waiting_.begin(), end);
    waiting_.erase(waiting_.begin(), end);
    unsaved_ |= !starts.empty();
    return starts;
}

// A session that still waits for its former start has one start for both.
void TimerService::Await(DueStart due) {
    const auto former = std::find_if(waiting_.begin(), waiting_.end(), [&](const DueStart& other) {
        return other.SessionID == due.SessionID;
    });
    if (former != waiting_.end()) {
        due.Missed += former->Missed + 1;
        waiting_.erase(former);
    }
    waiting_.push_back(due);
    unsaved_ = true;
}

// Only when the file has changed, so that an idle scheduler costs nothing; and now and then all the
// same, for file systems whose times don't tell.
void TimerService::ReadSchedules(const DateTime& now) {
    try {
        const auto stamp = file::StampOf(RepositoryFile(folder_).string());
        missing_ = !stamp.has_value();
        if (missing_) {
            stamp_.reset();
            LogOnce(last_trouble_, "There is no repository in \"" + folder_ + "\".");
            return;
        }
        if (stamp_ == stamp && ++looks_since_reading_ < kLooksBetweenReadings) {
            return;
        }
        // Anyone who can write the repository can make this program run statements with the
        // passwords in it.
        LogOnce(last_warning_, RepositoryWarning(folder_));
        const auto sessions = ListSchedules();
        // For the log lines alone; the runner reads the name itself.
        names_.clear();
        for (const auto& session : sessions) {
            names_[session.SessionID] = session.SessionName;
            log_files_[session.SessionID] = LogFileAt(session.LogFileName);
            // A start from before its creation is that of a former session of its number.
            unsaved_ |= std::erase_if(waiting_, [&](const DueStart& due) {
                            return due.SessionID == session.SessionID && session.DateCreated &&
                                   due.Due < *session.DateCreated;
                        }) > 0;
            LogOnce(last_faults_[session.SessionID],
                    ScheduleFault(session.Schedule).empty()
                        ? ""
                        : Named(session.SessionID) +
                              " never runs: " + ScheduleFault(session.Schedule) + ".");
        }
        scheduler_.SetSessions(sessions, now);
        if (!last_trouble_.empty()) {
            Log("The repository can be read again.");
            last_trouble_.clear();
        }
        stamp_ = stamp;
        looks_since_reading_ = 0;
    } catch (const std::exception& error) {
        // What is known of the schedules still holds; runners wait for the repository themselves.
        LogOnce(last_trouble_, std::string("Can't read the repository: ") + ErrorText(error));
    }
}

// False: the runner itself couldn't be started.
bool TimerService::Start(const DueStart& due) {
    const std::string when = "due " + IsoText(due.Due);
    if (runners_.IsRunning(due.SessionID)) {
        Log(Named(due.SessionID) + ", " + when + ", is still running: not started again.");
        return true;
    }
    try {
        runners_.Start(due.SessionID);
        Log(Named(due.SessionID) + " started, " + when +
            (due.Missed > 0 ? ", also for " + std::to_string(due.Missed) + " earlier times" : "") +
            ".");
        last_start_faults_.erase(due.SessionID);
        return true;
    } catch (const DataError& error) {
        LogOnce(last_start_faults_[due.SessionID],
                Named(due.SessionID) + ", " + when + ", couldn't be started: " +
                    error.Description() + " It is tried again for a day.");
        return false;
    }
}

// Before the start: should this program end in between, a due time is rather missed than doubled.
// False when the state isn't on the disk: nothing may be started then.
bool TimerService::SaveState() {
    unsaved_ |= scheduler_.TakeStateChanged();
    if (!unsaved_) {
        return true;
    }
    std::string state;
    for (const auto& due : waiting_) {
        state += WaitingLine(due);
    }
    state += scheduler_.State();
    const std::string path = JoinPath(logs_, "VYTimer.state");
    try {
        file::RemoveFile(path + ".part");
        auto written = file::File::CreateNew(path + ".part", true);
        written.Write(0, std::as_bytes(std::span(state)));
        written.Sync();
        file::RenameReplacing(path + ".part", path);
        file::SyncFolderOf(path);
        unsaved_ = false;
        if (!last_save_fault_.empty()) {
            Log("The state can be written again.");
            last_save_fault_.clear();
        }
        return true;
    } catch (const DataError& error) {
        LogOnce(last_save_fault_,
                "Nothing is started, because it couldn't be noted what has been started: " +
                    error.Description() + " It is tried again every few seconds.");
        return false;
    }
}

std::chrono::milliseconds TimerService::Wait() const {
    const auto next = scheduler_.NextDueTime();
    if (!next || missing_) {
        return kLookInterval;
    }
    const DateTime now = now_();
    const std::int64_t days = next->day - now.day;
    if (days > 1) {
        return kLookInterval;
    }
    const auto left = days * 86'400'000 + (next->nanos - now.nanos) / 1'000'000;
    // At least 50 ms, or a due time that the clock hasn't quite reached would turn the main into a
    // busy loop.
    return std::chrono::milliseconds(std::clamp<std::int64_t>(left, 50, kLookInterval.count()));
}

// Opened for each line: the wizard may have deleted the file meanwhile.
void TimerService::Log(const std::string& line) {
    const std::string path = JoinPath(logs_, "VYTimer.log");
    std::error_code ignored;
    // Bounded by hand: no one rotates the log of a program in a user's home.
    if (std::filesystem::file_size(path, ignored) > kLongestLog && !ignored) {
        std::filesystem::rename(path, path + ".old", ignored);
    }
    bool told = false;
    try {
        told = LogFile::Open(path).Append(IsoText(now_()) + " " + line + "\n");
    } catch (const DataError&) {
        // Told below.
    }
    if (!told) {
        // A full disk, as likely as not: what started this program may keep it.
        std::fprintf(stderr, "VYTimer: %s\n", WithoutControls(line).c_str());
    }
}

void TimerService::LogOnce(std::string& last, const std::string& line) {
    if (line != last && !line.empty()) {
        Log(line);
    }
    last = line;
}

std::string TimerService::Named(i32 session_id) const {
    const auto name = names_.find(session_id);
    return "Session " + std::to_string(session_id) +
           (name == names_.end() ? std::string() : " \"" + name->second + "\"");
}

}  // namespace vantry
