#pragma once
// The numbers of a table's definition that change with its rows: row count, last AutoNumber, number
// of distinct keys of each index. Gathered in memory, written once a transaction.

#include "drivers/access/catalogue/table_def.h"
#include "drivers/access/pages/page_store.h"
#include "drivers/access/write/row_indexes.h"

#include <vector>

namespace vantry::access {

class TableCounts {
public:
    // At a transaction's start; `number` is the AutoNumber that the definition has.
    void Begin(std::uint32_t number);

    void AddRows(std::int64_t rows) { row_delta_ += rows; }
    // A number that was written counts as handed out.
    void NoteNumber(std::int32_t number);
    std::uint32_t LastNumber() const { return last_number_; }
    bool IsPending() const { return row_delta_ != 0 || number_changed_; }

    // Writes them into the definition, if any has changed, and counts from nothing again.
    void Write(PageStore& store, PageNumber definition, RowIndexes& indexes);
    // The table is empty: no rows, no keys. The AutoNumber stays.
    void WriteEmpty(PageStore& store, PageNumber definition, RowIndexes& indexes);

    // The bytes of a definition (as ReadTableDefBytes gives them) with these numbers blanked: the
    // same as long as nothing but rows has changed.
    static std::vector<std::byte> Blank(std::vector<std::byte> definition);

private:
    std::int64_t row_delta_ = 0;
    std::uint32_t last_number_ = 0;
    bool number_changed_ = false;
};

}  // namespace vantry::access
