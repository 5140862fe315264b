// Rows are appended to one page until it is full; then pages with room are taken from the table's
// map, and when none of a few will do, a new one. That keeps a load on one page in memory, whose
// view is reused from row to row. A row that grows beyond its page moves, and its slot becomes a
// pointer: indexes hold the slot's number, so it must stay. Easy to get wrong: the target of a
// moved row is marked deleted, or scans would read the row twice; and the page in hand is not in
// the map of pages with room until it is left.

#include "drivers/access/write/row_places.h"

#include "drivers/access/errors.h"
#include "drivers/access/rows/row.h"
#include "drivers/access/rows/row_scanner.h"

#include <array>
#include <cstring>
#include <utility>

namespace vantry::access {
namespace {

constexpr std::string_view kDamage = "its list of rows runs outside";
// A page with less room is taken out of the map of pages with room.
constexpr std::size_t kLeastRoom = 64;
// Pages that said to have room and haven't enough: so many are tried before a new one is taken.
constexpr int kPagesToTry = 8;

}  // namespace

RowPlaces::RowPlaces(PageStore& store, const TableDef& def, bool keep_images)
    : store_(&store),
      def_(&def),
      owned_(store, def.owned_map),
      free_(store, def.free_map),
      keep_images_(keep_images) {}

void RowPlaces::BeginTransaction() {
    hint_ = current_ != 0 ? current_ : hint_;
    Forget();
}

void RowPlaces::FinishTransaction() {
    if (current_ != 0 && !current_listed_) {
        current_listed_ = true;
        List(current_);
    }
}

void RowPlaces::Forget() {
    current_ = 0;
    current_view_ = {};
    candidates_.clear();
    searched_ = false;
}

void RowPlaces::Clear() {
    const PageNumber limit = store_->PageCount();
    for (auto page = owned_.Next(0, limit); page; page = owned_.Next(*page + 1, limit)) {
        store_->Free(*page);
    }
    owned_.Clear();
    free_.Clear();
    Forget();
    hint_ = 0;
}

// ---- Finding room -----------------------------------------------------------------------------

bool RowPlaces::IsOwnDataPage(ByteSpan bytes) const {
    return bytes[kPageTypeOffset] == std::byte{static_cast<std::uint8_t>(PageType::Data)} &&
           LoadU32(bytes, kPageOwnerOffset) == def_->page;
}

DataPage RowPlaces::OwnPage(PageNumber page) {
    if (!IsOwnDataPage(store_->Look(page))) {
        throw DamagedPage(
            store_->Name(), page, "it isn't a data page of table '" + def_->name + "'");
    }
    return DataPage(store_->Change(page));
}

// Brings the map of pages with room up to date for one page.
void RowPlaces::List(PageNumber page) {
    DataPage data = OwnPage(page);
    const bool useful = data.Room() >= kLeastRoom && data.SlotCount() < kMaxRowsPerPage;
    if (useful != free_.Contains(page)) {
        useful ? free_.Add(page) : free_.Remove(page);
    }
    if (useful && page != current_ && searched_) {
        candidates_.push_back(page);
    }
}

void RowPlaces::LeavePage() {
    if (current_ == 0) {
        return;
    }
    const PageNumber page = current_;
    // A full page that was never listed needs no entry, and so no look at the map.
    if (current_listed_ || DataPage(store_->Change(page)).Room() >= kLeastRoom) {
        List(page);
    }
    store_->Finish(page);
    current_ = 0;
}

// Makes the page the current one if it is the table's and has room.
bool RowPlaces::TryPage(PageNumber page, std::size_t length) {
    // Maps of files made elsewhere may list pages that were freed since.
    if (!IsOwnDataPage(store_->Look(page)) || !owned_.Contains(page)) {
        return false;
    }
    const auto view = store_->Change(page);
    if (!DataPage(view).HasRoomFor(length)) {
        List(page);
        return false;
    }
    current_ = page;
    current_listed_ = true;
    current_view_ = view;
    view_number_ = store_->ViewNumber();
    return true;
}

// Makes a page with room the current one.
void RowPlaces::FindRoom(std::size_t length) {
    LeavePage();
    const PageNumber hint = std::exchange(hint_, 0);
    if (hint != 0 && hint < store_->PageCount() && TryPage(hint, length)) {
        return;
    }
    if (!searched_) {
        searched_ = true;
        const PageNumber limit = store_->PageCount();
        for (auto page = free_.Next(0, limit); page; page = free_.Next(*page + 1, limit)) {
            candidates_.push_back(*page);
        }
    }
    for (int tries = 0; tries < kPagesToTry && !candidates_.empty(); ++tries) {
        const PageNumber page = candidates_.back();
        candidates_.pop_back();
        if (TryPage(page, length)) {
            return;
        }
    }
    TakeNewPage();
}

void RowPlaces::TakeNewPage() {
    const PageNumber page = store_->Allocate();
    owned_.Add(page);
    current_ = page;
    current_listed_ = false;
    current_view_ = store_->Change(page);
    view_number_ = store_->ViewNumber();
    DataPage(current_view_).Initialize(def_->page);
}

RowPointer RowPlaces::Place(std::span<const std::byte> bytes, std::uint16_t flags) {
    return WithPage(store_->Name(), current_, kDamage, [&] {
        // The store may have moved its memory, or wants to keep the page as it was before this row.
        if (current_ != 0 && (view_number_ != store_->ViewNumber() || keep_images_)) {
            current_view_ = store_->Change(current_);
            view_number_ = store_->ViewNumber();
        }
        if (current_ == 0 || !DataPage(current_view_).HasRoomFor(bytes.size())) {
            FindRoom(bytes.size());
        }
        DataPage page(current_view_);
        const RowNumber row = page.Append(bytes.size(), flags);
        std::memcpy(page.Row(row).data(), bytes.data(), bytes.size());
        return RowPointer{current_, row};
    });
}

// ---- Rows that are there ----------------------------------------------------------------------

RowPlaces::Found RowPlaces::Resolve(RowPointer row) {
    const auto gone = [&] {
        return DataError(kErrUnspecified,
                         "The row of table '" + def_->name +
                             "' was deleted by another user or statement. Read the table again.");
    };
    return WithPage(store_->Name(), row.page, kDamage, [&] {
        OwnPage(row.page);
        const ByteSpan page = store_->Look(row.page);
        if (row.row >= CountSlots(store_->GetLayout(), page)) {
            throw gone();
        }
        RowSlot slot = FindRow(store_->GetLayout(), page, row.row);
        if (slot.deleted) {
            throw gone();
        }
        RowPointer target = row;
        for (int hops = 0; slot.overflow; ++hops) {
            if (hops == kMaxOverflowHops) {
                throw DamagedPage(store_->Name(), row.page, "a moved row has no end");
            }
            target = UnpackRowPointer(LoadU32(slot.bytes, 0));
            slot = FindRow(store_->GetLayout(), store_->Look(target.page), target.row);
        }
        return Found{target, std::vector<std::byte>(slot.bytes.begin(), slot.bytes.end())};
    });
}

// False, with nothing changed, if the slot's page has no room for them.
bool RowPlaces::RewriteInPlace(RowPointer row,
                               std::span<const std::byte> bytes,
                               std::uint16_t flags) {
    DataPage page = OwnPage(row.page);
    const std::size_t length = page.Row(row.row).size();
    if (bytes.size() > length && bytes.size() - length > page.Room()) {
        return false;
    }
    const auto place = page.Resize(row.row, bytes.size());
    std::memcpy(place.data(), bytes.data(), bytes.size());
    page.SetFlags(row.row, flags);
    if (row.page != current_) {
        List(row.page);
    }
    return true;
}

void RowPlaces::Rewrite(RowPointer row, RowPointer target, std::span<const std::byte> bytes) {
    WithPage(store_->Name(), row.page, kDamage, [&] {
        const bool moved = !(target == row);
        if (moved && RewriteInPlace(target, bytes, kSlotDeleted)) {
            return;
        }
        // Back to its own place if there is room now.
        if (RewriteInPlace(row, bytes, 0)) {
            if (moved) {
                DeleteSlot(target);
            }
            return;
        }
        // The pointer always goes from the row's own slot to its bytes, so that chains stay short.
        const RowPointer fresh = Place(bytes, kSlotDeleted);
        std::array<std::byte, 4> pointer{};
        StoreU32(pointer, 0, PackRowPointer(fresh));
        if (!RewriteInPlace(row, pointer, kSlotOverflow)) {
            throw BoundsError();
        }
        if (moved) {
            DeleteSlot(target);
        }
    });
}

void RowPlaces::Delete(RowPointer row, RowPointer target) {
    if (!(target == row)) {
        DeleteSlot(target);
    }
    DeleteSlot(row);
}

// Marks the slot; a page whose slots are all marked is given back.
void RowPlaces::DeleteSlot(RowPointer row) {
    WithPage(store_->Name(), row.page, kDamage, [&] {
        DataPage page = OwnPage(row.page);
        page.Delete(row.row);
        if (!page.AllDeleted()) {
            if (row.page != current_) {
                List(row.page);
            }
            return;
        }
        owned_.Remove(row.page);
        free_.Remove(row.page);
        store_->Free(row.page);
        std::erase(candidates_, row.page);
        current_ = current_ == row.page ? 0 : current_;
        hint_ = hint_ == row.page ? 0 : hint_;
    });
}

}  // namespace vantry::access
