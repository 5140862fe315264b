#pragma once
// The layout of a stored row: where each column's bytes are.
//
// Jet 4: u16 column count, fixed area, variable data, then from the end backwards: null mask
// (ceil(columns / 8) bytes), u16 count of variable columns, their u16 start offsets with the first
// next to the count, u16 end of the data. A table without variable columns has only count, fixed
// area and mask. Jet 3 has u8 in all these places and restores offsets above 255 with a jump table.

#include "drivers/access/catalogue/table_def.h"

#include <optional>

namespace vantry::access {

// Views a row's bytes; `def` and the bytes must outlive it.
class RowView {
public:
    // Throws BoundsError if the row is too short for its own column count.
    RowView(const TableDef& def, const Layout& layout, ByteSpan row);

    // The stored bytes, nothing for null. Yes/No columns are never null and give one byte, 0 or 1.
    // Throws BoundsError.
    std::optional<ByteSpan> Field(const ColumnDef& column) const {
        if (column.number >= columns_) {
            return column.type == ColumnType::Boolean && column.IsFixed() ? std::optional(kFalse)
                                                                          : std::nullopt;
        }
        const bool bit =
            (static_cast<unsigned>(row_[mask_ + (column.number >> 3)]) >> (column.number & 7) &
             1U) != 0;
        if (column.IsFixed()) {
            if (column.type == ColumnType::Boolean) {
                return bit ? kTrue : kFalse;
            }
            if (!bit) {
                return std::nullopt;
            }
            return FixedField(column);
        }
        return bit ? VariableField(column.variable_index) : std::nullopt;
    }

private:
    static constexpr std::byte kTruthBytes[2] = {std::byte{0}, std::byte{1}};
    static constexpr ByteSpan kFalse{kTruthBytes, 1};
    static constexpr ByteSpan kTrue{kTruthBytes + 1, 1};

    ByteSpan FixedField(const ColumnDef& column) const {
        const std::size_t size = FixedSizeOf(column.type);
        const std::size_t start = (jet3_ ? 1U : 2U) + std::size_t{column.fixed_offset};
        const std::size_t length = size != 0 ? size : column.length;
        if (start + length > mask_) {
            throw BoundsError();
        }
        return row_.subspan(start, length);
    }
    std::optional<ByteSpan> VariableField(std::size_t index) const {
        if (jet3_) {
            return VariableFieldJet3(index);
        }
        if (!variable_valid_) {
            throw BoundsError();
        }
        if (index >= variable_count_) {
            return std::nullopt;
        }
        const std::size_t at = mask_ - 4 - 2 * index;
        const std::size_t start = LoadU16(row_, at);
        const std::size_t end = LoadU16(row_, at - 2);
        if (start > end || end > variable_end_) {
            throw BoundsError();
        }
        return row_.subspan(start, end - start);
    }
    std::optional<ByteSpan> VariableFieldJet3(std::size_t index) const;
    void FindVariablesJet3();

    ByteSpan row_;
    std::size_t columns_ = 0;
    std::size_t mask_ = 0;  // offset of the null mask
    std::size_t variable_count_ = 0;
    std::size_t variable_end_ = 0;  // data can't reach beyond this
    bool jet3_;
    bool variable_valid_ = false;
};

// Follows the overflow pointers from a slot to the row itself.
class RowFinder {
public:
    // `source` and `def` must outlive it.
    RowFinder(PageSource& source, const TableDef& def) : def_(&def), pages_(source, 2) {}

    // The row's bytes, valid until the next call; nothing if the slot is deleted or isn't there.
    // Throws DataError.
    std::optional<ByteSpan> Find(RowPointer row);
    // From the content of an overflow slot on: the chain's last row. `row` is the slot, for
    // messages.
    ByteSpan Follow(ByteSpan pointer, RowPointer row);

private:
    const TableDef* def_;
    PageReader pages_;
};

}  // namespace vantry::access
