// One file as a table of the query processor: scans hand out rows of cells, a row is known by its
// offset in the file, and new rows become lines at its end. Nothing else can be changed in place.
// Easy to get wrong: only the columns that a query asks for are read, so fields are found by their
// place in the projection, not in the file; and what was wrong with a field is worked out only when
// it is asked for, from the row that still stands in the window or in its block. Long files are
// read by a second thread; the lines of a row are counted by the one that asks.

#include "drivers/text/text_table.h"

#include "drivers/text/row_cells.h"
#include "drivers/text/rows_ahead.h"
#include "text_format/errors.h"

#include <exception>
#include <limits>
#include <utility>

namespace vantry::text {
namespace {

constexpr std::string_view kGuessHint = "The type was guessed from the first ";
constexpr std::string_view kGuessRemedy =
    " rows: set MaxScanRows=0 for this file in Schema.ini, or name its columns and their types "
    "there, as in Col1=Name Text.";
constexpr std::string_view kWidthHint =
    "Shorten the value in the file, or give the column a larger Width in Schema.ini.";
constexpr std::string_view kDeclaredHint =
    "Correct the value in the file, or give the column another type in Schema.ini.";

constexpr std::size_t kForEver = std::numeric_limits<std::size_t>::max();

class TextScan : public sql::TableScan {
public:
    TextScan(const TableSource& source,
             std::shared_ptr<const TableLayout> layout,
             std::span<const std::size_t> projection,
             ReaderSizes sizes)
        : file_(source.file),
          encoding_(source.encoding),
          layout_(std::move(layout)),
          row_cells_(layout_, source.Forms(), projection),
          reader_(
              file_, encoding_, source.Rules(), layout_->first_row, FieldsFor(projection), sizes),
          cells_(projection.size()),
          batches_alone_(projection.empty() ? kForEver : sizes.batches_alone) {}

    bool Next() override {
        if (block_ != nullptr && taken_ + 1 < block_->rows.batch.rows.size()) {
            ++taken_;
            row_ += cells_.size();
            return true;
        }
        if (!ahead_ && reader_.NextInBatch()) {
            return StandOnOwnRow();
        }
        return NextBatch();
    }

    // Cells look into the window, into a block or at made texts: they live until the next row.
    std::span<const Cell> Row() const override { return {row_, cells_.size()}; }
    sql::RowId CurrentRow() const override {
        return block_ != nullptr ? block_->rows.OffsetOf(block_->rows.batch.rows[taken_].begin)
                                 : reader_.RowOffset();
    }
    bool Seek(sql::RowId row) override;
    DataError FieldError(std::size_t position) const override;
    // A file whose rows were all looked at when it was opened would be so by the other reader, too.
    std::int64_t Middle() override {
        return ahead_ || layout_->row_count || cells_.empty()
                   ? 0
                   : reader_.Middle(layout_->columns.size());
    }
    void EndAt(std::int64_t middle) override {
        batches_alone_ = kForEver;
        reader_.EndAt(middle);
    }
    void GoOnAt(std::int64_t middle) override {
        batches_alone_ = kForEver;
        reader_.MoveTo(middle);
    }
    bool EndedWithRow() const override { return !reader_.EndedOpen(); }

private:
    // All fields are kept, whichever are asked for: what is behind them is the row's surplus.
    std::size_t FieldsFor(std::span<const std::size_t> projection) const {
        return projection.empty() ? 0 : layout_->columns.size();
    }
    SplitRow Split() const { return block_ != nullptr ? block_->rows.Row(taken_) : reader_.Row(); }
    bool StandOnOwnRow() {
        made_.Clear();
        row_cells_.Fill(reader_.Row(), cells_.data(), made_);
        row_ = cells_.data();
        return true;
    }
    bool NextBatch();
    bool StartAhead();
    bool NextBlock();
    DataError RowError() const;

