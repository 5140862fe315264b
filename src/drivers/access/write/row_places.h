#pragma once
// Where the rows of one table lie: finding room for new bytes, following moved rows, writing other
// bytes for a row under its old row pointer, and giving emptied pages back. It knows nothing of
// what the bytes mean.

#include "drivers/access/catalogue/table_def.h"
#include "drivers/access/pages/data_page.h"
#include "drivers/access/pages/page_store.h"
#include "drivers/access/pages/usage_map_writer.h"

#include <span>
#include <vector>

namespace vantry::access {

// Inside a transaction of the store. All throw DataError for damaged pages.
class RowPlaces {
public:
    // `store` and `def` must outlive it. `keep_images`: each row's changes are announced to the
    // store, so that a single one can be taken back.
    RowPlaces(PageStore& store, const TableDef& def, bool keep_images);

    // A new slot with these bytes, on a page that has room.
    RowPointer Place(std::span<const std::byte> bytes, std::uint16_t flags = 0);

    struct Found {
        RowPointer target;  // where the bytes are: elsewhere than the slot if the row was moved
        std::vector<std::byte> bytes;
    };
    // Throws DataError when the row is gone.
    Found Resolve(RowPointer row);
    // Puts other bytes where `row` is found; they are at `target` so far.
    void Rewrite(RowPointer row, RowPointer target, std::span<const std::byte> bytes);
    // Takes a row away, with its slot elsewhere if it has one.
    void Delete(RowPointer row, RowPointer target);
    // Frees all pages.
    void Clear();

    // At a transaction's start: the page in hand is only a hint, as another may have filled it.
    void BeginTransaction();
    // Before a commit: the map of pages with room is brought up to date for the page in hand.
    void FinishTransaction();
    // After a change that failed in the middle: nothing that was remembered of pages is good.
    void Forget();

private:
    DataPage OwnPage(PageNumber page);
    bool IsOwnDataPage(ByteSpan bytes) const;
    bool TryPage(PageNumber page, std::size_t length);
    void FindRoom(std::size_t length);
    void TakeNewPage();
    void LeavePage();
    void List(PageNumber page);
    bool RewriteInPlace(RowPointer row, std::span<const std::byte> bytes, std::uint16_t flags);
    void DeleteSlot(RowPointer row);

    PageStore* store_;
    const TableDef* def_;
    UsageMapWriter owned_;
    UsageMapWriter free_;
    bool keep_images_;

    PageNumber current_ = 0;  // the page that got the last row; 0: none
    std::span<std::byte> current_view_;
    std::uint64_t view_number_ = 0;       // of the store, when the view was taken
    bool current_listed_ = false;         // in the map of pages with room
    PageNumber hint_ = 0;                 // the current page of an earlier transaction
    std::vector<PageNumber> candidates_;  // pages that are said to have room
    bool searched_ = false;               // candidates_ has been filled from the map
};

}  // namespace vantry::access
