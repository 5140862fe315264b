// A ring of runs between two threads: the owner of the scan plans them, the second thread reads and
// decodes them in order, the owner hands the rows out, and decodes the next one itself rather than
// sleep until it is done. Two counters that only grow say which are planned and which are taken; a
// run says itself when it is ready. Decoding never follows a pointer and never raises: where it
// stops, it leaves a mark, and the owner goes on from there by the careful way. Easy to get wrong:
// what was read is good only if the file hasn't changed since, which the stamp of the read tells.

#include "drivers/access/rows/rows_ahead.h"

#include <algorithm>
#include <utility>

namespace vantry::access {
namespace {

// A run's cells stay in the processor's cache, whatever the table looks like.
constexpr std::size_t kMostCells = 65'536;
constexpr PageNumber kFewestPages = 4;
constexpr PageNumber kMostPages = 8;

PageNumber PagesOfARun(std::size_t width) {
    return std::clamp(
        static_cast<PageNumber>(kMostCells / (kMaxRowsPerPage * width)), kFewestPages, kMostPages);
}

}  // namespace

RowsAhead::RowsAhead(PageSource& source,
                     RowScanner& scanner,
                     const TableDef& def,
                     const QuickRow& plan)
    : source_(&source),
      scanner_(&scanner),
      layout_(&source.GetLayout()),
      def_(&def),
      plan_(&plan),
      width_(plan.Width()),
      run_pages_(PagesOfARun(width_)) {
    for (auto& run : runs_) {
        run.room = std::make_unique<TextRoom>(QuickRow::RoomFor(run_pages_ * layout_->page_size));
    }
    worker_ = std::thread([this] { Work(); });
}

RowsAhead::~RowsAhead() {
    stop_ = true;
    ++planned_;  // no run, but something to wake up for
    planned_.notify_one();
    worker_.join();
}

// Planning walks the page map, which only the scan's own thread may do.
void RowsAhead::PlanMore() {
    while (!at_end_ && planned_ - used_ < kRuns) {
        try {
            at_end_ = !scanner_->PlanRun(runs_[planned_ % kRuns].pages, run_pages_);
        } catch (...) {
            failure_ = std::current_exception();
            at_end_ = true;
        }
        if (!at_end_) {
            ++planned_;
            planned_.notify_one();
        }
    }
}

DecodedRun* RowsAhead::Next() {
    used_ += in_use_ ? 1 : 0;
    in_use_ = false;
    if (planned_ - used_ <= kRuns / 2) {
        PlanMore();
    }
    if (used_ == planned_) {
        if (failure_) {
            // Another call tries once more: a file that was in use may be free by then.
            at_end_ = false;
            std::rethrow_exception(std::exchange(failure_, nullptr));
        }
        return nullptr;
    }
    auto& run = runs_[used_ % kRuns];
    const std::uint32_t done = used_ + 1;
    if (run.ready != done && Claim(used_)) {
        ReadAndDecode(run);
        run.ready = done;
    }
    for (auto ready = run.ready.load(); ready != done; ready = run.ready.load()) {
        run.ready.wait(ready);
    }
    in_use_ = true;
    return &run;
}

// Sleeps until a run is planned that nobody has taken.
void RowsAhead::Work() {
    for (;;) {
        const std::uint32_t next = claimed_;  // first, so that it isn't behind what is planned
        const std::uint32_t planned = planned_;
        if (stop_) {
            return;
        }
        if (next == planned) {
            planned_.wait(planned);
        } else if (Claim(next)) {
            auto& run = runs_[next % kRuns];
            ReadAndDecode(run);
            run.ready = next + 1;
            run.ready.notify_one();
        }
    }
}

void RowsAhead::ReadAndDecode(DecodedRun& run) noexcept {
    run.rows.clear();
    run.taken = 0;
    run.is_read = false;
    run.cut_position = run.cut_slot = 0;
    run.room->Clear();
    const auto& pages = run.pages;
    try {
        {
            const std::lock_guard lock(reading_);
            run.is_read =
                source_->TryRead(pages.first,
                                 {pages.bytes.get(), pages.PageCount() * layout_->page_size},
                                 run.stamp);
        }
        if (run.is_read) {
            Decode(run);
        }
    } catch (...) {
        // A number that leads outside the page, or no memory: the owner of the scan meets it again
        // at this place, and raises it there.
    }
    run.is_cut = run.cut_position < pages.owned.size();
}

void RowsAhead::Decode(DecodedRun& run) const {
    const auto& pages = run.pages;
    for (; run.cut_position < pages.owned.size(); ++run.cut_position) {
        const PageNumber number = pages.owned[run.cut_position];
        run.cut_slot = 0;
        const std::size_t at = (number - pages.first) * layout_->page_size;
        if (!DecodePage(run, {pages.bytes.get() + at, layout_->page_size}, number)) {
            return;
        }
    }
}

// The same checks as RowScanner's, but giving up instead of raising.
bool RowsAhead::DecodePage(DecodedRun& run, ByteSpan page, PageNumber number) const {
    if (page[kPageTypeOffset] != std::byte{static_cast<std::uint8_t>(PageType::Data)} ||
        LoadU32(page, kPageOwnerOffset) != def_->page) {
        return false;
    }
    const std::size_t slots = CountSlots(*layout_, page);
    if (slots > kMaxRowsPerPage) {
        return false;
    }
    const std::size_t slots_at = layout_->data.slots_offset;
    const std::size_t rows_begin = slots_at + slots * kSlotSize;
    const std::size_t room = (run.rows.size() + slots) * width_;
    if (run.cells.size() < room) {
        run.cells.resize(std::max(room, run.cells.size() * 2));
    }
    std::size_t end = page.size();
    for (std::size_t& slot = run.cut_slot; slot < slots; ++slot) {
        const std::uint16_t entry = LoadU16(page, slots_at + slot * kSlotSize);
        const std::size_t start = entry & kSlotOffsetMask;
        if ((entry & kSlotDeleted) == 0) {
            if ((entry & kSlotOverflow) != 0 || start > end || start < rows_begin ||
                end > page.size() ||
                !plan_->Decode(page.subspan(start, end - start),
                               run.cells.data() + run.rows.size() * width_,
                               *run.room)) {
                return false;
            }
            run.rows.push_back({number, static_cast<RowNumber>(slot)});
        }
        end = start;
    }
    return true;
}

}  // namespace vantry::access