    std::shared_ptr<const TextFile> file_;
    TextEncoding encoding_;
    std::shared_ptr<const TableLayout> layout_;
    RowCells row_cells_;
    RowReader reader_;
    std::vector<Cell> cells_;
    MadeTexts made_;
    const Cell* row_ = nullptr;         // in cells_ or in block_
    std::size_t batches_alone_;         // until a second thread is started
    std::unique_ptr<RowsAhead> ahead_;  // has reader_ and row_cells_ while it is there
    const ReadyBlock* block_ = nullptr;
    std::size_t taken_ = 0;  // the current row in block_
    mutable LineCounter lines_{file_, encoding_};
};

bool TextScan::NextBatch() {
    if (ahead_ || (batches_alone_ == 0 && StartAhead())) {
        return NextBlock();
    }
    --batches_alone_;
    return reader_.NextBatch() && StandOnOwnRow();
}

bool TextScan::StartAhead() {
    try {
        ahead_ = std::make_unique<RowsAhead>(reader_, row_cells_);
        return true;
    } catch (const std::exception&) {
        // No thread to be had, or no memory for it: the rows come without one.
        batches_alone_ = kForEver;
        return false;
    }
}

bool TextScan::NextBlock() {
    block_ = ahead_->Next();
    taken_ = 0;
    if (block_ != nullptr) {
        row_ = block_->cells.data();
        return true;
    }
    const bool stands_on_row = ahead_->StandsOnRow();
    ahead_.reset();
    return stands_on_row && StandOnOwnRow();
}

bool TextScan::Seek(sql::RowId row) {
    ahead_.reset();
    block_ = nullptr;
    batches_alone_ = kForEver;  // who goes back and forth reads little at each place
    if (row < layout_->first_row || row >= file_->Size()) {
        return false;
    }
    // An offset from another state of the file may stand inside a row.
    reader_.MoveTo(row);
    return reader_.Next() && reader_.RowOffset() == row && StandOnOwnRow();
}

DataError TextScan::FieldError(std::size_t position) const {
    const SplitRow row = Split();
    if (row.IsOdd()) {
        return RowError();
    }
    const TextColumn& info = row_cells_.Column(position);
    const std::size_t column = row_cells_.PlaceOf(position);
    FieldReader text(info, row_cells_.Forms());
    FieldPlace place;
    place.path = file_->Path();
    place.line = lines_.LineOf(CurrentRow());
    place.column = info.name;
    if (column < row.FieldCount()) {
        const FieldSpan field = row.Field(column);
        place.value = text.ShownText(row.Bytes(field), field);
    }
    const std::string hint = info.guessed
                                 ? std::string(kGuessHint) + std::to_string(layout_->scanned_rows) +
                                       std::string(kGuessRemedy)
                                 : std::string(text.HasWidth() ? kWidthHint : kDeclaredHint);
    return FieldDoesNotFit(place, text.Wanted(place.value), hint);
}

// Why a row as a whole can't be read.
DataError TextScan::RowError() const {
    if (Split().IsOpen()) {
        return block_ != nullptr ? block_->rows.OpenFieldError(file_, encoding_)
                                 : reader_.OpenFieldError();
    }
    const std::int64_t line = lines_.LineOf(CurrentRow());
    return row_cells_.Forms().fixed_columns
               ? LineTooLong(file_->Path(), line)
               : RowHasSurplus(file_->Path(), line, Split().FieldCount(), layout_->columns.size());
}

}  // namespace

TextTable::TextTable(std::string name,
                     TableSource source,
                     std::shared_ptr<const TableLayout> layout,
                     std::shared_ptr<AppendJournal> journal,
                     ReaderSizes sizes)
    : name_(std::move(name)),
      source_(std::move(source)),
      layout_(std::move(layout)),
      journal_(std::move(journal)),
      sizes_(sizes) {
    for (const TextColumn& column : layout_->columns) {
        sql::StoredColumn stored;
        const int width =
            column.width == 0 ? static_cast<int>(kMaxTextUnits) : static_cast<int>(column.width);
        stored.info = InfoFor(column.type, width, column.precision, column.scale);
        stored.info.name = column.name;
        columns_.push_back(std::move(stored));
    }
}

std::unique_ptr<sql::TableScan> TextTable::Scan(std::span<const std::size_t> projection) {
    return std::make_unique<TextScan>(source_, layout_, projection, sizes_);
}

std::int64_t TextTable::CountRows() {
    // Known when guessing saw the whole file.
    if (layout_->row_count && !grown_) {
        return *layout_->row_count;
    }
    RowReader reader(
        source_.file, source_.encoding, source_.Rules(), layout_->first_row, 0, sizes_);
    return reader.CountRest();
}

// The writer is made at the first row: most tables are only read.
void TextTable::Insert(std::span<const Cell> row) {
    if (!writer_) {
        writer_ = std::make_unique<LineWriter>(source_, *layout_);
    }
    const std::string& line = writer_->LineOf(row);
    std::string header;
    if (source_.format.has_header &&
        source_.file->Size() == static_cast<std::int64_t>(source_.encoding.MarkBytes())) {
        // In an empty file the row would be taken for the header.
        std::vector<std::string> names;
        for (const TextColumn& column : layout_->columns) {
            names.push_back(column.name);
        }
        source_.encoding.AppendFileBytes(HeaderLine(source_.format, names), header);
        TableLayout behind = *layout_;
        behind.first_row += static_cast<std::int64_t>(header.size());
        layout_ = std::make_shared<const TableLayout>(std::move(behind));
    }
    // Header and row go in one write: a file with a header alone would be a table, too.
    journal_->Append(source_.file, source_.encoding, header + line);
    grown_ = true;
}

void TextTable::Update(sql::RowId, std::span<const std::size_t>, std::span<const Cell>) {
    throw UpdatesNotSupported();
}

void TextTable::Delete(sql::RowId) {
    throw DeletesNotSupported();
}

std::int64_t TextTable::DeleteAll() {
    throw DeletesNotSupported();
}

}  // namespace vantry::text
