// The repository is a database to the wizard and a file to backup and restore, and other programs
// (runner, scheduler, a second wizard) use it at any moment. Statements rely on the engine's own
// locks; whatever handles the file as a file takes those locks first (HeldFile), and never writes
// into it but replaces it whole.
// Easy to get wrong: the file's journal. A program that was killed leaves half a change in the file
// and the way back in the journal beside it; a copy of the file alone would keep the half. So
// HeldFile rolls back before anything else, and a replaced file loses its old journal.
#include "repository/repository.h"

#include "data/connection_string.h"
#include "data/letter_case.h"
#include "data/value_convert.h"
#include "data/value_text.h"
#include "files/file.h"
#include "files/file_lock.h"
#include "files/file_name.h"
#include "files/journal.h"
#include "repository/run_log_file.h"
#include "repository/run_summary.h"
#include "repository/session_list.h"

#include <sys/stat.h>
#include <unistd.h>

#include <system_error>
#include <thread>

namespace vantry {
namespace {

constexpr const char* kRepositoryName = "VYRepo.mdb";
constexpr i32 kLastSessionID = 32767;  // ids are 16-bit numbers: see NextSessionID

DataError FileFailure(const std::string& what,
                      const std::filesystem::path& file,
                      const std::error_code& error) {
    return {kErrUnspecified, what + " \"" + file.string() + "\": " + error.message() + "."};
}

// Files that are made meanwhile are the owner's alone.
class OwnerOnly {
public:
    OwnerOnly() : former_(::umask(S_IRWXG | S_IRWXO)) {}
    ~OwnerOnly() { ::umask(former_); }
    OwnerOnly(const OwnerOnly&) = delete;
    OwnerOnly& operator=(const OwnerOnly&) = delete;

private:
    mode_t former_;
};

// Only the owner may read what holds connection strings, whatever the umask of the session is.
void KeepPrivate(const std::filesystem::path& file) {
    std::error_code error;
    std::filesystem::permissions(
        file, std::filesystem::perms::owner_read | std::filesystem::perms::owner_write, error);
    if (error) {
        throw FileFailure("Can't keep others from reading", file, error);
    }
}

void CopyContent(const file::File& from, file::File& to) {
    std::vector<std::byte> block(std::size_t{1} << 20);
    for (std::uint64_t at = 0;;) {
        const auto got = std::span(block).first(from.Read(at, block));
        if (got.empty()) {
            return;
        }
        to.Write(at, got);
        at += got.size();
    }
}

// Copies to a new file beside `to` and renames: `to` is the old file or the whole new one at every
// moment. The copy is on the disk before it gets the name: a power failure just after that would
// otherwise leave an empty file under it, and the old one gone.
void CopyPrivately(const std::filesystem::path& from, const std::filesystem::path& to) {
    const std::string part = to.string() + ".part-" + std::to_string(::getpid());
    const auto read = file::File::Open(from.string(), file::OpenMode::Read);
    file::RemoveFile(part);  // of a killed program that had our number
    try {
        auto written = file::File::CreateNew(part, true);
        CopyContent(read, written);
        written.Sync();
        file::RenameReplacing(part, to.string());
    } catch (...) {
        std::error_code ignored;  // the copy's own failure is the one to report
        std::filesystem::remove(part, ignored);
        throw;
    }
    file::SyncFolderOf(to.string());
}

std::string ConnectionStringOf(const std::string& database) {
    return "PROVIDER=Microsoft.Jet.OLEDB.4.0;DATA SOURCE=" + database;
}

// Keeps other programs from changing the repository while it is copied or replaced as a file. A
// program that was killed in the middle of a change left the old pages in the journal beside the
// file; they are put back first.
class HeldFile {
public:
    explicit HeldFile(const std::filesystem::path& path) : path_(path) {
        RollBack();
        file_ = file::File::OpenIfThere(path.string(), file::OpenMode::ReadWriteIfAllowed);
        if (file_ && file_->Writable()) {
            file::Lock(*file_, file::LockByte::Writer, file::LockKind::Exclusive);
        }
    }

