#pragma once
// Rows read and decoded on a second thread, some runs of pages ahead of the scan. That thread
// does the plain work alone: it reads pages as long as nothing stands against it, and decodes rows
// by their plan. Everything uncommon is left to the thread that owns the scan, which also decodes a
// run of its own where it finds none ready. Worth it for tables of many runs.

#include "drivers/access/rows/quick_row.h"
#include "drivers/access/rows/row_scanner.h"

#include <array>
#include <atomic>
#include <exception>
#include <mutex>
#include <thread>
#include <vector>

namespace vantry::access {

// The rows of a run of pages, rows × fields, row-major.
struct DecodedRun {
    PageRun pages;
    std::vector<Cell> cells;
    std::vector<RowPointer> rows;
    std::size_t taken = 0;    // by the user
    bool is_read = false;     // by the quick way
    std::uint64_t stamp = 0;  // of what was read, see PageSource
    // Where the quick way ended: from this slot of the run's own page on the careful way must.
    bool is_cut = false;
    std::size_t cut_position = 0;
    std::size_t cut_slot = 0;
    std::unique_ptr<TextRoom> room;
    // The runs up to this one's number, counted from the scan's start, once it is decoded.
    std::atomic<std::uint32_t> ready = 0;
};

class RowsAhead {
public:
    // All of them must outlive it. Throws std::exception if there is no thread to be had.
    RowsAhead(PageSource& source, RowScanner& scanner, const TableDef& def, const QuickRow& plan);
    ~RowsAhead();
    RowsAhead(const RowsAhead&) = delete;
    RowsAhead& operator=(const RowsAhead&) = delete;

    // The next run, valid until the next call; null behind the last. Throws DataError.
    DecodedRun* Next();

private:
    // One that is used, one that is decoded, and enough between them that the owner hardly ever has
    // to wake up the second thread: it plans anew only when half of them are used up.
    static constexpr std::uint32_t kRuns = 8;

    void PlanMore();
    void Work();
    bool Claim(std::uint32_t run) { return claimed_.compare_exchange_strong(run, run + 1); }
    void ReadAndDecode(DecodedRun& run) noexcept;
    void Decode(DecodedRun& run) const;
    // Decodes a page as far as that goes; false where it ends early.
    bool DecodePage(DecodedRun& run, ByteSpan page, PageNumber number) const;

    PageSource* source_;
    RowScanner* scanner_;
    const Layout* layout_;
    const TableDef* def_;
    const QuickRow* plan_;
    std::size_t width_;
    PageNumber run_pages_;

    // Counted from the scan's start; run n lies at n % kRuns.
    std::array<DecodedRun, kRuns> runs_;
    std::atomic<std::uint32_t> planned_ = 0;
    std::atomic<std::uint32_t> claimed_ = 0;  // by the thread that decodes it
    std::mutex reading_;                      // the source gives up where two read at a time
    std::uint32_t used_ = 0;  // given back; only the thread that owns the scan looks at it
    bool in_use_ = false;
    bool at_end_ = false;
    std::exception_ptr failure_;
    std::atomic<bool> stop_ = false;
    std::thread worker_;
};

}  // namespace vantry::access
