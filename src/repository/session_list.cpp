#include "repository/session_list.h"

#include "data/connection_string.h"
#include "data/value_convert.h"
#include "repository/repository.h"

#include <algorithm>
#include <utility>

namespace vantry {
namespace {

std::string CurrentPath() {
    const std::filesystem::path named = ConnectionString::Parse(RepoConnStr).Get("Data Source");
    return RepositoryFile(named.parent_path().string()).string();
}

i32 NumberIn(Recordset& rows, std::int32_t field) {
    return static_cast<i32>(ToInt64(rows.Fields()[field].Value()).value_or(0));
}

// A save writes the session, then its tables, then a row for each column of the side that has more
// of them: what was broken off has no tables, or one that lacks columns.
std::set<i32> UnfinishedIn(Connection& connection) {
    std::set<i32> unfinished;
    Recordset rows;
    rows.Open("select SessionID from Sessions", connection);
    for (; !rows.Eof(); rows.MoveNext()) {
        unfinished.insert(NumberIn(rows, 0));
    }
    rows.Close();
    std::set<std::pair<i32, i32>> whole;  // session, table
    rows.Open(
        "select SessionID,TabID,count(*),max(SCCount),max(DCCount) from SrcDCols "
        "group by SessionID,TabID",
        connection);
    for (; !rows.Eof(); rows.MoveNext()) {
        if (NumberIn(rows, 2) >= std::max(NumberIn(rows, 3), NumberIn(rows, 4))) {
            whole.emplace(NumberIn(rows, 0), NumberIn(rows, 1));
        }
    }
    rows.Close();
    std::set<i32> broken;
    rows.Open("select SessionID,TabID from VYTabs", connection);
    for (; !rows.Eof(); rows.MoveNext()) {
        const i32 session = NumberIn(rows, 0);
        unfinished.erase(session);
        if (!whole.contains({session, NumberIn(rows, 1)})) {
            broken.insert(session);
        }
    }
    unfinished.merge(broken);
    return unfinished;
}

}  // namespace

// The list itself needs Sessions alone: where another table is missing or damaged, its user can
// still look, delete and restore.
UnfinishedSessions FindUnfinished() {
    UnfinishedSessions found;
    found.stamp = file::StampOf(CurrentPath());
    try {
        Connection connection;
        connection.Open(RepoConnStr);
        found.numbers = UnfinishedIn(connection);
    } catch (const DataError&) {
        found.numbers.clear();
    }
    return found;
}

void SessionList::Open(UnfinishedSessions unfinished) {
    Close();
    path_ = CurrentPath();
    // Before the rows: what is written while they are read shows as a change.
    stamp_ = unfinished.stamp ? unfinished.stamp : file::StampOf(path_);
    unfinished_ = std::move(unfinished.numbers);
    try {
        connection_.CursorLocation = adUseClient;
        connection_.Open(RepoConnStr);
        rows_.emplace();
        rows_->Open("select count(*) from Sessions", connection_, adOpenStatic, adLockOptimistic);
        count_ = ToInt64(rows_->Fields()[0].Value()).value_or(0);
        rows_->Close();
        rows_->Open(
            "select SessionID,SessionName,SourceDBName,TargetDBName,DateCreated,LogFileName,"
            "LastRunDate from Sessions order by SessionID desc",
            connection_,
            adOpenStatic,
            adLockOptimistic);
        open_ = true;
    } catch (const DataError&) {
        Close();
        throw;
    }
}

void SessionList::Close() {
    rows_.reset();
    unfinished_.clear();
    connection_ = Connection();
    open_ = false;
    count_ = 0;
}

SessionList::News SessionList::Look() const {
    auto now = file::StampOf(path_);
    if (!now) {
        // Whoever puts one there may spell its name in other letters.
        now = file::StampOf(CurrentPath());
    }
    if (!now) {
        return News::Missing;
    }
    if (!stamp_ || !stamp_->SameFile(*now)) {
        return News::Replaced;
    }
    return *stamp_ == *now ? News::None : News::Changed;
}

void SessionList::TakeAsRead() {
    const auto now = file::StampOf(path_);
    if (now && stamp_ && stamp_->SameFile(*now)) {
        stamp_ = now;
    }
}

}  // namespace vantry
