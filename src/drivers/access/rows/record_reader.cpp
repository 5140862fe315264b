// Rows of the engine's own tables by column name. Files of all versions are read by it: a column
// that one of them lacks is null, and so is a field that can't be read, because a damaged note
// beside an object must not keep its table from being listed.

#include "drivers/access/rows/record_reader.h"

#include "drivers/access/errors.h"

namespace vantry::access {

RecordReader::RecordReader(PageSource& source,
                           const TableDef& def,
                           std::initializer_list<std::string_view> columns)
    : source_(&source), def_(&def), scanner_(source, def), cells_(columns.size(), Cell::Null()) {
    for (const auto name : columns) {
        const auto position = def.FindColumn(name);
        positions_.push_back(position);
        decoders_.emplace_back(source,
                               position == TableDef::npos ? ColumnDef{} : def.columns[position]);
    }
}

bool RecordReader::Next() {
    if (!scanner_.Next()) {
        return false;
    }
    Decode();
    return true;
}

bool RecordReader::Seek(RowPointer row) {
    if (!scanner_.Seek(row)) {
        return false;
    }
    Decode();
    return true;
}

void RecordReader::Decode() {
    WithPage(source_->Name(), scanner_.Pointer().page, "a row of it runs outside", [&] {
        const RowView row(*def_, source_->GetLayout(), scanner_.Row());
        for (std::size_t i = 0; i < positions_.size(); ++i) {
            cells_[i] = Cell::Null();
            if (positions_[i] == TableDef::npos) {
                continue;
            }
            if (const auto stored = row.Field(def_->columns[positions_[i]])) {
                const auto cell = decoders_[i].Decode(*stored);
                cells_[i] = cell.Kind() == ValueKind::Unreadable ? Cell::Null() : cell;
            }
        }
    });
}

std::int32_t RecordReader::Int(std::size_t column) const {
    const auto& cell = cells_[column];
    return cell.Kind() == ValueKind::Int64 ? static_cast<std::int32_t>(cell.AsInt64()) : 0;
}

std::string RecordReader::Text(std::size_t column) const {
    const auto& cell = cells_[column];
    return cell.Kind() == ValueKind::Text ? std::string(cell.AsText()) : std::string();
}

}  // namespace vantry::access
