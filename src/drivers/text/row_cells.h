#pragma once
// From a split row to its cells: one projection of a table. Used by one thread at a time.

#include "drivers/text/field_reader.h"
#include "drivers/text/table_layout.h"

#include <cstddef>
#include <memory>
#include <span>
#include <vector>

namespace vantry::text {

class RowCells {
public:
    // `projection` holds positions in the layout.
    RowCells(std::shared_ptr<const TableLayout> layout,
             FileForms forms,
             std::span<const std::size_t> projection);
    RowCells(const RowCells&) = delete;
    RowCells& operator=(const RowCells&) = delete;

    std::size_t Width() const { return columns_.size(); }
    // Fills one cell a column. They look into the row's text or into `made`.
    void Fill(const SplitRow& row, Cell* cells, MadeTexts& made);

    const TextColumn& Column(std::size_t position) const {
        return layout_->columns[columns_[position]];
    }
    // Where the column stands in the file.
    std::size_t PlaceOf(std::size_t position) const { return columns_[position]; }
    const FileForms& Forms() const { return forms_; }

private:
    std::shared_ptr<const TableLayout> layout_;
    FileForms forms_;
    std::vector<std::size_t> columns_;
    std::vector<FieldReader> readers_;
};

}  // namespace vantry::text
