#include "repository/session_list.h"

#include "data/connection_string.h"
#include "data/value_convert.h"
#include "repository/repository.h"

namespace vantry {
namespace {

std::string CurrentPath() {
    const std::filesystem::path named = ConnectionString::Parse(RepoConnStr).Get("Data Source");
    return RepositoryFile(named.parent_path().string()).string();
}

}  // namespace

void SessionList::Open() {
    Close();
    path_ = CurrentPath();
    // Before the rows: what is written while they are read shows as a change.
    stamp_ = file::StampOf(path_);
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
