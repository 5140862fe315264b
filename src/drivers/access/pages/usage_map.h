#pragma once
// Reading usage maps: bitmaps over page numbers, kept as a row of a data page (inline) or in pages
// of their own that the row lists (reference).

#include "drivers/access/pages/page_source.h"

#include <optional>
#include <vector>

namespace vantry::access {

class UsageMap {
public:
    // Reads the map's row at once; throws DataError naming its page.
    UsageMap(PageSource& source, RowPointer row);

    // The first page of the map from `from` on. Pages that the map doesn't cover aren't in it.
    // Follows changes of the file between two calls.
    std::optional<PageNumber> Next(PageNumber from);
    bool Contains(PageNumber page) { return Next(page) == page; }

    // The bitmap pages that a reference map occupies.
    std::vector<PageNumber> BitmapPages() const;
    RowPointer Row() const { return row_; }

private:
    void Load();
    // The first set bit from bit `from` of the bitmap on, as its number.
    static std::optional<std::size_t> NextBit(ByteSpan bitmap, std::size_t from);

    PageSource* source_;
    RowPointer row_;
    PageReader pages_;
    std::vector<std::byte> bytes_;  // of the row
    std::uint8_t kind_ = kInlineMap;
    std::uint64_t version_ = 0;
};

}  // namespace vantry::access
