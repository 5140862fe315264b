#pragma once
// Writing long values to their own pages: in one row where they fit, else as a chain of rows with a
// page each.

#include "drivers/access/catalogue/table_def.h"
#include "drivers/access/pages/data_page.h"
#include "drivers/access/pages/usage_map_writer.h"
#include "drivers/access/rows/long_value.h"
#include "drivers/access/rows/row_encoder.h"

#include <string>
#include <vector>

namespace vantry::access {

// Inside a transaction. `store` and `def` must outlive it.
class LongValueWriter : public LongValueSink {
public:
    LongValueWriter(PageStore& store, const TableDef& def);

    void Write(std::size_t column, ByteSpan data, std::span<std::byte> header) override;
    // Frees what the field `stored` occupies outside its row.
    void Release(std::size_t column, ByteSpan stored);
    // What was remembered of pages isn't good any more.
    void ForgetPages() { current_.assign(current_.size(), 0); }
    // Frees all pages of the column.
    void Clear(std::size_t column);

private:
    RowPointer WriteRow(const ColumnDef& column, ByteSpan data);
    PageNumber NewPage(const ColumnDef& column);
    void DeleteRow(const ColumnDef& column, RowPointer row);
    // A page of the column with room, 0: none.
    PageNumber FindRoom(const ColumnDef& column, std::size_t length);

    PageStore* store_;
    const TableDef* def_;
    std::vector<PageNumber> current_;  // by column position: the page that got the last short value
};

}  // namespace vantry::access
