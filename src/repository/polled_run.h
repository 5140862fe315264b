#pragma once
// The loads of a polled folder: one run of the session per file, each under the layout of the
// session's sample file. Dropping and emptying the target belongs to the first file that gets so
// far, the others are added to it; a text target has a file per polled file. A file that fails
// stays in its place.

#include "engine/run_report.h"
#include "repository/poll_folder.h"
#include "repository/poll_note.h"

#include <functional>
#include <vector>

namespace vantry {

// The connection string by which the files of a polled folder are read, each as the sample is.
std::string WithLayoutOf(const std::string& sample, const std::string& connection_string);

class PolledRun {
public:
    // The session in memory is the saved one. `run_once` runs what stands in memory at the time,
    // into CurrentRunReport. `note_path`: the session's PollNote.
    PolledRun(std::function<void()> run_once,
              std::function<bool()> cancel_requested,
              std::string note_path);

    // Throws DataError when there can't be any load: the folder can't be listed or its files not be
    // renamed.
    void LoadAll();

    // One table per file, in the order of loading.
    const std::vector<TableReport>& Files() const { return files_; }
    // Files that are loaded and keep their name, or were written during their load.
    int Faults() const { return not_renamed_ + not_whole_; }

private:
    void RequireRenaming() const;
    std::string RenameFault(const PolledFile& file) const;
    void LeaveUnloaded(const PolledFile& file, const std::string& fault);
    bool IsLoadedAlready(const PolledFile& file);
    void RunNoted(const PolledFile& file);
    void Load(const PolledFile& file);
    void SetUpSession(const PolledFile& file);
    void EnsureRenamed(const PolledFile& file);
    bool CanGoOn() const;
    void TellNothingLoaded() const;

    std::function<void()> run_once_;
    std::function<bool()> cancel_requested_;
    const TableRec source_;
    const TableRec target_;
    const std::vector<ColMapRec> columns_;
    const std::string connection_string_;
    bool target_prepared_ = false;
    bool log_started_ = false;
    PollNote note_;
    std::vector<std::string> left_unloaded_;  // lines for the log
    std::vector<TableReport> files_;
    int not_renamed_ = 0;
    int not_whole_ = 0;
};

}  // namespace vantry
