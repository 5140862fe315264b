#pragma once
// The rows of an executed statement as cells. Columns of limited width are bound and come in
// blocks; from the first column on that has to be read in pieces all are read field by field, one
// row at a time: that is the order which every driver can do.

#include "drivers/odbc/piece_reader.h"
#include "drivers/odbc/types.h"

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace vantry::odbc {

class RowReader {
public:
    // `statement` outlives the reader, which must be gone before it is used for anything else.
    RowReader(const Link& link, const StatementHandle& statement, std::vector<Column> columns);
    RowReader(const RowReader&) = delete;
    RowReader& operator=(const RowReader&) = delete;

    std::span<const ColumnInfo> Columns() const { return infos_; }
    // The next row into `cells`, one a column, good until the next Fetch; false behind the last
    // row. Throws the driver's error.
    bool Fetch(std::span<Cell> cells);
    // Why a cell of the current row is Unreadable.
    DataError FieldError(std::size_t column) const;

private:
    // Room of one column in the block: rows × bytes, and a length for each row.
    struct Binding {
        std::size_t offset = 0;  // into block_
        std::vector<SQLLEN> lengths;
    };

    void BindColumns();
    bool FetchBlock();
    bool RowHasFailed() const;
    void DecodeRow(std::span<Cell> cells);
    Cell BoundCell(std::size_t column);
    Cell ReadCell(std::size_t column);
    Cell CutOffCell(std::size_t column);
    Cell Decode(std::size_t column, std::span<const std::byte> bytes);
    Cell Failed(std::size_t column, DataError error);

    const Link& link_;
    const StatementHandle& statement_;
    std::vector<Column> columns_;
    std::vector<ColumnInfo> infos_;
    std::vector<std::string> scratch_;  // a column's text where it isn't fetched as UTF-8
    std::size_t bound_ = 0;             // so many columns, from the first on
    std::vector<std::byte> block_;
    std::vector<Binding> bindings_;
    std::vector<GrowingBuffer> buffers_;
    std::size_t block_rows_ = 1;
    std::vector<SQLUSMALLINT> row_status_;
    SQLULEN rows_fetched_ = 0;
    std::size_t rows_in_block_ = 0;
    std::size_t row_ = 0;  // of the block
    std::optional<DataError> block_error_;
    struct Failure {
        std::size_t column;
        DataError error;
    };
    std::vector<Failure> failures_;  // of the current row
};

}  // namespace vantry::odbc
