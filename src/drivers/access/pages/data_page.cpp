// A page of rows that is written to. Rows fill it from its end, their slots from its beginning; a
// row reaches from its slot's offset to that of the slot before it, so that a change of one row's
// length moves all rows behind it. Easy to get wrong: slots are never given back, because their
// numbers stand in indexes and pointers, and a deleted row keeps its slot with no bytes.

#include "drivers/access/pages/data_page.h"

#include <cstring>

namespace vantry::access {

void DataPage::Initialize(std::uint32_t owner) {
    bytes_[kPageTypeOffset] = std::byte{static_cast<std::uint8_t>(PageType::Data)};
    bytes_[kPageMarkOffset] = std::byte{kPageMark};
    StoreU32(bytes_, kPageOwnerOffset, owner);
    StoreU16(bytes_, kCountOffset, 0);
    StoreRoom();
}

std::size_t DataPage::Room() const {
    const std::size_t count = SlotCount();
    const std::size_t rows_start = count == 0 ? bytes_.size() : Start(count - 1);
    const std::size_t slots_end = SlotOffset(count);
    // A damaged page: nothing is written by its own word.
    if (rows_start < slots_end || rows_start > bytes_.size()) {
        throw BoundsError();
    }
    return rows_start - slots_end;
}

void DataPage::StoreRoom() {
    StoreU16(bytes_, kPageFreeOffset, Room());
}

RowNumber DataPage::Append(std::size_t length, std::uint16_t flags) {
    const std::size_t slot = SlotCount();
    const std::size_t start = End(slot) - length;
    StoreU16(bytes_, SlotOffset(slot), start | flags);
    StoreU16(bytes_, kCountOffset, slot + 1);
    StoreRoom();
    return static_cast<RowNumber>(slot);
}

std::span<std::byte> DataPage::Row(std::size_t slot) {
    const std::size_t start = Start(slot);
    const std::size_t end = End(slot);
    if (slot >= SlotCount() || start > end || end > bytes_.size() ||
        start < SlotOffset(SlotCount())) {
        throw BoundsError();
    }
    return bytes_.subspan(start, end - start);
}

std::span<std::byte> DataPage::Resize(std::size_t slot, std::size_t length) {
    const auto row = Row(slot);
    const std::size_t room = Room();
    if (length > row.size() && length - row.size() > room) {
        throw BoundsError();
    }
    // Everything from the last row up to this one moves by the difference, towards the page's end
    // when the row shrinks.
    const std::size_t count = SlotCount();
    const std::size_t lowest = Start(count - 1);
    const std::size_t start = Start(slot);
    const std::size_t fresh_start = End(slot) - length;
    for (std::size_t each = slot; each < count; ++each) {
        const std::uint16_t value = Slot(each);
        const std::size_t moved = (value & kSlotOffsetMask) + fresh_start - start;
        if ((value & kSlotOffsetMask) > start || moved < SlotOffset(count)) {
            throw BoundsError();
        }
        StoreU16(bytes_, SlotOffset(each), moved | (value & ~kSlotOffsetMask));
    }
    std::memmove(
        bytes_.data() + lowest + fresh_start - start, bytes_.data() + lowest, start - lowest);
    StoreRoom();
    return Row(slot);
}

void DataPage::SetFlags(std::size_t slot, std::uint16_t flags) {
    StoreU16(bytes_, SlotOffset(slot), (Slot(slot) & kSlotOffsetMask) | flags);
}

void DataPage::Delete(std::size_t slot) {
    Resize(slot, 0);
    // Both flags mean "gone"; one alone is a row that was moved, or the place it was moved to.
    SetFlags(slot, kSlotDeleted | kSlotOverflow);
}

bool DataPage::AllDeleted() const {
    constexpr std::uint16_t kGone = kSlotDeleted | kSlotOverflow;
    const std::size_t count = SlotCount();
    for (std::size_t slot = 0; slot < count; ++slot) {
        if ((Slot(slot) & kGone) != kGone) {
            return false;
        }
    }
    return true;
}

}  // namespace vantry::access
