#include "drivers/text/row_cells.h"

#include <utility>

namespace vantry::text {

RowCells::RowCells(std::shared_ptr<const TableLayout> layout,
                   FileForms forms,
                   std::span<const std::size_t> projection)
    : layout_(std::move(layout)),
      forms_(std::move(forms)),
      columns_(projection.begin(), projection.end()) {
    readers_.reserve(columns_.size());
    for (const std::size_t column : columns_) {
        readers_.emplace_back(layout_->columns[column], forms_);
    }
}

void RowCells::Fill(const SplitRow& row, Cell* cells, MadeTexts& made) {
    const bool plain = row.IsPlain();
    const std::size_t count = row.FieldCount();
    for (std::size_t k = 0; k < columns_.size(); ++k) {
        // A row that is shorter than the header.
        if (columns_[k] >= count) {
            cells[k] = Cell::Null();
            continue;
        }
        const FieldSpan field = row.Field(columns_[k]);
        cells[k] = readers_[k].Read(row.Bytes(field), field, plain, made);
    }
    if (row.IsOdd() && !columns_.empty()) {
        // One field that failed fails its row; a condition looks at the last one seldom.
        cells[columns_.size() - 1] = Cell::Unreadable();
    }
}

}  // namespace vantry::text
