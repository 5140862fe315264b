// Values up to a page's size share pages, one row each; longer ones are a chain of rows with a page
// each, so that giving them up frees whole pages. Each column has two maps: its pages, and those of
// them with room. Easy to get wrong: a page is freed only when the last of its rows is deleted, and
// a page that fills up must leave the second map or it is tried again for each value.

#include "drivers/access/rows/long_value_writer.h"

#include "drivers/access/errors.h"
#include "drivers/access/write_errors.h"

#include <algorithm>
#include <cstring>

namespace vantry::access {
namespace {

constexpr std::string_view kDamage = "its list of rows runs outside";
// A page with less room is taken out of the map of pages with room.
constexpr std::size_t kLeastRoom = 128;
// Looking through all pages with some room would make each value of a large table slower than the
// last.
constexpr int kPagesToTry = 4;

bool IsLongValuePage(ByteSpan page) {
    return page[kPageTypeOffset] == std::byte{static_cast<std::uint8_t>(PageType::Data)} &&
           LoadU32(page, kPageOwnerOffset) == kLongValueOwner;
}

}  // namespace

LongValueWriter::LongValueWriter(PageStore& store, const TableDef& def)
    : store_(&store), def_(&def), needed_(def.columns.size()), current_(def.columns.size()) {}

// Of the column, but not among those with room.
PageNumber LongValueWriter::NewPage(const ColumnDef& column) {
    const PageNumber page = store_->Allocate();
    DataPage(store_->Change(page)).Initialize(kLongValueOwner);
    UsageMapWriter(*store_, column.owned_map).Add(page);
    return page;
}

PageNumber LongValueWriter::FindRoom(const ColumnDef& column, std::size_t length) {
    UsageMapWriter free_map(*store_, column.free_map);
    const PageNumber limit = store_->PageCount();
    PageNumber from = 0;
    for (int tries = 0; tries < kPagesToTry; ++tries) {
        const auto page = free_map.Next(from, limit);
        if (!page) {
            break;
        }
        from = *page + 1;
        if (!IsLongValuePage(store_->Look(*page))) {
            throw DamagedPage(
                store_->Name(), *page, "a long value column lists it, but it has none");
        }
        DataPage data(store_->Change(*page));
        if (data.HasRoomFor(length)) {
            return *page;
        }
        if (data.Room() < kLeastRoom || data.SlotCount() >= kMaxRowsPerPage) {
            free_map.Remove(*page);
        }
    }
    return 0;
}

// A value that fits one row goes where the last one went, as long as there is room.
RowPointer LongValueWriter::WriteRow(const ColumnDef& column, ByteSpan data) {
    PageNumber& current = current_[static_cast<std::size_t>(&column - def_->columns.data())];
    if (current == 0 || !DataPage(store_->Change(current)).HasRoomFor(data.size())) {
        current = FindRoom(column, data.size());
    }
    if (current == 0) {
        current = NewPage(column);
        UsageMapWriter(*store_, column.free_map).Add(current);
    }
    DataPage page(store_->Change(current));
    const RowNumber row = page.Append(data.size());
    std::memcpy(page.Row(row).data(), data.data(), data.size());
    const RowPointer pointer{current, row};
    if (page.Room() < kLeastRoom || page.SlotCount() >= kMaxRowsPerPage) {
        UsageMapWriter(*store_, column.free_map).Remove(current);
        store_->Finish(current);
        current = 0;
    }
    return pointer;
}

// Fills the header of the field; `data` is more than stays in the row.
void LongValueWriter::Write(std::size_t column, ByteSpan data, std::span<std::byte> header) {
    const ColumnDef& def = def_->columns[column];
    if (!def.has_maps) {
        throw CannotChangeTable(def_->name,
                                "its column '" + def.name + "' has no list of its long values");
    }
    const Layout& layout = store_->GetLayout();
    if (data.size() <= layout.max_single_long_value) {
        const RowPointer row =
            WithPage(store_->Name(), def_->page, kDamage, [&] { return WriteRow(def, data); });
        StoreU32(header, 0, data.size() | kLongValueSingle);
        StoreU32(header, kLongValuePointerOffset, PackRowPointer(row));
        return;
    }
    StoreU32(header, 0, data.size() | kLongValueChain);
    PageNumber page = NewPage(def);
    StoreU32(header, kLongValuePointerOffset, PackRowPointer({page, 0}));
    // The page of the next piece is taken before this one is written, which names it. Between
    // pieces pages may go to the file, as a value may be larger than memory should be.
    while (!data.empty()) {
        const std::size_t piece = std::min(data.size(), layout.max_long_value_piece);
        const bool last = piece == data.size();
        const PageNumber next = last ? 0 : NewPage(def);
        DataPage target(store_->Change(page));
        const RowNumber row = target.Append(kLongValueLinkSize + piece);
        const auto bytes = target.Row(row);
        StoreU32(bytes, 0, PackRowPointer({next, 0}));
        std::memcpy(bytes.data() + kLongValueLinkSize, data.data(), piece);
        if (last && target.Room() >= kLeastRoom) {
            UsageMapWriter(*store_, def.free_map).Add(page);
        } else {
            store_->Finish(page);
        }
        store_->SafePoint();
        data = data.subspan(piece);
        page = next;
    }
}

// Marks it; a page whose rows are all marked is given back.
void LongValueWriter::DeleteRow(const ColumnDef& column, RowPointer row) {
    WithPage(store_->Name(), row.page, kDamage, [&] {
        if (!IsLongValuePage(store_->Look(row.page))) {
            throw DamagedPage(
                store_->Name(), row.page, "a long value refers to it, but it has none");
        }
        DataPage page(store_->Change(row.page));
        page.Delete(row.row);
        PageNumber& current = current_[static_cast<std::size_t>(&column - def_->columns.data())];
        if (page.AllDeleted()) {
            TakeOffLists(column, row.page);
            store_->Free(row.page);
            current = current == row.page ? 0 : current;
        } else if (page.Room() >= kLeastRoom && page.SlotCount() < kMaxRowsPerPage &&
                   Lists(column, row.page)) {
            UsageMapWriter(*store_, column.free_map).Add(row.page);
        }
    });
}

bool LongValueWriter::Lists(const ColumnDef& column, PageNumber page) {
    return column.has_maps && UsageMapWriter(*store_, column.owned_map).Contains(page);
}

// Pages of files made elsewhere may be listed by another column of the table, or by none.
void LongValueWriter::TakeOffLists(const ColumnDef& column, PageNumber page) {
    const bool own = Lists(column, page);
    for (const ColumnDef& each : def_->columns) {
        if (each.has_maps && (!own || &each == &column)) {
            UsageMapWriter(*store_, each.owned_map).Remove(page);
            UsageMapWriter(*store_, each.free_map).Remove(page);
        }
    }
}

void LongValueWriter::Release(std::size_t column, ByteSpan stored) {
    const ColumnDef& def = def_->columns[column];
    std::vector<RowPointer> rows;
    LongValueReader(*store_).ForEachRow(stored, [&](RowPointer row) { rows.push_back(row); });
    for (const RowPointer row : rows) {
        DeleteRow(def, row);
        store_->SafePoint();
    }
}

void LongValueWriter::ReleaseUnlisted(std::size_t column, ByteSpan stored) {
    const ColumnDef& def = def_->columns[column];
    std::vector<RowPointer> rows;
    LongValueReader(*store_).ForEachRow(stored, [&](RowPointer row) {
        if (!Lists(def, row.page)) {
            rows.push_back(row);
        }
    });
    for (const RowPointer row : rows) {
        DeleteRow(def, row);
        store_->SafePoint();
    }
}

// Counted while all rows of a table are gone through once: whether the column's map lists as many
// pages as its values need. Where it doesn't, the table can't be emptied by its maps.
void LongValueWriter::Count(std::size_t column, ByteSpan stored) {
    const std::uint32_t head = LoadU32(stored, 0);
    const std::uint32_t kind = head & kLongValueKindMask;
    if ((head & kLongValueInline) != 0) {
        return;
    }
    const PageNumber page = UnpackRowPointer(LoadU32(stored, kLongValuePointerOffset)).page;
    Needed& needed = needed_[column];
    if (!Lists(def_->columns[column], page)) {
        needed.is_listed = false;
    } else if (kind == kLongValueSingle) {
        needed.shared_pages.insert(page);
    } else {
        const std::size_t length = head & kLongValueLengthMask;
        const std::size_t piece = store_->GetLayout().max_long_value_piece;
        needed.chain_pages += (length + piece - 1) / piece;
    }
}

bool LongValueWriter::ListsAll(std::size_t column) {
    const Needed needed = std::move(needed_[column]);
    needed_[column] = {};
    const ColumnDef& def = def_->columns[column];
    if (!needed.is_listed || !def.has_maps) {
        return needed.is_listed;
    }
    UsageMapWriter owned(*store_, def.owned_map);
    const PageNumber limit = store_->PageCount();
    std::size_t listed = 0;
    for (auto page = owned.Next(0, limit); page; page = owned.Next(*page + 1, limit)) {
        ++listed;
    }
    return listed >= needed.shared_pages.size() + needed.chain_pages;
}

// All pages at once; no value is looked at.
void LongValueWriter::Clear(std::size_t column) {
    const ColumnDef& def = def_->columns[column];
    current_[column] = 0;
    if (!def.has_maps) {
        return;
    }
    UsageMapWriter owned(*store_, def.owned_map);
    const PageNumber limit = store_->PageCount();
    for (auto page = owned.Next(0, limit); page; page = owned.Next(*page + 1, limit)) {
        store_->Free(*page);
    }
    owned.Clear();
    UsageMapWriter(*store_, def.free_map).Clear();
}

}  // namespace vantry::access
