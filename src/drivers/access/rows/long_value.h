#pragma once
// Reading long values (Memo, OLE): data in the row, in one row of a long value page, or in a chain
// of such rows.

#include "drivers/access/pages/page_source.h"

#include <string>
#include <vector>

namespace vantry::access {

class LongValueReader {
public:
    explicit LongValueReader(PageSource& source) : pages_(source) {}

    // `stored` is the field: header and, when inline, data. The result is a view of `stored` or of
    // this reader, valid until its next call. Throws BoundsError for a cut field and DataError for
    // pages that don't hold what the header says.
    ByteSpan Read(ByteSpan stored) { return Read(stored, kLongValueLengthMask); }
    // At most the first `limit` bytes: for keys.
    ByteSpan Read(ByteSpan stored, std::size_t limit);

    // Calls visit(RowPointer) for each row of long value pages that the value occupies: for
    // freeing or counting them.
    template <typename Visit>
    void ForEachRow(ByteSpan stored, Visit&& visit);

private:
    ByteSpan Row(RowPointer pointer);
    ByteSpan ReadChain(RowPointer first, std::size_t length, std::size_t limit);

    PageReader pages_;
    std::vector<std::byte> pieces_;
};

template <typename Visit>
void LongValueReader::ForEachRow(ByteSpan stored, Visit&& visit) {
    const auto head = LoadU32(stored, 0);
    const auto kind = head & kLongValueKindMask;
    auto pointer = UnpackRowPointer(LoadU32(stored, kLongValuePointerOffset));
    if (kind == kLongValueInline) {
        return;
    }
    if (kind == kLongValueSingle) {
        Row(pointer);
        visit(pointer);
        return;
    }
    std::size_t left = head & kLongValueLengthMask;
    for (PageNumber steps = pages_.Source().PageCount(); left > 0 && steps > 0; --steps) {
        const auto row = Row(pointer);
        const auto next = UnpackRowPointer(LoadU32(row, 0));
        const std::size_t piece = row.size() - kLongValueLinkSize;
        visit(pointer);
        if (piece >= left) {
            return;
        }
        left -= piece;
        pointer = next;
    }
}

}  // namespace vantry::access
