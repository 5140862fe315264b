// Columns of a known, small size are bound in blocks of rows, which is more than twice as fast as
// asking for each field; from the first column that isn't, the rest is asked for in pieces, row by
// row. Easy to get wrong: the lengths that drivers write can lie, or be missing, and are checked
// against our buffers; one refused row in a block must not take the others along; and a long value
// that doesn't fit its bound buffer is read again only where the driver allows that.

#include "drivers/odbc/row_reader.h"

#include "drivers/odbc/decode.h"
#include "drivers/odbc/errors.h"
#include "drivers/odbc/fetch_length.h"
#include "drivers/odbc/text_form.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <new>

namespace vantry::odbc {
namespace {

constexpr std::size_t kAlignment = 16;
constexpr SQLLEN kNoLengthGiven = std::numeric_limits<SQLLEN>::min();

SQLPOINTER AsAttribute(std::size_t number) {
    return reinterpret_cast<SQLPOINTER>(number);
}

}  // namespace

RowReader::RowReader(const Link& link,
                     const StatementHandle& statement,
                     std::vector<Column> columns)
    : link_(link), statement_(statement), columns_(std::move(columns)) {
    for (const auto& column : columns_) {
        infos_.push_back(column.info);
    }
    scratch_.resize(columns_.size());
    buffers_.resize(columns_.size());
    const auto first_in_pieces =
        std::find_if(columns_.begin(), columns_.end(), [](const auto& c) { return c.bytes == 0; });
    bound_ = static_cast<std::size_t>(first_in_pieces - columns_.begin());
    BindColumns();
}

void RowReader::BindColumns() {
    std::size_t row_bytes = 0;
    for (std::size_t k = 0; k < bound_; ++k) {
        row_bytes += columns_[k].bytes;
    }
    const auto& tuning = link_.GetTuning();
    // Fields in pieces belong to the one current row: blocks only where there are none.
    if (bound_ == columns_.size()) {
        block_rows_ = std::clamp<std::size_t>(
            tuning.block_bytes / std::max<std::size_t>(row_bytes, 1), 1, tuning.block_rows);
        const auto result =
            SQLSetStmtAttr(statement_.Get(), SQL_ATTR_ROW_ARRAY_SIZE, AsAttribute(block_rows_), 0);
        if (result != SQL_SUCCESS) {
            // The driver may have taken another number; one row at a time all of them can.
            block_rows_ = 1;
            SQLSetStmtAttr(statement_.Get(), SQL_ATTR_ROW_ARRAY_SIZE, AsAttribute(1), 0);
        }
    }
    row_status_.assign(block_rows_, SQL_ROW_NOROW);
    SQLSetStmtAttr(statement_.Get(), SQL_ATTR_ROW_STATUS_PTR, row_status_.data(), 0);
    SQLSetStmtAttr(statement_.Get(), SQL_ATTR_ROWS_FETCHED_PTR, &rows_fetched_, 0);

    bindings_.resize(bound_);
    std::size_t offset = 0;
    for (std::size_t k = 0; k < bound_; ++k) {
        bindings_[k].offset = offset;
        bindings_[k].lengths.assign(block_rows_, kNoLengthGiven);
        offset += (columns_[k].bytes * block_rows_ + kAlignment - 1) & ~(kAlignment - 1);
    }
    block_.resize(offset);
    for (std::size_t k = 0; k < bound_; ++k) {
        link_.Check(SQLBindCol(statement_.Get(),
                               static_cast<SQLUSMALLINT>(k + 1),
                               CTypeOf(columns_[k].form),
                               block_.data() + bindings_[k].offset,
                               static_cast<SQLLEN>(columns_[k].bytes),
                               bindings_[k].lengths.data()),
                    statement_);
    }
}

bool RowReader::Fetch(std::span<Cell> cells) {
    ++row_;
    if (row_ >= rows_in_block_ && !FetchBlock()) {
        return false;
    }
    DecodeRow(cells);
    return true;
}

bool RowReader::FetchBlock() {
    row_ = 0;
    rows_in_block_ = 0;
    rows_fetched_ = 0;
    block_error_.reset();
    std::fill(row_status_.begin(), row_status_.end(), SQLUSMALLINT{SQL_ROW_NOROW});
    // MariaDB's driver (3.1.15) writes no length beside a bit that isn't null: what stood there
    // from a null before would make another null of it. A length that should be there and isn't is
    // never taken for a null, nor for a value.
    for (std::size_t k = 0; k < bound_; ++k) {
        const SQLLEN untouched = HasFixedSize(columns_[k].form) ? 0 : kNoLengthGiven;
        std::fill(bindings_[k].lengths.begin(), bindings_[k].lengths.end(), untouched);
    }
    const auto result = link_.Asking(statement_, [&] { return SQLFetch(statement_.Get()); });
    if (result == SQL_NO_DATA) {
        return false;
    }
    if (result != SQL_SUCCESS) {
        const auto error = link_.ErrorOf(statement_);
        // One row that can't be converted is that row's matter; the ones behind it may be good.
        const bool only_row =
            block_rows_ == 1 && row_status_[0] == SQL_ROW_ERROR && error.Number() == kErrConversion;
        if (!SQL_SUCCEEDED(result) && !only_row) {
            throw DataError(error);
        }
        block_error_ = error;
    }
    // A count that is wrong must not lead behind the arrays.
    rows_in_block_ = std::min<std::size_t>(rows_fetched_, block_rows_);
    if (rows_in_block_ == 0 && block_rows_ == 1) {
        rows_in_block_ = 1;  // a driver that doesn't count
    }
    return rows_in_block_ != 0;
}

bool RowReader::RowHasFailed() const {
    return block_error_ && row_status_[row_] == SQL_ROW_ERROR;
}

void RowReader::DecodeRow(std::span<Cell> cells) {
    failures_.clear();
    if (RowHasFailed()) {
        for (std::size_t k = 0; k < columns_.size(); ++k) {
            cells[k] = Failed(k, *block_error_);
        }
        return;
    }
    for (std::size_t k = 0; k < bound_; ++k) {
        cells[k] = BoundCell(k);
    }
    for (std::size_t k = bound_; k < columns_.size(); ++k) {
        cells[k] = ReadCell(k);
    }
}

Cell RowReader::BoundCell(std::size_t column) {
    const auto& form = columns_[column];
    const auto& binding = bindings_[column];
    const SQLLEN length = binding.lengths[row_];
    const auto* data = block_.data() + binding.offset + row_ * form.bytes;
    if (length != SQL_NULL_DATA && HasFixedSize(form.form)) {
        return Decode(column, {data, form.bytes});
    }
    const auto room = form.bytes - TerminatorBytes(form.form);
    const auto filled = FilledBytes(length, room, length == SQL_NO_TOTAL);
    switch (filled.fill) {
        case Fill::Null:
            return Cell::Null();
        case Fill::Whole:
            return Decode(column, {data, filled.bytes});
        case Fill::CutOff:
            return CutOffCell(column);
        case Fill::Impossible:
            break;
    }
    return Failed(column, ImpossibleLength(form.info.name, length, link_.Source()));
}

// A value longer than its column's description. Alone in its block it is still there to be read in
// pieces. Among others it isn't: MariaDB's driver (3.1.15) says that it can go back to a row of a
// block, and then gives the first row's value.
Cell RowReader::CutOffCell(std::size_t column) {
    if (block_rows_ != 1 || !link_.GetTraits().rereads_bound) {
        return Failed(column, ValueCutOff(columns_[column].info.name, link_.Source()));
    }
    return ReadCell(column);
}

Cell RowReader::ReadCell(std::size_t column) {
    try {
        const auto field = ReadField(link_,
                                     statement_,
                                     static_cast<SQLUSMALLINT>(column + 1),
                                     columns_[column],
                                     buffers_[column]);
        return field.null ? Cell::Null() : Decode(column, field.bytes);
    } catch (const DataError& error) {
        if (error.Number() != kErrConversion) {
            throw;
        }
        return Failed(column, error);
    } catch (const std::bad_alloc&) {
        return Failed(
            column,
            OutOfMemory("the value of column " + columns_[column].info.name, link_.Source()));
    }
}

Cell RowReader::Decode(std::size_t column, std::span<const std::byte> bytes) {
    return DecodeField(columns_[column], bytes, scratch_[column]);
}

Cell RowReader::Failed(std::size_t column, DataError error) {
    failures_.push_back({column, std::move(error)});
    return Cell::Unreadable();
}

DataError RowReader::FieldError(std::size_t column) const {
    for (const auto& failure : failures_) {
        if (failure.column == column) {
            return failure.error;
        }
    }
    return {kErrConversion,
            "The value of column " + infos_[column].name + " can't be read.",
            link_.Source()};
}

}  // namespace vantry::odbc
