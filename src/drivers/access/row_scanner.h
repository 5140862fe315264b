#pragma once
// The rows of a table in storage order, as bytes. Reads whole runs of pages at a time.

#include "drivers/access/row.h"
#include "drivers/access/usage_map.h"

#include <memory>
#include <vector>

namespace vantry::access {

class RowScanner {
public:
    // `source` and `def` must outlive it.
    RowScanner(PageSource& source, const TableDef& def);

    // The next live row; false behind the last. Throws DataError.
    bool Next();
    // Stands on that row instead; false if it is gone.
    bool Seek(RowPointer row);

    // Valid until the next call on this scanner.
    ByteSpan Row() const { return row_; }
    RowPointer Pointer() const { return {page_number_, slot_}; }

    // The current row once more, from the file as it is: for a reader that goes on to other pages
    // and finds that the file has changed since this row's page was read. False: the row is gone.
    bool Refresh();
    // Whether the file may have changed since this row's page was read.
    bool IsStale() const { return source_->Version() != block_version_; }

    // Live rows of the table; leaves the scanner at the end.
    std::int64_t CountRest();

private:
    // Pages of one read: a compromise between system calls and the cache of the processor.
    static constexpr PageNumber kBlockPages = 64;

    bool NextPage();
    bool LoadBlock();
    bool EnterPage(ByteSpan page, PageNumber number);
    [[noreturn]] void ThrowBadSlots() const;

    PageSource* source_;
    const TableDef* def_;
    UsageMap owned_;
    RowFinder finder_;
    std::unique_ptr<std::byte[]> buffer_;
    std::vector<PageNumber> block_;  // the owned pages among those in the buffer
    PageNumber block_first_ = 0;
    std::size_t block_next_ = 0;  // in block_
    std::uint64_t block_version_ = 0;
    PageNumber next_page_ = 0;   // where the owned pages behind the block begin
    PageNumber page_limit_ = 0;  // pages that are added while we read aren't visited
    std::uint64_t limit_version_ = 0;

    ByteSpan page_;
    PageNumber page_number_ = 0;
    std::size_t slots_ = 0;
    std::size_t next_slot_ = 0;
    std::size_t row_end_ = 0;  // where the next slot's row ends
    RowNumber slot_ = 0;
    ByteSpan row_;
};

}  // namespace vantry::access
