#pragma once
// The rows of a SELECT, straight from the driver. Where a driver can carry one statement at a time,
// the rest of the rows is kept in memory as soon as another is to run.

#include "data/driver.h"
#include "drivers/odbc/link.h"
#include "drivers/odbc/row_reader.h"

#include <deque>
#include <memory>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

namespace vantry::odbc {

class OdbcCursor : public Cursor, private Streamer {
public:
    // Runs the statement. Throws DataError, also when it gives no rows.
    OdbcCursor(std::shared_ptr<Link> link, std::string_view sql);
    // Over a statement that is executed already.
    OdbcCursor(std::shared_ptr<Link> link, StatementHandle statement);
    ~OdbcCursor() override;

    std::span<const ColumnInfo> Columns() const override { return infos_; }
    bool Next() override;
    std::span<const Cell> Row() const override { return cells_; }
    DataError FieldError(std::size_t column) const override;

private:
    // A row that was taken into memory.
    struct KeptRow {
        std::vector<Value> values;
        std::vector<std::pair<std::size_t, DataError>> failures;
    };

    // Called by the link, for the statement that wants the connection.
    void TakeRowsIntoMemory() override;
    // `columns`: the statement's, if they are known already.
    void Start(std::vector<Column> columns);
    KeptRow Keep(std::span<const Cell> cells) const;
    void ShowKept();
    bool FetchFromDriver();
    // Frees the statement: the driver lets go of its rows and locks.
    void EndReading();

    std::shared_ptr<Link> link_;
    StatementHandle statement_;
    std::optional<RowReader> reader_;  // none once the driver has nothing more for us
    std::vector<ColumnInfo> infos_;
    std::vector<Cell> cells_;
    bool on_row_ = false;
    std::deque<KeptRow> kept_;          // the rows to come
    std::optional<KeptRow> current_;    // the row that cells_ look at, if it was kept
    std::optional<DataError> failure_;  // thrown behind the kept rows, and ever after
};

}  // namespace vantry::odbc