    // Takes the readers' lock, too: a reader would see pages of two files in one query.
    void PrepareToReplace() {
        if (file_ && file_->Writable()) {
            file::Lock(*file_, file::LockByte::Content, file::LockKind::Exclusive);
        }
    }
    // A journal that couldn't be rolled back holds pages of the former file. Left there, the next
    // program to open the repository would write them into the new one.
    void WasReplaced() { file::RemoveFile(file::Journal::PathFor(path_.string())); }
    void CopyTo(const std::filesystem::path& to) {
        if (file_) {
            file::Lock(*file_, file::LockByte::Content, file::LockKind::Shared);
        }
        CopyPrivately(path_, to);
    }

private:
    void RollBack() const {
        if (!file::StampOf(file::Journal::PathFor(path_.string()))) {
            return;
        }
        try {
            Connection connection;
            connection.Open(ConnectionStringOf(path_.string()));
            connection.Close();
        } catch (const DataError&) {
            // A file that is no database, or whose journal is damaged, can be copied all the same:
            // a backup of a damaged repository is worth more than none.
        }
    }

    std::filesystem::path path_;
    std::optional<file::File> file_;
};

// From RepoConnStr rather than from the program's folder: a test, or a second copy of the program,
// has another one.
std::string RepositoryFolder() {
    const std::filesystem::path repository =
        ConnectionString::Parse(RepoConnStr).Get("Data Source");
    return repository.parent_path().string();
}

// Of a former repository that is kept beside the new one.
std::string DatedName(const DateTime& now) {
    return "VYRepo" + FormatDateTime(now, "ddmmyy_hh_mm");
}

// A restore examines nothing, so the repository that it replaces may be the only good one: no kept
// copy is written over by the next restore of the same minute.
std::filesystem::path FreeName(const std::string& name) {
    std::filesystem::path free = name;
    for (int number = 2; std::filesystem::exists(free); ++number) {
        free = name + "_" + std::to_string(number);
    }
    return free;
}

std::string TextOf(Field& field) {
    return ToText(field.Value());
}

void RemoveIfThere(const std::filesystem::path& file) {
    std::error_code error;
    std::filesystem::remove(file, error);
    if (error) {
        throw FileFailure("Can't delete", file, error);
    }
}

// Statements that belong together: after a failure, or a kill, the repository is as before.
void ExecuteAll(std::initializer_list<std::string> statements) {
    Connection connection;
    connection.Open(RepoConnStr);
    connection.Execute("BEGIN TRANSACTION");
    for (const auto& statement : statements) {
        connection.Execute(statement);
    }
    connection.Execute("COMMIT TRANSACTION");
    connection.Close();
}

std::string LogFileOf(i32 session_id) {
    Recordset session;
    session.Open("select LogFileName from sessions where SessionID=" + std::to_string(session_id),
                 RepoConnStr);
    return session.Eof() ? std::string() : LogFileAt(TextOf(session.Fields()[0]));
}

i32 NextSessionID(Connection& connection) {
    Recordset sessions;
    sessions.Open("select max(sessionid) from sessions", connection);
    // max() of an empty table is Null, which is no number: the first session is 1.
    const std::int64_t last =
        sessions.Eof() ? 0 : ToInt64(sessions.Fields()[0].Value()).value_or(0);
    sessions.Close();
    if (last >= kLastSessionID) {
        throw DataError(
            kErrUnspecified,
            "Overflow: the repository has had its last session number. Create a new repository.");
    }
    return static_cast<i32>(last) + 1;
}

// The engine repeats a statement that it doesn't understand, and the connection strings stand in
// it. A double quote in a password is what breaks it, and the engine says where: what stands behind
// the quote is blanked out by itself, too, unless that would blank out half of the message.
DataError WithoutPasswords(const DataError& error) {
    // Masking a part of one or two letters would blank out those letters all over the message.
    constexpr std::size_t kTellingPart = 3;
    std::string text = error.Description();
    for (const auto* const connection : {&SourceConnStr, &TargetConnStr}) {
        const auto parsed = ConnectionString::Parse(*connection);
        text = MaskSecrets(text, parsed);
        for (const auto& secret : parsed.Secrets()) {
            for (auto quote = secret.find('"'); quote != secret.npos;) {
                const auto next = secret.find('"', quote + 1);
                const std::string part = secret.substr(quote + 1, next - quote - 1);
                if (part.size() >= kTellingPart) {
                    text = MaskSecrets(text, ConnectionString::Parse("PWD={" + part + "}"));
                }
                quote = next;
            }
        }
    }
    return {error.Number(), text, error.Source()};
}

void InsertSession(Connection& connection, i32 id, const SessionSave& save) {
    try {
        connection.Execute(SessionsInsert(id, save, Now()));
    } catch (const DataError& error) {
        throw WithoutPasswords(error);
    }
    for (std::size_t i = 0; i < SrcTables.size(); ++i) {
        SrcTables[i].TabID = static_cast<i16>(i);
        connection.Execute(TableInsert(id, i));
    }
    for (const auto& table : SrcTables) {
        for (const auto& column : ColMaps) {
            if (column.TabID == table.TabID) {
                connection.Execute(ColumnInsert(id, table.TabID, column));
            }
        }
    }
}

}  // namespace

std::filesystem::path RepositoryFile(const std::string& folder) {
    return file::ResolveFileName(JoinPath(folder, kRepositoryName));
}

std::string LogFileAt(const std::string& log_file_name) {
    return log_file_name.empty() || log_file_name.starts_with('/')
               ? log_file_name
               : JoinPath(RepositoryFolder(), log_file_name);
}

void CreateRepository(const std::string& folder, const DateTime& now) {
    const auto former = RepositoryFile(folder);
    if (file::StampOf(former.string())) {
        HeldFile held(former);
        held.CopyTo(JoinPath(folder, DatedName(now)));
        held.PrepareToReplace();
        RemoveIfThere(former);
        held.WasReplaced();
    }
    // RepoConnStr spells it in small letters, and finds it all the same; a file that is there under
    // another spelling was deleted above.
    const std::string connection_string = ConnectionStringOf(JoinPath(folder, kRepositoryName));
    {
        const OwnerOnly from_the_start;
        Catalog catalog;
        catalog.Create(connection_string);
    }
    KeepPrivate(JoinPath(folder, kRepositoryName));
    Connection connection;
    connection.Open(connection_string);
    for (const char* statement : {kCreateSessions, kCreateVYTabs, kCreateSrcDCols}) {
        connection.Execute(statement);
    }
    connection.Close();
}

i32 NextSessionID() {
    Connection connection;
    connection.Open(RepoConnStr);
    return NextSessionID(connection);
}

bool TakeSaveLock(std::chrono::milliseconds patience, std::optional<ProgramLock>& lock) {
    const std::string path = JoinPath(LogFolder(RepositoryFolder()), "session_save.lock");
    const auto give_up = std::chrono::steady_clock::now() + patience;
    while (true) {
        try {
            if ((lock = ProgramLock::Take(path))) {
                return true;
            }
        } catch (const DataError&) {
            return true;
        }
        if (std::chrono::steady_clock::now() > give_up) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
}

// The next number is the largest one plus 1, so the number of a deleted last session is given
// again. A mark that a run of the deleted one left in its lock file would make the first run of the
// new session repair tables that it never touched.
void ForgetFormerRun(i32 session_id) {
    const std::string lock_file = SessionLockFile(LogFolder(RepositoryFolder()), session_id);
    try {
        if (file::StampOf(lock_file)) {
            if (auto nobody_runs = ProgramLock::Take(lock_file)) {
                nobody_runs->SetMark(ProgramLock::Mark::None);
            }
        }
    } catch (const DataError&) {
        // The run of the session takes the same lock, and reports what is wrong with the file.
    }
}

i32 SaveSession(const SessionSave& save) {
    // Two programs that save at once would both take the same next number.
    std::optional<ProgramLock> alone;
    if (!TakeSaveLock(kPatienceWithSaves, alone)) {
        throw DataError(kErrUnspecified,
                        "Another program is saving a session. Try again in a moment.");
    }
    Connection connection;
    connection.Open(RepoConnStr);
    const i32 id = NextSessionID(connection);
    ForgetFormerRun(id);
    // Set before the first statement, so that it names the session also when a later one fails.
    CurrentSessionID = id;
    InsertSession(connection, id, save);
    connection.Close();
    return id;
}

std::vector<SessionListRow> ListSessions() {
    SessionList list;
    list.Open();
    std::vector<SessionListRow> sessions;
    for (auto& rows = list.Rows(); !rows.Eof(); rows.MoveNext()) {
        auto& fields = rows.Fields();
        sessions.push_back({static_cast<i32>(ToInt64(fields[0].Value()).value_or(0)),
                            TextOf(fields[1]),
                            TextOf(fields[2]),
                            TextOf(fields[3]),
                            TextOf(fields[4]),
                            TextOf(fields[5]),
                            TextOf(fields[6])});
    }
    return sessions;
}

void EditSession(i32 session_id, const SessionSave& save) {
    ExecuteAll({SessionUpdate(session_id, save)});
}

void DeleteSession(i32 session_id) {
    // Asked first: behind the delete the row that names the log is gone.
    const std::string log_file = LogFileOf(session_id);
    const std::string id = std::to_string(session_id);
    ExecuteAll({"delete from SrcDcols where sessionid=" + id,
                "delete from vytabs where sessionid=" + id,
                "delete from sessions where sessionid=" + id});
    if (!log_file.empty()) {
        // The name was typed, perhaps by mistake: another file of that name isn't ours to delete.
        if (HoldsSessionLog(log_file)) {
            RemoveIfThere(log_file);
        }
        // Looked at before it goes: where the log has an unusual name, the file of that name plus
        // ".json" may be another program's.
        if (const std::string summary = SummaryFileOf(log_file); IsSummary(summary)) {
            RemoveIfThere(summary);
        }
    }
}

void DeleteAllSessions(const std::string& folder) {
    ExecuteAll({"delete from SrcDcols", "delete from vytabs", "delete from sessions"});
    const std::filesystem::path logs = JoinPath(folder, "log");
    std::vector<std::filesystem::path> files;
    std::error_code none;  // no such folder, or one that isn't ours to read: no logs to delete
    for (std::filesystem::directory_iterator entry(logs, none), end; !none && entry != end;
         entry.increment(none)) {
        const std::string name = LowerCased(entry->path().filename().string());
        if (name.ends_with(".log") || name.ends_with(SummaryFileOf(".log"))) {
            files.push_back(entry->path());
        }
    }
    for (const auto& file : files) {
        RemoveIfThere(file);
    }
}

void BackupRepository(const std::string& folder, const std::filesystem::path& destination) {
    std::error_code error;
    const bool created = std::filesystem::create_directory(destination, error);
    if (error || !created) {
        throw FileFailure("Can't create the folder",
                          destination,
                          error ? error : std::make_error_code(std::errc::file_exists));
    }
    try {
        HeldFile(RepositoryFile(folder)).CopyTo(destination / kRepositoryName);
    } catch (const DataError&) {
        std::filesystem::remove(destination, error);  // or the next try would find it in its way
        throw;
    }
}

void RestoreRepository(const std::string& folder,
                       const std::filesystem::path& file,
                       const DateTime& now) {
    const auto repository = RepositoryFile(folder);
    // The lock belongs to the old file's inode, which stays locked until `held` goes; programs that
    // open the name from the rename on get the new file.
    HeldFile held(repository);
    const bool is_there = std::filesystem::exists(repository);
    const auto kept = FreeName(JoinPath(folder, DatedName(now)));
    if (is_there) {
        held.CopyTo(kept);
    }
    try {
        held.PrepareToReplace();
        CopyPrivately(file, repository);
    } catch (const DataError&) {
        if (is_there) {
            std::error_code ignored;  // the copy's own failure is the one to report
            std::filesystem::remove(kept, ignored);
        }
        throw;
    }
    held.WasReplaced();
}

}  // namespace vantry
