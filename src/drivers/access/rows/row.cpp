// Where a field lies in the bytes of a row, and where a row lies that has been moved. A row is read
// from both ends: fixed fields from the front, the mask of nulls and the offsets of the variable
// fields from the back. Easy to get wrong: rows keep the shape of the day on which they were
// written, so that they have fewer columns than the table after one was added; and Jet 3 keeps
// offsets in single bytes, with further ones that say from which field on 256 are to be added.

#include "drivers/access/rows/row.h"

#include "drivers/access/errors.h"

namespace vantry::access {

RowView::RowView(const TableDef& def, const Layout& layout, ByteSpan row)
    : row_(row), jet3_(layout.jet3) {
    columns_ = jet3_ ? LoadU8(row, 0) : LoadU16(row, 0);
    const std::size_t mask_size = (columns_ + 7) / 8;
    if (mask_size + (jet3_ ? 1 : 2) > row.size()) {
        throw BoundsError();
    }
    mask_ = row.size() - mask_size;
    if (def.variable_count == 0) {
        variable_valid_ = true;
        return;
    }
    if (jet3_) {
        FindVariablesJet3();
        return;
    }
    // A row from before the table had variable columns lacks this part: that is an error only for
    // who asks for one of them.
    if (mask_ >= 4) {
        const std::size_t count = LoadU16(row, mask_ - 2);
        if (4 + 2 * count <= mask_) {
            variable_count_ = count;
            variable_end_ = mask_ - 4 - 2 * count;
            variable_valid_ = true;
        }
    }
}

void RowView::FindVariablesJet3() {
    const std::size_t jumps = (row_.size() - 1) / 256;
    if (mask_ < 1) {
        return;
    }
    const std::size_t count = LoadU8(row_, mask_ - 1);
    // Offsets 0 .. count (the last is the end of the data) stand before the jump bytes.
    if (jumps + count + 2 <= mask_) {
        variable_count_ = count;
        variable_end_ = mask_ - 2 - jumps - count;
        variable_valid_ = true;
    }
}

std::optional<ByteSpan> RowView::VariableFieldJet3(std::size_t index) const {
    if (!variable_valid_) {
        throw BoundsError();
    }
    // The row is older than the column.
    if (index >= variable_count_) {
        return std::nullopt;
    }
    std::size_t jumps = (row_.size() - 1) / 256;
    const std::size_t first_jump = mask_ - 2;             // jump j at first_jump - j
    const std::size_t first_offset = first_jump - jumps;  // offset i at first_offset - i
    if (jumps > 0 && (first_offset - variable_count_) / 256 < jumps) {
        --jumps;  // the last one is a filler
    }
    const auto offset_of = [&](std::size_t entry) {
        std::size_t jumped = 0;
        while (jumped < jumps && LoadU8(row_, first_jump - jumped) <= entry) {
            ++jumped;
        }
        return LoadU8(row_, first_offset - entry) + jumped * 256;
    };
    const std::size_t start = offset_of(index);
    const std::size_t end = offset_of(index + 1);
    if (start > end || end > variable_end_) {
        throw BoundsError();
    }
    return row_.subspan(start, end - start);
}

std::optional<ByteSpan> RowFinder::Find(RowPointer row) {
    auto& source = pages_.Source();
    const auto page = pages_.Page(row.page, PageType::Data);
    if (LoadU32(page, kPageOwnerOffset) != def_->page) {
        return std::nullopt;
    }
    const auto slot = WithPage(
        source.Name(), row.page, "its row list runs outside", [&]() -> std::optional<RowSlot> {
            if (row.row >= CountSlots(source.GetLayout(), page)) {
                return std::nullopt;
            }
            return FindRow(source.GetLayout(), page, row.row);
        });
    if (!slot || slot->deleted) {
        return std::nullopt;
    }
    return slot->overflow ? Follow(slot->bytes, row) : slot->bytes;
}

ByteSpan RowFinder::Follow(ByteSpan pointer, RowPointer row) {
    auto& source = pages_.Source();
    auto from = row;
    // A row that was moved may have been moved again; pointers without an end are damage.
    for (int hops = 0; hops < kMaxOverflowHops; ++hops) {
        const auto to = WithPage(source.Name(), from.page, "a moved row's pointer is cut", [&] {
            return UnpackRowPointer(LoadU32(pointer, 0));
        });
        const auto page = pages_.Page(to.page, PageType::Data);
        if (LoadU32(page, kPageOwnerOffset) != def_->page) {
            throw DamagedPage(
                source.Name(), from.page, "a moved row's pointer leads to a foreign page");
        }
        const auto slot = WithPage(source.Name(), to.page, "a moved row isn't there", [&] {
            return FindRow(source.GetLayout(), page, to.row);
        });
        if (!slot.overflow) {
            return slot.bytes;
        }
        pointer = slot.bytes;
        from = to;
    }
    throw DamagedPage(source.Name(), row.page, "a moved row's pointers have no end");
}

}  // namespace vantry::access
