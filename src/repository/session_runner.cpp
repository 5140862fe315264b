// One run of one saved session, from its number to an exit code, as a sequence in SavedRun::Run:
// find it, lock it, read it, open its log, repair what a former run left, run, write record and
// summary. Each step either passes or throws NotStarted with the code and the sentence for the log.
// Easy to get wrong: what is known at the time of a failure. Before the lock is taken the log may
// belong to another run, so it gets one more line and keeps its text; before the session is found
// there is no log at all, and the line goes to log/VYRun.log. Refuse() sorts that out.
// The exit code comes from the tables' reports and never from the log's text: its counts call the
// rows of a refused batch loaded, as old logs do.
#include "repository/session_runner.h"

#include "core/kinds.h"
#include "core/settings.h"
#include "data/error_text.h"
#include "data/value_text.h"
#include "engine/left_targets.h"
#include "engine/reject_file.h"
#include "engine/run_log.h"
#include "engine/run_report.h"
#include "engine/run_session.h"
#include "engine/verification.h"
#include "files/left_files.h"
#include "repository/log_companions.h"
#include "repository/polled_run.h"
#include "repository/program_lock.h"
#include "repository/repository.h"
#include "repository/run_log_file.h"
#include "repository/run_readiness.h"
#include "repository/run_summary.h"
#include "repository/saved_session.h"
#include "text/reject_layout.h"
#include "text/text_writer.h"

#include <grp.h>
#include <pwd.h>
#include <sys/stat.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <thread>

namespace vantry {
namespace {

constexpr int kRepositoryTries = 4;
constexpr std::chrono::milliseconds kBetweenTries{300};
constexpr std::chrono::milliseconds kPolledFileGrace{5000};  // for the file that is being loaded

// Why a run can't begin; becomes an exit code and a line of the log.
struct NotStarted {
    RunnerExit code;
    std::string reason;
};

// The wizard or another runner may hold the repository's lock for a moment; about a second of tries
// outlasts any single statement of theirs.
template <typename Action>
auto WithRepository(Action&& action) {
    for (int tries = 1;; ++tries) {
        try {
            return action();
        } catch (const DataError&) {
            if (tries >= kRepositoryTries) {
                throw;
            }
        }
        std::this_thread::sleep_for(kBetweenTries);
    }
}

class SavedRun {
public:
    SavedRun(i32 session_id, const RunnerSurroundings& surroundings) : surroundings_(surroundings) {
        summary_.SessionID = session_id;
        summary_.Version = surroundings.version;
        summary_.Start = Now();
    }

    RunnerExit Run();

private:
    // In the order in which Run() takes them.
    void FindSession();
    void TakeLock();
    void LoadWholeSession();
    void OpenLog();
    void Prepare();
    void RunLoads();
    void RunOnce();
    void RunPolled();
    void SaveRecord();
    RunnerExit CodeOfTables() const;
    void TellFailures() const;
    void TellVerification() const;
    void EndRejects();
    RunnerExit Refuse(const NotStarted& why);
    bool Summarize(RunnerExit code);
    void Tell(const std::string& line) const { surroundings_.tell(line); }

