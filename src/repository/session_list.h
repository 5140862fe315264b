#pragma once
// The list of saved sessions as long as somebody looks at it: the rows, and whether the repository
// has changed or was replaced since they were read. A number of the list means nothing in a
// repository that has taken the former one's place.

#include "core/data_access.h"
#include "core/session_state.h"
#include "files/file.h"

#include <cstdint>
#include <optional>
#include <set>
#include <string>

namespace vantry {

// Sessions whose saving hasn't come to its end: it failed, was killed, or goes on in another
// program. The runner doesn't run them.
struct UnfinishedSessions {
    std::set<i32> numbers;
    std::optional<file::FileStamp> stamp;  // of the file before it was read
};
// Reads the columns of all sessions, which takes a moment where there are many. None where they
// can't be read.
UnfinishedSessions FindUnfinished();

class SessionList {
public:
    // Opens the repository and reads it, anew where it is open. Throws DataError; it is closed
    // then.
    void Open(UnfinishedSessions unfinished = {});
    void Close();
    bool IsOpen() const { return open_; }

    std::int64_t Count() const { return count_; }
    // SessionID, SessionName, SourceDBName, TargetDBName, DateCreated, LogFileName, LastRunDate;
    // newest first.
    Recordset& Rows() { return *rows_; }
    const std::set<i32>& Unfinished() const { return unfinished_; }
    enum class News : std::uint8_t { None, Changed, Replaced, Missing };
    // What has happened to the file since the list was read.
    News Look() const;
    // What has happened up to now is known.
    void TakeAsRead();

private:
    bool open_ = false;
    std::int64_t count_ = 0;
    std::string path_;
    std::optional<file::FileStamp> stamp_;
    Connection connection_;
    std::optional<Recordset> rows_;
    std::set<i32> unfinished_;
};

}  // namespace vantry
