// A memo or OLE value is in the row itself, in one row of a shared page, or in a chain of pieces,
// which the two top bits of its length tell. Most are short, so that nothing is copied unless there
// is a chain. Easy to get wrong: a chain of a damaged file may lead back into itself or claim more
// than the file holds, and memory must not be taken on its word.

#include "drivers/access/rows/long_value.h"

#include "drivers/access/errors.h"

namespace vantry::access {
namespace {

// Buffers of huge values aren't kept for the small ones behind them.
constexpr std::size_t kKeptCapacity = std::size_t{4} << 20;

}  // namespace

ByteSpan LongValueReader::Row(RowPointer pointer) {
    auto& source = pages_.Source();
    const auto page = pages_.Page(pointer.page, PageType::Data);
    if (LoadU32(page, kPageOwnerOffset) != kLongValueOwner) {
        throw DamagedPage(source.Name(), pointer.page, "it isn't a page of long values");
    }
    const auto slot = WithPage(source.Name(), pointer.page, "a long value isn't there", [&] {
        return FindRow(source.GetLayout(), page, pointer.row);
    });
    if (slot.deleted) {
        throw DamagedPage(source.Name(), pointer.page, "a long value was deleted");
    }
    return slot.bytes;
}

ByteSpan LongValueReader::Read(ByteSpan stored, std::size_t limit) {
    const auto head = LoadU32(stored, 0);
    const std::size_t length = head & kLongValueLengthMask;
    const std::size_t wanted = std::min(length, limit);
    const auto kind = head & kLongValueKindMask;
    if ((head & kLongValueInline) != 0) {
        return Slice(stored, kLongValueHeaderSize, wanted);
    }
    if (length == 0) {
        return {};
    }
    const auto pointer = UnpackRowPointer(LoadU32(stored, kLongValuePointerOffset));
    if (kind == kLongValueSingle) {
        return WithPage(pages_.Source().Name(), pointer.page, "a long value is cut", [&] {
            return Slice(Row(pointer), 0, wanted);
        });
    }
    return ReadChain(pointer, length, wanted);
}

ByteSpan LongValueReader::ReadChain(RowPointer first, std::size_t length, std::size_t limit) {
    auto& source = pages_.Source();
    const std::uint64_t page_count = source.PageCount();
    if (length > page_count * source.PageSize()) {
        throw DamagedPage(source.Name(), first.page, "a long value is longer than the file");
    }
    if (pieces_.capacity() > kKeptCapacity) {
        pieces_ = {};
    }
    pieces_.clear();
    auto pointer = first;
    // Pieces give what they have: other programs cut values at other places.
    for (std::uint64_t steps = 0; pieces_.size() < limit; ++steps) {
        if (pointer.page == 0 || steps > page_count) {
            throw DamagedPage(
                source.Name(),
                first.page,
                pointer.page == 0 ? "a long value ends too early" : "a long value has no end");
        }
        const auto row = Row(pointer);
        const auto next = WithPage(source.Name(), pointer.page, "a long value's link is cut", [&] {
            return UnpackRowPointer(LoadU32(row, 0));
        });
        const auto piece = row.subspan(kLongValueLinkSize);
        const auto taken = piece.first(std::min(piece.size(), limit - pieces_.size()));
        pieces_.insert(pieces_.end(), taken.begin(), taken.end());
        pointer = next;
    }
    return pieces_;
}

}  // namespace vantry::access
