// Loads the files of a polled folder one by one, each as a run of the saved session with another
// table name. The session's variables are what the run reads, so each file begins by putting the
// saved ones back (SetUpSession) and changing the few that differ.
// Easy to get wrong: what happens twice. A file that is loaded and keeps its name is loaded again
// by the next run, so it is checked before the load that it can be renamed, and tried more than
// once afterwards. The target is dropped or emptied for the first file only: done for the second,
// it would lose the first.
#include "repository/polled_run.h"

#include "core/kinds.h"
#include "data/value_text.h"
#include "engine/loaded_file.h"
#include "engine/run_log.h"
#include "engine/run_session.h"
#include "files/file_name.h"
#include "files/unique_fd.h"

#include <fcntl.h>
#include <limits.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <thread>

namespace vantry {
namespace {

constexpr int kRenameTries = 3;

}  // namespace

// The sample is the file from which the session was made; its section of Schema.ini describes all
// others. Single quotes, doubled inside: a file's name may hold either kind.
std::string WithLayoutOf(const std::string& sample, const std::string& connection_string) {
    std::string quoted;
    for (const char c : sample) {
        quoted += c;
        if (c == '\'') {
            quoted += c;
        }
    }
    return "Layout File='" + quoted + "';" + connection_string;
}

PolledRun::PolledRun(std::function<void()> run_once,
                     std::function<bool()> cancel_requested,
                     std::string note_path)
    : run_once_(std::move(run_once)),
      cancel_requested_(std::move(cancel_requested)),
      source_(SrcTables.at(0)),
      target_(DstTables.at(0)),
      columns_(ColMaps),
      connection_string_(WithLayoutOf(source_.Name, SourceConnStr)),
      note_(std::move(note_path)) {}

// Before the first load: a file that is loaded and can't get its new name would be loaded again the
// next time, and have each row twice.
void PolledRun::RequireRenaming() const {
    if (::access(PollFolder.c_str(), W_OK | X_OK) != 0) {
        throw DataError(kErrUnspecified,
                        "The files of \"" + PollFolder +
                            "\" couldn't be renamed after their load: " + std::strerror(errno) +
                            ". Give this user the right to write there.");
    }
    if (!file::IsPlainFileName("x." + PollRename)) {
        throw DataError(kErrUnspecified,
                        "The rename extension \"" + PollRename +
                            "\" can't be part of a file's name. Save the session anew with "
                            "another one.");
    }
}

// The same of one file; empty when it can be renamed.
std::string PolledRun::RenameFault(const PolledFile& file) const {
    // The minutes of the ending have no leading zero: the name may be a letter longer by the end of
    // the load.
    constexpr std::size_t kLongerMinute = 1;
    if (file.name.size() + LoadedEnding().size() + kLongerMinute > NAME_MAX) {
        return "its name is too long to be made longer after the load. Give it a shorter one.";
    }
    struct stat folder {};
    struct stat state {};
    if (::stat(PollFolder.c_str(), &folder) != 0 ||
        ::lstat(JoinPath(PollFolder, file.name).c_str(), &state) != 0) {
        return {};  // the load will say what is wrong
    }
    // In a folder with the sticky bit only the file's owner, the folder's, and root may rename.
    const uid_t user = ::geteuid();
    if ((folder.st_mode & S_ISVTX) != 0 && user != 0 && user != folder.st_uid &&
        user != state.st_uid) {
        return "it belongs to another user, who alone can rename it in this folder. Take the "
               "sticky bit off the folder.";
    }
    return {};
}

void PolledRun::LeaveUnloaded(const PolledFile& file, const std::string& fault) {
    left_unloaded_.push_back(file.name + " isn't loaded: " + fault);
    auto& report = files_.emplace_back();
    report.Source = file.name;
    report.Target = target_.Name;
    report.Outcome = TableOutcome::NotPrepared;
    report.Errors = 1;
}

void PolledRun::LoadAll() {
    RequireRenaming();
    PollWalk walk(PollFolder, PollPattern, PollRename);
    PolledFile file;
    bool going_on = true;
    while (going_on && walk.Next(file)) {
        if (cancel_requested_()) {
            files_.emplace_back().Source = file.name;  // not reached
            break;
        }
        // One bad file doesn't hold the others up; its line comes at the end of the log, where it
        // is seen.
        if (const auto fault = RenameFault(file); !fault.empty()) {
            LeaveUnloaded(file, fault);
            continue;
        }
        if (IsLoadedAlready(file)) {
            continue;
        }
        try {
            note_.Write(PollNote::State::Begun, file);
        } catch (const DataError& error) {
            LeaveUnloaded(file, error.Description());
            continue;
        }
        Load(file);
        going_on = files_.back().Outcome == TableOutcome::Loaded ||
                   (files_.back().Outcome != TableOutcome::Cancelled && CanGoOn());
    }
    if (!log_started_) {
        TellNothingLoaded();
    }
    for (const auto& line : left_unloaded_) {
        AppendLog(line);
    }
    for (const auto& name : walk.Waiting()) {
        AppendLog(name + " is still being written: it waits for the next run.");
    }
}

// A former run may have been killed over this file. One that it had loaded only lacks its new name.
// Of one that it had begun, nobody can know how many rows arrived: the file is loaded, and the log
// says so. A text target's file was never finished then, and is written anew.
bool PolledRun::IsLoadedAlready(const PolledFile& file) {
    switch (note_.Found(file)) {
        case PollNote::State::None:
            return false;
        case PollNote::State::Begun:
            if (ThisTarget().loader != Loader::Files) {
                left_unloaded_.push_back(file.name +
                                         ": a former run was ended in the middle of this file. "
                                         "Rows that it had loaded by "
                                         "then may be in the target twice: compare them.");
            }
            return false;
        case PollNote::State::Loaded:
            break;
    }
    if (MoveLoadedFile(file.name) == kTrue) {
        left_unloaded_.push_back(file.name +
                                 " was loaded by a former run, which was ended before it could "
                                 "rename it. It is renamed now and not loaded again.");
        note_.Clear();
    } else {
        left_unloaded_.push_back(file.name +
                                 " was loaded by a former run and couldn't be renamed now either. "
                                 "It isn't loaded again: rename it.");
        ++not_renamed_;
    }
    return true;
}

void PolledRun::SetUpSession(const PolledFile& file) {
    SourceConnStr = connection_string_;
    SrcTables = {source_};
    DstTables = {target_};
    ColMaps = columns_;
    SrcTables[0].Name = file.name;
    // A text target has a file of its own for each polled one: nothing is prepared once for all.
    if (ThisTarget().loader == Loader::Files) {
        DstTables[0].Name = JoinPath(TextDestDir, file.name) + TextDestExt;
        return;
    }
    if (!target_prepared_) {
        return;
    }
    if (source_.LoadOption == "DROP") {
        // The rebuilt table has the source's column names.
        for (auto& column : ColMaps) {
            column.DCName = column.SCName;
        }
    }
    for (auto* table : {&SrcTables[0], &DstTables[0]}) {
        table->TableExists = kTrue;
        table->FirstTimeLoadOpt.clear();
        table->LoadOption = "APPEND";
    }
}

void PolledRun::RunNoted(const PolledFile& file) {
    BeforeLoadedRename = [&] {
        try {
            note_.Write(PollNote::State::Loaded, file);
        } catch (const DataError&) {
            // The new name alone keeps the file from being loaded again, too.
        }
    };
    try {
        run_once_();
    } catch (...) {
        BeforeLoadedRename = nullptr;
        throw;
    }
    BeforeLoadedRename = nullptr;
}

void PolledRun::Load(const PolledFile& file) {
    SetUpSession(file);
    // Held open during the load: its size afterwards is that of the very file, whatever has its
    // name by then.
    const file::UniqueFd loaded(
        ::open(JoinPath(PollFolder, file.name).c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW));
    log_started_ = true;
    RunNoted(file);
    const TableReport report = ReportOf(0);
    // A file whose target couldn't be prepared leaves dropping and emptying to the next one.
    target_prepared_ = target_prepared_ || report.Outcome != TableOutcome::NotPrepared;
    files_.push_back(report);
    if (report.Outcome == TableOutcome::Loaded) {
        EnsureRenamed(file);
        struct stat now {};
        if (loaded && ::fstat(loaded.Get(), &now) == 0 &&
            static_cast<std::uint64_t>(now.st_size) != file.stamp.size) {
            ++not_whole_;
            AppendLog(file.name + " has changed while it was loaded: compare its rows.");
        }
        return;
    }
    note_.Clear();  // the log says what became of it
    if (report.Outcome == TableOutcome::Cancelled) {
        AppendLog(file.name + ": the load was cancelled after " +
                  std::to_string(report.RowsLoaded) + " of its rows.");
    }
}

// The run has renamed it, unless the target is text or the new name was taken: names differ by the
// second.
void PolledRun::EnsureRenamed(const PolledFile& file) {
    const std::string path = JoinPath(PollFolder, file.name);
    for (int tries = 0; tries < kRenameTries; ++tries) {
        const auto still = file::StampOf(path);
        if (!still || !still->SameFile(file.stamp)) {
            note_.Clear();
            return;
        }
        // The name ends in the time to the second. Where the run has tried already, and on each
        // further try, a second must pass for another name.
        if (tries > 0 || ThisTarget().loader != Loader::Files) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1100));
        }
        if (MoveLoadedFile(file.name) == kTrue) {
            note_.Clear();
            return;
        }
    }
    ++not_renamed_;
    AppendLog(file.name +
              " is loaded but keeps its name: rename it, or the next run loads it again.");
}

// After a file that failed: whether the fault was the file's. Otherwise each of the others would
// fail as well, each at its own leisure.
bool PolledRun::CanGoOn() const {
    if (ThisTarget().loader == Loader::Files) {
        return true;
    }
    try {
        Connection target;
        target.Open(TargetConnStr);
        target.Close();
        return true;
    } catch (const DataError& error) {
        AppendLog("The other files wait for the next run: " + error.Description());
        return false;
    }
}

void PolledRun::TellNothingLoaded() const {
    StartSessionClock();
    StartLog(log_line::Started());
    if (files_.empty()) {
        AppendLog("No file in \"" + PollFolder + "\" that matches \"" + PollPattern +
                  "\" waits to be loaded.");
    }
    FinishRunLog();
}

}  // namespace vantry
