#pragma once
// The rows of a SELECT as cells that look straight into the client library's memory. While they
// stream they hold the connection; when it is wanted for another statement, the rest of them is
// kept in memory, which then grows with the result.

#include "data/driver.h"
#include "drivers/mysql/session.h"

#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace vantry::mysql {

class MySqlCursor : public Cursor, private Streamer {
public:
    // Runs the statement. Throws DataError, also when it gives no rows.
    MySqlCursor(std::shared_ptr<Session> session, std::string_view sql);
    ~MySqlCursor() override;

    std::span<const ColumnInfo> Columns() const override { return infos_; }
    bool Next() override;
    std::span<const Cell> Row() const override { return cells_; }

private:
    // A row that was taken into memory: the bytes of its fields one behind the other.
    struct KeptRow {
        std::string bytes;
        std::vector<RawField> fields;
    };

    // Called by the session, for the statement that wants the connection.
    void TakeRowsIntoMemory() override;
    KeptRow Keep(std::span<const RawField> fields) const;
    bool FetchFromServer();
    void DecodeRow();

    std::shared_ptr<Session> session_;
    std::vector<ColumnInfo> infos_;
    std::vector<Form> forms_;
    std::vector<RawField> fields_;
    std::vector<Cell> cells_;
    std::unique_ptr<RowSource> rows_;  // null once the server has nothing more for us
    bool on_row_ = false;
    std::deque<KeptRow> kept_;          // the rows to come
    KeptRow current_;                   // the row that cells_ look at, if it was kept
    std::optional<DataError> failure_;  // thrown behind the kept rows, and ever after
};

}  // namespace vantry::mysql
