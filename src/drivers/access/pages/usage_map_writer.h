#pragma once
// Changing usage maps, inside a transaction. An inline map that gets too small becomes a reference
// map in the same row.

#include "drivers/access/pages/page_store.h"

#include <optional>

namespace vantry::access {

class UsageMapWriter {
public:
    enum class Kind : std::uint8_t {
        Pages,      // of an object: pages that the map doesn't cover aren't in it
        FreePages,  // of the file: pages behind what the map covers are free
    };
    UsageMapWriter(PageStore& store, RowPointer row, Kind kind = Kind::Pages)
        : store_(&store), row_(row), kind_(kind) {}

    void Add(PageNumber page);
    void Remove(PageNumber page);
    bool Contains(PageNumber page) { return Next(page, page + 1).has_value(); }
    // Whether the map has a place for the page, be it in it or not.
    bool Covers(PageNumber page);
    // The first page of the map from `from` on and before `limit`.
    std::optional<PageNumber> Next(PageNumber from, PageNumber limit);
    // The bitmap pages of a reference map.
    std::vector<PageNumber> BitmapPages();
    // Frees the bitmap pages; the map is then an empty inline one.
    void Clear();

private:
    ByteSpan LookRow();
    std::span<std::byte> ChangeRow();
    void Set(PageNumber page, bool value);
    bool MoveWindow(PageNumber page);
    void MakeReference();
    PageNumber BitmapFor(PageNumber page);
    PageNumber NewBitmap(std::size_t entry);
    [[noreturn]] void ThrowFull(PageNumber page);

    PageStore* store_;
    RowPointer row_;
    Kind kind_;
};

}  // namespace vantry::access
