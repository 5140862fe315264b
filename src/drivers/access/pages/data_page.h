#pragma once
// Rows in a data page: adding, resizing and marking. Slots keep their numbers for good; the bytes
// of rows are moved so that the room between slots and rows is always in one piece. Layout of
// Jet 4.

#include "drivers/access/format.h"
#include "drivers/access/pages/page_source.h"

#include <span>

namespace vantry::access {

inline void StoreU16(std::span<std::byte> bytes, std::size_t offset, std::size_t value) {
    const auto word = static_cast<std::uint16_t>(value);
    if (offset + sizeof word > bytes.size()) {
        throw BoundsError();
    }
    std::memcpy(bytes.data() + offset, &word, sizeof word);
}
inline void StoreU32(std::span<std::byte> bytes, std::size_t offset, std::size_t value) {
    const auto word = static_cast<std::uint32_t>(value);
    if (offset + sizeof word > bytes.size()) {
        throw BoundsError();
    }
    std::memcpy(bytes.data() + offset, &word, sizeof word);
}

// A page that holds rows, for changing. All throw BoundsError for a damaged page.
class DataPage {
public:
    explicit DataPage(std::span<std::byte> bytes) : bytes_(bytes) {}

    // Makes an empty page of `owner` out of zeros.
    void Initialize(std::uint32_t owner);

    std::size_t SlotCount() const { return LoadU16(bytes_, kCountOffset); }
    std::uint16_t Slot(std::size_t slot) const { return LoadU16(bytes_, SlotOffset(slot)); }
    // Bytes between the slots and the rows; a new row costs its length and a slot.
    std::size_t Room() const;
    bool HasRoomFor(std::size_t length) const {
        return SlotCount() < kMaxRowsPerPage && Room() >= length + kSlotSize;
    }
    // Adds a slot for `length` bytes, which the caller fills: HasRoomFor() said yes.
    RowNumber Append(std::size_t length, std::uint16_t flags = 0);
    std::span<std::byte> Row(std::size_t slot);
    // Gives a row another length, moving those behind it. Its bytes must be written anew; its flags
    // stay. Room() said that the difference fits.
    std::span<std::byte> Resize(std::size_t slot, std::size_t length);
    void SetFlags(std::size_t slot, std::uint16_t flags);
    // Takes the bytes of a row away and marks its slot. Both marks, as the engine sets them:
    // readers take a slot with the first alone for the target of an overflow.
    void Delete(std::size_t slot);
    bool AllDeleted() const;

private:
    static constexpr std::size_t kCountOffset = kJet4Layout.data.row_count_offset;
    static constexpr std::size_t kSlotsOffset = kJet4Layout.data.slots_offset;
    static constexpr std::size_t SlotOffset(std::size_t slot) {
        return kSlotsOffset + slot * kSlotSize;
    }
    std::size_t Start(std::size_t slot) const { return Slot(slot) & kSlotOffsetMask; }
    std::size_t End(std::size_t slot) const { return slot == 0 ? bytes_.size() : Start(slot - 1); }
    void StoreRoom();

    std::span<std::byte> bytes_;
};

}  // namespace vantry::access
