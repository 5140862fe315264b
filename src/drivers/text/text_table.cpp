// One file as a table of the query processor: scans hand out rows of cells, a row is known by its
// offset in the file, and new rows become lines at its end. Nothing else can be changed in place.
// Easy to get wrong: only the columns that a query asks for are read, so fields are found by their
// place in the projection, not in the file; and what was wrong with a field is worked out only when
// it is asked for, from the row that still stands in the window.

#include "drivers/text/text_table.h"

#include "text_format/errors.h"

#include <algorithm>
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

class TextScan : public sql::TableScan {
public:
    TextScan(const TableSource& source,
             std::shared_ptr<const TableLayout> layout,
             std::span<const std::size_t> projection,
             ReaderSizes sizes)
        : file_(source.file),
          encoding_(source.encoding),
          layout_(std::move(layout)),
          forms_(source.Forms()),
          reader_(
              file_, encoding_, source.Rules(), layout_->first_row, FieldsFor(projection), sizes),
          columns_(projection.begin(), projection.end()),
          cells_(projection.size()) {
        readers_.reserve(columns_.size());
        for (const std::size_t column : columns_) {
            readers_.emplace_back(layout_->columns[column], forms_);
        }
    }

    bool Next() override {
        if (!reader_.Next()) {
            return false;
        }
        BuildRow();
        return true;
    }

    // Cells look into the window or into their reader: they live until the next row.
    std::span<const Cell> Row() const override { return cells_; }
    sql::RowId CurrentRow() const override { return reader_.RowOffset(); }

    bool Seek(sql::RowId row) override {
        if (row < layout_->first_row || row >= file_->Size()) {
            return false;
        }
        // An offset from another state of the file may stand inside a row.
        reader_.MoveTo(row);
        if (!reader_.Next() || reader_.RowOffset() != row) {
            return false;
        }
        BuildRow();
        return true;
    }

    DataError FieldError(std::size_t position) const override {
        if (reader_.IsOddRow()) {
            return RowError();
        }
        const std::size_t column = columns_[position];
        const TextColumn& info = layout_->columns[column];
        FieldReader text(info, forms_);
        FieldPlace place;
        place.path = file_->Path();
        place.line = lines_.LineOf(reader_.RowOffset());
        place.column = info.name;
        if (column < reader_.FieldCount()) {
            const FieldSpan field = reader_.Field(column);
            place.value = text.ShownText(reader_.Bytes(field), field);
        }
        const std::string hint =
            info.guessed ? std::string(kGuessHint) + std::to_string(layout_->scanned_rows) +
                               std::string(kGuessRemedy)
                         : std::string(text.HasWidth() ? kWidthHint : kDeclaredHint);
        return FieldDoesNotFit(place, text.Wanted(place.value), hint);
    }

private:
    // All fields are kept, whichever are asked for: what is behind them is the row's surplus.
    std::size_t FieldsFor(std::span<const std::size_t> projection) const {
        return projection.empty() ? 0 : layout_->columns.size();
    }

    // Why a row as a whole can't be read.
    DataError RowError() const {
        if (reader_.IsOpenRow()) {
            return reader_.OpenFieldError();
        }
        const std::int64_t line = lines_.LineOf(reader_.RowOffset());
        return forms_.fixed_columns
                   ? LineTooLong(file_->Path(), line)
                   : RowHasSurplus(
                         file_->Path(), line, reader_.FieldCount(), layout_->columns.size());
    }

    void BuildRow() {
        const bool plain = reader_.IsPlainRow();
        const std::size_t count = reader_.FieldCount();
        for (std::size_t k = 0; k < columns_.size(); ++k) {
            // A row that is shorter than the header.
            if (columns_[k] >= count) {
                cells_[k] = Cell::Null();
                continue;
            }
            const FieldSpan field = reader_.Field(columns_[k]);
            cells_[k] = readers_[k].Read(reader_.Bytes(field), field, plain);
        }
        if (reader_.IsOddRow() && !cells_.empty()) {
            // One field that failed fails its row; a condition looks at the last one seldom.
            cells_.back() = Cell::Unreadable();
        }
    }

    std::shared_ptr<const TextFile> file_;
    TextEncoding encoding_;
    std::shared_ptr<const TableLayout> layout_;
    FileForms forms_;
    RowReader reader_;
    std::vector<std::size_t> columns_;
    std::vector<FieldReader> readers_;
    std::vector<Cell> cells_;
    mutable LineCounter lines_{file_, encoding_};
};

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
