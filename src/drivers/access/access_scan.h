#pragma once
// Rows of a table as cells: the scan that the SQL layer asks for.

#include "drivers/access/database_file.h"
#include "drivers/access/rows/complex_value.h"
#include "drivers/access/rows/field.h"
#include "drivers/access/rows/quick_row.h"
#include "drivers/access/rows/row_scanner.h"
#include "drivers/access/rows/rows_ahead.h"
#include "drivers/sql/storage.h"

#include <memory>
#include <vector>

namespace vantry::access {

// One projection of a table: what both kinds of scans decode rows with.
class RowDecoder {
public:
    // `projection` holds positions in `def`, which with `file` must outlive it.
    RowDecoder(DatabaseFile& file, const TableDef& def, std::span<const std::size_t> projection);

    // Throws DataError naming page and row when the row as a whole can't be read.
    void Decode(ByteSpan row, RowPointer pointer);
    std::span<const Cell> Cells() const { return cells_; }
    DataError FieldError(std::size_t position) const;
    // Whether a field may lie on other pages than its row.
    bool LeavesThePage() const { return leaves_page_; }
    const QuickRow& Quick() const { return quick_; }

private:
    struct Field {
        const ColumnDef* column;
        FieldDecoder decoder;
        std::unique_ptr<ComplexValueReader> complex;
        std::string fault;
    };
    void DecodeCarefully(ByteSpan row);
    // Fields from `first` on, one of which is damaged.
    void DecodeDamaged(const RowView& row, std::size_t first);
    void DecodeComplex(Field& field, Cell& cell);

    DatabaseFile* file_;
    const TableDef* def_;
    QuickRow quick_;
    TextRoom room_;
    std::vector<Field> fields_;
    std::vector<Cell> cells_;
    RowPointer pointer_;
    bool leaves_page_ = false;
};

class AccessScan : public sql::TableScan {
public:
    AccessScan(std::shared_ptr<DatabaseFile> file,
               std::shared_ptr<const TableDef> def,
               std::span<const std::size_t> projection);

    bool Next() override;
    std::span<const Cell> Row() const override {
        return ahead_row_ != nullptr ? std::span(ahead_row_, width_) : decoder_.Cells();
    }
    sql::RowId CurrentRow() const override {
        return PackRowPointer(ahead_row_ != nullptr ? run_->rows[run_->taken - 1]
                                                    : scanner_.Pointer());
    }
    bool Seek(sql::RowId row) override;
    DataError FieldError(std::size_t position) const override {
        return decoder_.FieldError(position);
    }
    std::int64_t Middle() override { return ahead_ ? 0 : scanner_.Middle(); }
    void EndAt(std::int64_t middle) override {
        may_read_ahead_ = false;
        scanner_.EndAt(static_cast<PageNumber>(middle));
    }
    void GoOnAt(std::int64_t middle) override {
        may_read_ahead_ = false;
        scanner_.GoOnAt(static_cast<PageNumber>(middle));
    }

private:
    bool DecodeSettled();
    void StartAhead();
    bool NextAhead();

    std::shared_ptr<DatabaseFile> file_;
    std::shared_ptr<const TableDef> def_;
    RowScanner scanner_;
    RowDecoder decoder_;
    std::size_t width_;
    bool may_read_ahead_;
    std::unique_ptr<RowsAhead> ahead_;
    DecodedRun* run_ = nullptr;
    const Cell* ahead_row_ = nullptr;  // in run_; null: the row is the decoder's
    bool in_cut_run_ = false;          // the scanner goes through the rest of a run
};

// The rows whose key in one index column equals a value, in the order of the index.
class AccessKeyScan : public sql::TableScan {
public:
    // `key` is the beginning of the entries' keys.
    AccessKeyScan(std::shared_ptr<DatabaseFile> file,
                  std::shared_ptr<const TableDef> def,
                  const RealIndex& index,
                  std::vector<std::byte> key,
                  std::span<const std::size_t> projection);

    bool Next() override;
    std::span<const Cell> Row() const override { return decoder_.Cells(); }
    sql::RowId CurrentRow() const override { return PackRowPointer(pointer_); }
    bool Seek(sql::RowId row) override;
    DataError FieldError(std::size_t position) const override {
        return decoder_.FieldError(position);
    }

private:
    std::shared_ptr<DatabaseFile> file_;
    std::shared_ptr<const TableDef> def_;
    std::vector<std::byte> key_;
    IndexReader entries_;
    RowFinder finder_;
    RowDecoder decoder_;
    RowPointer pointer_;
    bool started_ = false;
};

}  // namespace vantry::access
