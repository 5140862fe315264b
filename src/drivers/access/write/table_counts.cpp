// The numbers that a definition keeps about its table: rows, different keys of each index, the last
// AutoNumber. They are gathered during a statement and written once at its end, as the page of the
// definition would else be changed by every row.

#include "drivers/access/write/table_counts.h"

#include "drivers/access/pages/data_page.h"

#include <algorithm>
#include <cstring>

namespace vantry::access {
namespace {

constexpr const TdefLayout& kLayout = kJet4Layout.tdef;

constexpr std::size_t DistinctOffset(std::size_t index) {
    return kLayout.index_counts_offset + index * kLayout.index_count_size +
           kLayout.distinct_count_offset;
}

}  // namespace

void TableCounts::Begin(std::uint32_t number) {
    row_delta_ = 0;
    last_number_ = number;
    number_changed_ = false;
}

void TableCounts::NoteNumber(std::int32_t number) {
    // Numbers that a statement gives count as well, or a later row would be handed one that is
    // there. They are signed: a negative one never moves the counter.
    if (number > static_cast<std::int32_t>(last_number_)) {
        last_number_ = static_cast<std::uint32_t>(number);
        number_changed_ = true;
    }
}

void TableCounts::Write(PageStore& store, PageNumber definition, RowIndexes& indexes) {
    const auto all = indexes.All();
    const bool keys_changed = std::any_of(
        all.begin(), all.end(), [](const RowIndex& index) { return index.distinct_delta != 0; });
    if (!IsPending() && !keys_changed) {
        return;
    }
    const auto tdef = store.Change(definition);
    // Counts of files made elsewhere are often off: they never go below nothing.
    const auto add = [&](std::size_t offset, std::int64_t delta) {
        const std::int64_t value = std::int64_t{LoadU32(tdef, offset)} + delta;
        StoreU32(tdef, offset, static_cast<std::size_t>(std::max<std::int64_t>(value, 0)));
    };
    add(kLayout.row_count_offset, row_delta_);
    for (std::size_t index = 0; index < all.size(); ++index) {
        add(DistinctOffset(index), all[index].distinct_delta);
    }
    indexes.ResetCounts();
    if (number_changed_) {
        StoreU32(tdef, kLayout.auto_number_offset, last_number_);
    }
    row_delta_ = 0;
    number_changed_ = false;
}

void TableCounts::WriteEmpty(PageStore& store, PageNumber definition, RowIndexes& indexes) {
    const auto tdef = store.Change(definition);
    for (std::size_t index = 0; index < indexes.All().size(); ++index) {
        StoreU32(tdef, DistinctOffset(index), 0);
    }
    StoreU32(tdef, kLayout.row_count_offset, 0);
    indexes.ResetCounts();
    row_delta_ = 0;
}

std::vector<std::byte> TableCounts::Blank(std::vector<std::byte> definition) {
    const std::size_t indexes = LoadU32(definition, kLayout.real_index_count_offset);
    const auto blank = [&](std::size_t offset, std::size_t length) {
        if (offset + length <= definition.size()) {
            std::memset(definition.data() + offset, 0, length);
        }
    };
    blank(kLayout.row_count_offset, 4);
    blank(kLayout.auto_number_offset, 4);
    blank(kTdefComplexNumberOffset, 4);
    blank(kLayout.index_counts_offset, indexes * kLayout.index_count_size);
    return definition;
}

}  // namespace vantry::access
