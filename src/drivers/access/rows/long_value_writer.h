#pragma once
// Writing long values to their own pages: in one row where they fit, else as a chain of rows with a
// page each.

#include "drivers/access/catalogue/table_def.h"
#include "drivers/access/pages/data_page.h"
#include "drivers/access/pages/usage_map_writer.h"
#include "drivers/access/rows/long_value.h"
#include "drivers/access/rows/row_encoder.h"

#include <string>
#include <unordered_set>
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
    // Frees all pages that the column lists.
    void Clear(std::size_t column);

    // Before Clear(): files made elsewhere may have pages that no list has. Count() takes note of
    // one value of each row, by its header alone; ListsAll() says then whether the column lists as
    // many pages as its values need, and if it doesn't, ReleaseUnlisted() of each value frees what
    // it has elsewhere.
    void Count(std::size_t column, ByteSpan stored);
    bool ListsAll(std::size_t column);
    void ReleaseUnlisted(std::size_t column, ByteSpan stored);

private:
    struct Needed {
        bool is_listed = true;  // every value begins on a page of the list
        std::unordered_set<PageNumber> shared_pages;
        std::size_t chain_pages = 0;
    };

    bool Lists(const ColumnDef& column, PageNumber page);
    void TakeOffLists(const ColumnDef& column, PageNumber page);
    RowPointer WriteRow(const ColumnDef& column, ByteSpan data);
    PageNumber NewPage(const ColumnDef& column);
    void DeleteRow(const ColumnDef& column, RowPointer row);
    // A page of the column with room, 0: none.
    PageNumber FindRoom(const ColumnDef& column, std::size_t length);

    PageStore* store_;
    const TableDef* def_;
    std::vector<Needed> needed_;       // by column position
    std::vector<PageNumber> current_;  // by column position: the page that got the last short value
};

}  // namespace vantry::access
