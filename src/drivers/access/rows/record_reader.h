#pragma once
// Rows of a table with their fields by column name: for the system tables, whose readers want a few
// named columns and aren't in a hurry.

#include "drivers/access/rows/field.h"
#include "drivers/access/rows/row_scanner.h"

#include <initializer_list>
#include <string_view>
#include <vector>

namespace vantry::access {

class RecordReader {
public:
    // Reads the given columns; one that the table lacks reads as null. `source` and `def` must
    // outlive it.
    RecordReader(PageSource& source,
                 const TableDef& def,
                 std::initializer_list<std::string_view> columns);

    // Throws DataError for damaged pages; a field that can't be read reads as null.
    bool Next();
    bool Seek(RowPointer row);
    RowPointer Pointer() const { return scanner_.Pointer(); }

    // By position in the list of columns; valid until Next().
    const Cell& operator[](std::size_t column) const { return cells_[column]; }
    std::int32_t Int(std::size_t column) const;  // 0 for null
    std::string Text(std::size_t column) const;  // empty for null

private:
    void Decode();

    PageSource* source_;
    const TableDef* def_;
    RowScanner scanner_;
    std::vector<std::size_t> positions_;
    std::vector<FieldDecoder> decoders_;
    std::vector<Cell> cells_;
};

}  // namespace vantry::access
