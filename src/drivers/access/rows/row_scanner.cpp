// Pages of a table are read in runs, as they mostly lie side by side; between them may be others,
// which are passed over. A slot says where its row begins, its neighbour where it ends. Easy to get
// wrong: deleted slots may hold any offset, the target of a moved row is marked deleted so that a
// scan doesn't find it twice, and the page map of real files lists pages that are another table's
// by now.

#include "drivers/access/rows/row_scanner.h"

#include "drivers/access/errors.h"

namespace vantry::access {
namespace {

// A page that the table's map lists but that is another table's by now is passed over: maps of real
// files keep such entries. What is no page at all was one of the table's.
bool IsOtherKind(std::byte type) {
    return type >= std::byte{static_cast<std::uint8_t>(PageType::Data)} && type <= std::byte{8};
}

constexpr PageNumber kWideGap = PageRun::kMaxPages / 8;

void MakeRoom(PageRun& run, std::size_t page_size) {
    if (!run.bytes) {
        run.bytes = std::make_unique_for_overwrite<std::byte[]>(PageRun::kMaxPages * page_size);
    }
}

}  // namespace

RowScanner::RowScanner(PageSource& source, const TableDef& def)
    : source_(&source),
      def_(&def),
      owned_(source, def.owned_map),
      finder_(source, def),
      page_limit_(source.PageCount()) {}

void RowScanner::ThrowBadSlots() const {
    throw DamagedPage(source_->Name(), page_number_, "its row list runs outside");
}

bool RowScanner::PlanRun(PageRun& run, PageNumber most_pages) {
    run.owned.clear();
    const auto first = owned_.Next(next_page_);
    // A page that others added meanwhile is in the file by now; one of a file that was cut isn't.
    if (first && *first >= page_limit_ && *first >= source_->PageCount()) {
        throw DamagedPage(source_->Name(), *first, "which holds rows, lies behind the file's end");
    }
    if (!first || *first >= page_limit_) {
        return false;
    }
    run.first = *first;
    run.owned.push_back(*first);
    for (auto next = owned_.Next(*first + 1);
         next && *next < page_limit_ && *next - *first < most_pages;
         next = owned_.Next(*next + 1)) {
        // Not over a wide gap: its pages would be read for nothing.
        if (*next - run.owned.back() > kWideGap) {
            break;
        }
        run.owned.push_back(*next);
    }
    MakeRoom(run, source_->PageSize());
    next_page_ = run.owned.back() + 1;
    return true;
}

void RowScanner::ReadRun(PageRun& run) {
    source_->Read(run.first, {run.bytes.get(), run.PageCount() * source_->PageSize()});
    run.version = source_->Version();
}

// The end of a row is the begin of the one before it, so the slot before is read, too.
void RowScanner::StandIn(PageRun& run, std::size_t position, std::size_t slot) {
    std::swap(run_, run);
    run_next_ = position;
    slots_ = next_slot_ = 0;
    if (slot == 0 || !NextPageInRun() || run_next_ != position + 1 || slot > slots_) {
        return;
    }
    next_slot_ = slot;
    row_end_ =
        LoadU16(page_, source_->GetLayout().data.slots_offset + (next_slot_ - 1) * kSlotSize) &
        kSlotOffsetMask;
}

// False for a page that is another table's by now.
bool RowScanner::EnterPage(ByteSpan page, PageNumber number) {
    page_number_ = number;
    if (page[kPageTypeOffset] != std::byte{static_cast<std::uint8_t>(PageType::Data)}) {
        if (!IsOtherKind(page[kPageTypeOffset])) {
            throw DamagedPage(source_->Name(), number, "it should hold rows and isn't a data page");
        }
        return false;
    }
    if (LoadU32(page, kPageOwnerOffset) != def_->page) {
        return false;
    }
    page_ = page;
    try {
        slots_ = CountSlots(source_->GetLayout(), page);
    } catch (const BoundsError&) {
        ThrowBadSlots();
    }
    if (slots_ > kMaxRowsPerPage + 1) {
        ThrowBadSlots();
    }
    next_slot_ = 0;
    row_end_ = page.size();
    return true;
}

bool RowScanner::NextPageInRun() {
    while (run_next_ < run_.owned.size()) {
        const PageNumber number = run_.owned[run_next_++];
        const std::size_t size = source_->PageSize();
        if (EnterPage({run_.bytes.get() + (number - run_.first) * size, size}, number)) {
            return true;
        }
    }
    slots_ = next_slot_ = 0;
    return false;
}

// A run that can't be read stays ahead: the next call meets the error again.
bool RowScanner::NextPage() {
    while (!NextPageInRun()) {
        run_next_ = 0;
        if (!PlanRun(run_, PageRun::kMaxPages)) {
            return false;
        }
        try {
            ReadRun(run_);
        } catch (...) {
            next_page_ = run_.first;
            LeaveRun();
            throw;
        }
        ++run_count_;
    }
    return true;
}

bool RowScanner::Next() {
    while (!NextInRun()) {
        if (!NextPage()) {
            return false;
        }
    }
    return true;
}

bool RowScanner::NextInRun() {
    for (;;) {
        if (next_slot_ == slots_) {
            if (!NextPageInRun()) {
                return false;
            }
            continue;
        }
        const auto& layout = source_->GetLayout().data;
        const std::uint16_t slot = LoadU16(page_, layout.slots_offset + next_slot_ * kSlotSize);
        const std::size_t start = slot & kSlotOffsetMask;
        const std::size_t end = row_end_;
        slot_ = static_cast<RowNumber>(next_slot_);
        if (start > end || end > page_.size() || start < layout.slots_offset + slots_ * kSlotSize) {
            // An engine that moves rows together may leave any offset in a deleted slot.
            if ((slot & kSlotDeleted) == 0) {
                ThrowBadSlots();
            }
        }
        ++next_slot_;
        row_end_ = start;
        if ((slot & kSlotDeleted) != 0) {
            continue;
        }
        row_ = page_.subspan(start, end - start);
        if ((slot & kSlotOverflow) != 0) {
            if (IsStale()) {
                if (!Refresh()) {
                    continue;
                }
            } else {
                row_ = finder_.Follow(row_, Pointer());
            }
        }
        return true;
    }
}

bool RowScanner::Refresh() {
    const auto row = finder_.Find(Pointer());
    if (!row) {
        return false;
    }
    row_ = *row;
    return true;
}

// The page in hand is used again when the row is on it and the file hasn't changed.
bool RowScanner::Seek(RowPointer row) {
    if (row.page >= source_->PageCount()) {
        return false;
    }
    const bool here = run_next_ > 0 && run_next_ <= run_.owned.size() && page_number_ == row.page &&
                      slots_ > 0 && !IsStale();
    if (!here) {
        MakeRoom(run_, source_->PageSize());
        run_.owned.clear();
        source_->Read(row.page, {run_.bytes.get(), source_->PageSize()});
        run_.version = source_->Version();
        run_.owned.push_back(row.page);
        run_.first = row.page;
        run_next_ = 1;
        next_page_ = row.page + 1;
        if (!EnterPage({run_.bytes.get(), source_->PageSize()}, row.page)) {
            slots_ = next_slot_ = 0;
            return false;
        }
    }
    if (row.row >= slots_) {
        return false;
    }
    const auto slot = WithPage(source_->Name(), row.page, "its row list runs outside", [&] {
        return FindRow(source_->GetLayout(), page_, row.row);
    });
    slot_ = row.row;
    next_slot_ = std::size_t{row.row} + 1;
    row_end_ = LoadU16(page_, source_->GetLayout().data.slots_offset + row.row * kSlotSize) &
               kSlotOffsetMask;
    if (slot.deleted) {
        return false;
    }
    row_ = slot.overflow ? finder_.Follow(slot.bytes, row) : slot.bytes;
    return true;
}

void RowScanner::LeaveRun() {
    run_.owned.clear();
    run_next_ = slots_ = next_slot_ = 0;
}

PageNumber RowScanner::Middle() {
    constexpr std::size_t kFewest = 4 * PageRun::kMaxPages;
    std::size_t pages = 0;
    for (auto next = owned_.Next(next_page_); next && *next < page_limit_;
         next = owned_.Next(*next + 1)) {
        ++pages;
    }
    if (pages < kFewest) {
        return 0;
    }
    PageNumber middle = next_page_;
    for (std::size_t k = 0; k <= pages / 2; ++k) {
        // What was there a moment ago may have been changed by others.
        middle = owned_.Next(k == 0 ? middle : middle + 1).value_or(page_limit_);
    }
    return middle < page_limit_ ? middle : 0;
}

void RowScanner::GoOnAt(PageNumber page) {
    LeaveRun();
    next_page_ = page;
}

// Slots alone, no rows: a moved row counts where its slot is.
std::int64_t RowScanner::CountRest() {
    std::int64_t count = 0;
    const std::size_t slots_at = source_->GetLayout().data.slots_offset;
    do {
        for (; next_slot_ < slots_; ++next_slot_) {
            const auto slot = LoadU16(page_, slots_at + next_slot_ * kSlotSize);
            count += (slot & kSlotDeleted) == 0 ? 1 : 0;
        }
    } while (NextPage());
    return count;
}

}  // namespace vantry::access
