#pragma once
// The rows of a table in storage order, as bytes. Reads whole runs of pages at a time.

#include "drivers/access/pages/usage_map.h"
#include "drivers/access/rows/row.h"

#include <algorithm>
#include <memory>
#include <vector>

namespace vantry::access {

// Pages that were read at one go. Only those of the table count; between them may lie others.
struct PageRun {
    // Pages of one read: a compromise between system calls and the cache of the processor.
    static constexpr PageNumber kMaxPages = 64;

    std::unique_ptr<std::byte[]> bytes;
    PageNumber first = 0;           // the one at the start of `bytes`
    std::vector<PageNumber> owned;  // ascending
    std::uint64_t version = 0;      // of the source, when they were read

    std::size_t PageCount() const { return owned.empty() ? 0 : owned.back() - first + 1; }
};

class RowScanner {
public:
    // `source` and `def` must outlive it.
    RowScanner(PageSource& source, const TableDef& def);

    // The next live row; false behind the last. Throws DataError.
    bool Next();
    // Stands on that row instead; false if it is gone.
    bool Seek(RowPointer row);

    // ---- For reading ahead
    // The next row of the run that the scanner stands in; false behind its last.
    bool NextInRun();
    // How many runs have been read so far by Next().
    std::size_t RunCount() const { return run_count_; }
    // Takes the next run of at most so many pages out of the scan, without standing in it or
    // reading it; false behind the last. Throws DataError.
    bool PlanRun(PageRun& run, PageNumber most_pages);
    void ReadRun(PageRun& run);
    // Stands before slot `slot` of page number `position` of the run's own, which it swaps for the
    // run that it stood in. What NextInRun() gives then is what Next() would have given there.
    void StandIn(PageRun& run, std::size_t position, std::size_t slot);
    // Stands in no run: after a Seek() the scan goes on behind that row, whatever was taken out.
    void LeaveRun();

    // Valid until the next call on this scanner.
    ByteSpan Row() const { return row_; }
    RowPointer Pointer() const { return {page_number_, slot_}; }

    // The current row once more, from the file as it is: for a reader that goes on to other pages
    // and finds that the file has changed since this row's page was read. False: the row is gone.
    bool Refresh();
    // Whether the file may have changed since this row's page was read.
    bool IsStale() const { return source_->Version() != run_.version; }

    // ---- For reading in two halves
    // The page behind the run that the scanner stands in at which about half of the pages that are
    // left begin; 0: they are few.
    PageNumber Middle();
    void EndAt(PageNumber page) { page_limit_ = std::min(page_limit_, page); }
    void GoOnAt(PageNumber page);

    // Live rows of the table; leaves the scanner at the end.
    std::int64_t CountRest();

private:
    bool NextPage();
    bool NextPageInRun();
    bool EnterPage(ByteSpan page, PageNumber number);
    [[noreturn]] void ThrowBadSlots() const;

    PageSource* source_;
    const TableDef* def_;
    UsageMap owned_;
    RowFinder finder_;
    PageRun run_;
    std::size_t run_next_ = 0;  // in run_.owned
    std::size_t run_count_ = 0;
    PageNumber next_page_ = 0;   // where the owned pages behind the runs begin
    PageNumber page_limit_ = 0;  // pages that are added while we read aren't visited

    ByteSpan page_;
    PageNumber page_number_ = 0;
    std::size_t slots_ = 0;
    std::size_t next_slot_ = 0;
    std::size_t row_end_ = 0;  // where the next slot's row ends
    RowNumber slot_ = 0;
    ByteSpan row_;
};

}  // namespace vantry::access
