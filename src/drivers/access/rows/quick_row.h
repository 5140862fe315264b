#pragma once
// The short way from a stored row to cells, for rows with nothing uncommon about them: Jet 4 rows
// that know all columns of the table, whose fields lie within the row. Of any other row it says
// that it is one, and the careful way (RowView, FieldDecoder) reads it.
//
// Has no state of its own but the plan: several threads may use one.

#include "data/value.h"
#include "drivers/access/catalogue/table_def.h"

#include <memory>
#include <span>
#include <vector>

namespace vantry::access {

// Where the texts of rows are put that can't be shown in the page itself.
class TextRoom {
public:
    explicit TextRoom(std::size_t size)
        : bytes_(std::make_unique_for_overwrite<char[]>(size)), size_(size) {}

    void Clear() { used_ = 0; }
    // Null if there aren't as many left.
    char* Take(std::size_t most) { return most <= size_ - used_ ? bytes_.get() + used_ : nullptr; }
    // Of those taken last, these are used.
    void Keep(std::size_t count) { used_ += count; }

private:
    std::unique_ptr<char[]> bytes_;
    std::size_t size_;
    std::size_t used_ = 0;
};

class QuickRow {
public:
    // `projection` holds positions in `def`.
    QuickRow(const Layout& layout, const TableDef& def, std::span<const std::size_t> projection);

    std::size_t Width() const { return fields_.size(); }
    // False: no row of this projection can be read so.
    bool IsPossible() const { return possible_; }
    // Fills one cell a field. Texts point into `row` or `room`. False: the row is an uncommon one,
    // and the cells mean nothing.
    bool Decode(ByteSpan row, Cell* cells, TextRoom& room) const;
    // Enough for the texts of rows of that many bytes.
    static constexpr std::size_t RoomFor(std::size_t row_bytes) { return row_bytes * 3 + 64; }

private:
    struct Field {
        ColumnType type;
        bool fixed;
        std::uint8_t mask_bit;
        std::uint8_t scale;
        std::uint16_t mask_byte;
        std::uint16_t place;   // fixed: offset in the row; else the index of its offset
        std::uint16_t length;  // fixed: bytes; else the least that its type takes
    };
    static bool DecodeField(const Field& field, ByteSpan stored, Cell& cell, TextRoom& room);

    std::vector<Field> fields_;
    std::size_t columns_ = 0;
    std::size_t mask_size_ = 0;
    std::size_t fixed_end_ = 0;
    std::size_t variable_needed_ = 0;
    bool has_variables_ = false;
    bool possible_ = false;
};

}  // namespace vantry::access
