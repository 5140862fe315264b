#pragma once
// The repository: the Access database beside the executable that holds all saved sessions. What the
// pages and the sibling programs do with it, without their boxes. Failures go through to the caller
// as DataError.

#include "repository/program_lock.h"
#include "repository/session_statements.h"

#include <chrono>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace vantry {

// "VYRepo.mdb" in `folder`, in whatever letter case it is there; that spelling where it isn't.
std::filesystem::path RepositoryFile(const std::string& folder);

// Makes a new empty repository in `folder`. One that is there is first copied beside itself, under
// a name with the date and time, and then deleted: the caller has asked. Readable by its owner
// alone, as the copy is: connection strings with passwords stand in it.
void CreateRepository(const std::string& folder, const DateTime& now);

// The id that the next saved session gets. It ends at 32767: the number is a 16-bit one wherever it
// is shown.
i32 NextSessionID();

// Writes the session in memory with the id that is next by then, sets TabID of SrcTables and
// CurrentSessionID, and returns the id. Rows written before a failure stay.
i32 SaveSession(const SessionSave& save);

// Held while a session is saved, and while one is read that must not be half saved. False when
// another program has held it for all of `patience`. Where there can't be a lock, in a folder that
// may not be written, there is no second program to fear: true, and nothing is locked.
bool TakeSaveLock(std::chrono::milliseconds patience, std::optional<ProgramLock>& lock);
// Each column is a statement of its own, written to disk: some thousands take ten seconds.
inline constexpr std::chrono::seconds kPatienceWithSaves{60};

struct SessionListRow {
    i32 SessionID = 0;
    std::string SessionName;
    std::string SourceDBName;
    std::string TargetDBName;
    std::string DateCreated;
    std::string LogFileName;
    std::string LastRunDate;
};
// Newest first.
std::vector<SessionListRow> ListSessions();

// Writes another name, log file and schedule into a saved session.
void EditSession(i32 session_id, const SessionSave& save);

// Where a session's log is: a name without a folder of its own belongs to the repository's folder.
std::string LogFileAt(const std::string& log_file_name);

// The session's rows, then its log file if there is one.
void DeleteSession(i32 session_id);
// All rows, then every log file in the folder "log" of `folder`.
void DeleteAllSessions(const std::string& folder);

// Copies the repository of `folder` into the new folder `destination`, between two changes by other
// programs; an existing folder is an error.
void BackupRepository(const std::string& folder, const std::filesystem::path& destination);
// Puts a copy of `file` in the repository's place. The file isn't examined; so the former
// repository is kept beside it under its dated name. An error while another program is at work in
// the repository.
void RestoreRepository(const std::string& folder,
                       const std::filesystem::path& file,
                       const DateTime& now);

}  // namespace vantry