    const RunnerSurroundings& surroundings_;
    RunSummary summary_;
    std::string log_file_;
    std::optional<ProgramLock> lock_;
    std::unique_ptr<RunLogView> view_;
    std::optional<RejectFile> rejects_;
    bool record_failed_ = false;
    int faults_ = 0;  // beside those of the tables: a record or a new name that couldn't be made
};

void SavedRun::FindSession() {
    const auto repository = RepositoryFile(surroundings_.application_folder);
    std::error_code error;
    if (!std::filesystem::exists(repository, error)) {
        throw NotStarted{kRunNotStarted,
                         "There is no repository \"" + repository.string() +
                             "\". Create one in Vantry, or restore a backup."};
    }
    std::optional<SavedSession> session;
    try {
        session = WithRepository([this] { return LoadSession(summary_.SessionID); });
    } catch (const DataError& unreadable) {
        throw NotStarted{kRunNotStarted, "Can't read the repository: " + unreadable.Description()};
    }
    if (!session) {
        throw NotStarted{
            kRunRefused,
            "There is no session " + std::to_string(summary_.SessionID) + " in the repository."};
    }
    // Known from here on: what fails later can be said in the session's own log.
    summary_.SessionName = session->SessionName;
    surroundings_.found(session->SessionName);
    log_file_ = LogFileAt(session->LogFileName);
}

void SavedRun::TakeLock() {
    try {
        lock_ = ProgramLock::Take(
            SessionLockFile(LogFolder(surroundings_.application_folder), summary_.SessionID));
    } catch (const DataError& error) {
        throw NotStarted{kRunNotStarted, error.Description()};
    }
    if (!lock_) {
        throw NotStarted{kRunRefused,
                         "Session " + std::to_string(summary_.SessionID) +
                             " is running already. Wait for its end, or cancel it."};
    }
}

// Read again under the session's lock: a run that has just ended may have changed it. And under the
// lock of saves: a session that is due at once is incomplete for as long as its columns are being
// written, and a run of half its columns would load half of each row.
void SavedRun::LoadWholeSession() {
    std::string fault;
    for (int tries = 0; tries < kRepositoryTries; ++tries) {
        std::optional<ProgramLock> nobody_saves;
        TakeSaveLock(kPatienceWithSaves, nobody_saves);
        FindSession();
        nobody_saves.reset();
        fault = SessionFault();
        if (fault.empty()) {
            return;
        }
        std::this_thread::sleep_for(kBetweenTries);
    }
    throw NotStarted{kRunNotStarted,
                     "Session " + std::to_string(summary_.SessionID) + " can't be run: " + fault +
                         ". Save it anew in Vantry."};
}

void SavedRun::OpenLog() {
    LogFile log;
    if (!log_file_.empty()) {
        try {
            if (LogFile::IsSessionLogOrNew(log_file_)) {
                MakeRoomBesideLog(log_file_, CurrentSettings.LogGenerations);
            }
            log = LogFile::OpenForSession(log_file_);
            rejects_.emplace(log_file_ + std::string(kRejectFileEnding));
            CurrentRejects = &*rejects_;
        } catch (const DataError& error) {
            log_file_.clear();
            throw NotStarted{kRunNotStarted, error.Description()};
        }
    }
    view_ = std::make_unique<RunLogView>(
        std::move(log), surroundings_.display, surroundings_.cancel_requested);
    // In the log and not only on a terminal: most runs are started by the scheduler.
    if (auto warning = RepositoryWarning(surroundings_.application_folder); !warning.empty()) {
        Tell(warning);
        view_->AddWarning(std::move(warning));
    }
    // The run's routines write their log through this variable, as they do on the run page.
    CurrentRunView = view_.get();
}

RunnerExit SavedRun::Run() {
    RunnerExit code = kRunNotStarted;
    try {
        FindSession();
        TakeLock();
        LoadWholeSession();
        OpenLog();
        if (surroundings_.cancel_requested()) {
            throw NotStarted{kRunCancelled, "Cancelled before it began."};
        }
        Prepare();
        RunLoads();
        code = CodeOfTables();
        TellFailures();
        TellVerification();
        for (const auto& table : summary_.Tables) {
            std::for_each(table.Remarks.begin(), table.Remarks.end(), [this](const auto& remark) {
                Tell(remark);
            });
        }
    } catch (const NotStarted& why) {
        return Refuse(why);
    } catch (const std::exception& error) {
        if (!view_) {
            return Refuse({kRunNotStarted, ErrorText(error)});
        }
        // None of the errors that a run logs by itself get here. The log gets its end all the same.
        code = kRunTableLost;
        record_failed_ = true;
        AppendLog(ErrorText(error));
        FinishRunLog();
        Tell(ErrorText(error));
    }
    EndRejects();
    // A table that was made and couldn't be recorded would stand in the next run's way.
    lock_->SetMark(record_failed_     ? ProgramLock::Mark::Unfinished
                   : TableMayBeGone() ? ProgramLock::Mark::TableNotMade
                                      : ProgramLock::Mark::None);
    if (view_->LogFailed() && code == kRunWhole) {
        code = kRunWithErrors;
    }
    if (!Summarize(code) && code == kRunWhole) {
        code = kRunWithErrors;
    }
    if (view_->LogFailed()) {
        Tell("The log file \"" + log_file_ + "\" is incomplete: it couldn't be written.");
    }
    return code;
}

// A run goes on without the file; that it lacks rows must be known.
void SavedRun::EndRejects() {
    CurrentRejects = nullptr;
    if (!rejects_) {
        return;
    }
    summary_.RejectsFault = rejects_->Fault();
    if (rejects_->IsMade()) {
        summary_.Rejects = rejects_->Path();
        try {
            DescribeRejectFile(rejects_->Path());
        } catch (const DataError& error) {
            Tell(error.Description());
        }
    }
    if (!summary_.RejectsFault.empty()) {
        Tell("The list of rows that aren't loaded, \"" + rejects_->Path() +
             "\", is incomplete: " + summary_.RejectsFault);
    }
}

void SavedRun::Prepare() {
    if (auto fault = ConnectionFault(); !fault.empty()) {
        // A cancel ends the wait for a server, which then couldn't be reached.
        throw surroundings_.cancel_requested()
            ? NotStarted{kRunCancelled, "Cancelled before it began."}
            : NotStarted{kRunNotStarted, std::move(fault)};
    }
    RecordCreatedTables(summary_.SessionID);
    if (lock_->FoundMark() != ProgramLock::Mark::None) {
        try {
            RepairAfterRun(lock_->FoundMark() == ProgramLock::Mark::Unfinished);
        } catch (const DataError& error) {
            throw NotStarted{kRunNotStarted, error.Description()};
        }
    }
    // From here to the mark at the end of Run() a kill leaves "unfinished" for the next run to
    // find.
    lock_->SetMark(ProgramLock::Mark::Unfinished);
}

void SavedRun::RunLoads() {
    const file::LeftFilesWatch watch;
    if (ThisSource().polled) {
        RunPolled();
    } else {
        RunOnce();
        summary_.Tables = CurrentRunReport.Tables;
        if (ThisTarget().loader == Loader::Files) {
            SaveRecord();
        }
    }
    // Once more: the record took its time, and a polled folder's files had a run each.
    LookAtTargetsAgain(summary_.Tables);
}

void SavedRun::RunOnce() {
    if (ThisTarget().loader == Loader::Files) {
        // The record names created tables; a run to text files creates none, and the variable may
        // hold those of an earlier load.
        CreatedTables.clear();
        RunSessionToText("");
        return;
    }
    try {
        RunSession("");
    } catch (const std::exception&) {
        if (!CurrentRunReport.Walked) {
            throw;
        }
        SaveRecord();  // all tables were walked: the record alone failed
        FinishRunLog();
    }
}

void SavedRun::SaveRecord() {
    try {
        WithRepository([] { WriteRunRecord(); });
        record_failed_ = false;
    } catch (const std::exception& error) {
        ++faults_;
        record_failed_ = true;
        const std::string line =
            std::string("The run's record couldn't be written into the repository: ") +
            ErrorText(error);
        AppendLog(line);
        Tell(line);
    }
}

void SavedRun::RunPolled() {
    view_->SetCancelGrace(kPolledFileGrace);
    std::vector<TableRec> created;
    // RunSession writes a record whenever it has a session number: without one there is a single
    // record, made below, for all files.
    const auto load_file = [&] {
        CurrentSessionID = 0;  // one record for all files, at the end
        RunOnce();
        CurrentSessionID = summary_.SessionID;
        if (!CreatedTables.empty() && CreatedTables[0].FirstTimeLoadOpt == "CREATED") {
            created = CreatedTables;
        }
    };
    std::optional<PolledRun> run;
    try {
        run.emplace(
            load_file,
            surroundings_.cancel_requested,
            SessionLockFile(LogFolder(surroundings_.application_folder), summary_.SessionID) +
                ".polled");
        run->LoadAll();
    } catch (const DataError& error) {
        throw NotStarted{kRunNotStarted, error.Description()};
    }
    summary_.Tables = run->Files();
    faults_ += run->Faults();
    CreatedTables = created;
    SaveRecord();
}

RunnerExit SavedRun::CodeOfTables() const {
    const auto any = [&](auto&& is) {
        return std::any_of(summary_.Tables.begin(), summary_.Tables.end(), is);
    };
    // Cancelled outweighs lost, lost outweighs errors: a script that starts the next step on 0 or 1
    // must not take a cancelled run for either.
    const bool cut_short =
        any([](const TableReport& table) { return table.Outcome == TableOutcome::NotReached; });
    if (any([](const auto& table) { return table.Outcome == TableOutcome::Cancelled; }) ||
        (cut_short && surroundings_.cancel_requested())) {
        return kRunCancelled;
    }
    if (any([](const auto& table) { return table.Outcome != TableOutcome::Loaded; })) {
        return kRunTableLost;
    }
    if (faults_ > 0 ||
        any([](const auto& table) { return table.Errors > 0 || table.RowsFailed() != 0; })) {
        return AnyContentDiffers(summary_.Tables) ? kRunDiffers : kRunWithErrors;
    }
    return AnyContentDiffers(summary_.Tables) ? kRunDiffers : kRunWhole;
}

// The log has the same as the line of one error, among up to fifty others.
void SavedRun::TellFailures() const {
    for (const auto& table : summary_.Tables) {
        if (const auto text = FailureText(table); !text.empty()) {
            Tell(text);
        }
    }
}

// The log has no line for it: its words are those of old logs.
void SavedRun::TellVerification() const {
    for (const auto& table : summary_.Tables) {
        if (const auto text = VerificationText(table); !text.empty()) {
            Tell(text);
        }
    }
}

RunnerExit SavedRun::Refuse(const NotStarted& why) {
    Tell(why.reason);
    if (view_) {
        StartLog(ThisTarget().loader == Loader::Files ? log_line::TextStarted()
                                                      : log_line::Started());
        AppendLog(why.reason);
        AppendLog(log_line::EndTime());
        summary_.Reason = why.reason;
        Summarize(why.code);
        return why.code;
    }
    // Another run may be writing this log: a line more does it no harm, a new beginning would. The
    // summary is left to it.
    bool told = false;
    if (!log_file_.empty()) {
        try {
            if (lock_) {
                RemoveFormerSummary(log_file_);
                summary_.Reason = why.reason;
                Summarize(why.code);
            }
            LogFile log = LogFile::OpenForSession(log_file_);
            const bool is_new = log.IsEmpty();
            told = log.Append((is_new ? log_line::Started() : "") + "\r\n" + why.reason);
            if (is_new && !told) {
                log.Clear();  // a torn first line would be no log to the next run
            }
        } catch (const DataError&) {
        }
    }
    if (!told) {
        TellInRunnerLog(surroundings_.application_folder, why.reason);
    }
    return why.code;
}

// False when it couldn't be written.
bool SavedRun::Summarize(RunnerExit code) {
    summary_.End = Now();
    summary_.ExitCode = code;
    surroundings_.ended(summary_);
    if (log_file_.empty()) {
        return true;
    }
    try {
        WriteSummary(SummaryFileOf(log_file_), summary_);
        return true;
    } catch (const DataError& error) {
        Tell(error.Description());
        return false;
    }
}

}  // namespace

std::optional<RunnerArguments> ParseRunnerArguments(int count, const char* const* arguments) {
    if (count < 2) {
        return std::nullopt;
    }
    const std::string_view id = arguments[1];
    // Nine digits always fit; a longer number can be no session's.
    if (id.empty() || id.size() > 9 || id.find_first_not_of("0123456789") != id.npos) {
        return std::nullopt;
    }
    RunnerArguments parsed;
    parsed.session_id = static_cast<i32>(ParseInt64(id).value_or(0));
    for (int k = 2; k < count; ++k) {
        const std::string_view word = arguments[k];
        bool& given = EqualsNoCase(word, "ShowOutput") ? parsed.show_output
                      : word == "--check"              ? parsed.check
                      : word == "--dry-run"            ? parsed.dry_run
                                                       : parsed.verify;
        if (std::exchange(given, true) || (&given == &parsed.verify && word != "--verify")) {
            return std::nullopt;
        }
    }
    const bool alone = parsed.check || parsed.dry_run;
    return alone && count > 3 ? std::nullopt : std::optional(parsed);
}

RunnerExit RunSavedSession(i32 session_id, const RunnerSurroundings& surroundings) {
    SavedRun run(session_id, surroundings);
    const auto code = run.Run();
    CurrentRejects = nullptr;
    CurrentRunView = nullptr;
    TableCreatedHook = nullptr;
    return code;
}

void TellInRunnerLog(const std::string& application_folder, const std::string& line) {
    std::string text;
    AppendIsoDateTime(Now(), text);
    try {
        LogFile::Open(JoinPath(LogFolder(application_folder), "VYRun.log"))
            .Append(text + " " + line + "\r\n");
    } catch (const DataError&) {
        // The caller has written it to standard error, too.
    }
}

namespace {

// The group that many systems make for each user has no other member: what it may write, its user
// may.
bool IsOwnersOwnGroup(const struct stat& state) {
    const struct passwd* const owner = ::getpwuid(state.st_uid);
    if (owner == nullptr || owner->pw_gid != state.st_gid) {
        return false;
    }
    const std::string name = owner->pw_name;
    const struct group* const members = ::getgrgid(state.st_gid);
    return members != nullptr && name == members->gr_name && *members->gr_mem == nullptr;
}

// The bits of write permission for anybody but the owner.
mode_t OthersThatMayWrite(const struct stat& state) {
    const mode_t group = IsOwnersOwnGroup(state) ? 0 : state.st_mode & S_IWGRP;
    return group | (state.st_mode & S_IWOTH);
}

}  // namespace

std::string RepositoryWarning(const std::string& application_folder) {
    const auto repository = RepositoryFile(application_folder);
    struct stat file {};
    struct stat folder {};
    const mode_t of_file =
        ::stat(repository.c_str(), &file) == 0 ? OthersThatMayWrite(file) : mode_t{0};
    const mode_t of_folder =
        ::stat(application_folder.c_str(), &folder) == 0 && (folder.st_mode & S_ISVTX) == 0
            ? OthersThatMayWrite(folder)
            : mode_t{0};
    if (of_file == 0 && of_folder == 0) {
        return {};
    }
    return std::string("Warning: ") +
           (((of_file | of_folder) & S_IWOTH) != 0 ? "everyone" : "everyone of its group") +
           " can change the repository \"" + repository.string() +
           "\", and so what its sessions do. Let its owner alone write " +
           (of_file != 0 ? "the file" : "its folder") + ".";
}

}  // namespace vantry
