#pragma once
// Table definitions as bytes: making a new one, adding an index to one, and putting it into its
// pages. Layout of Jet 4.

#include "drivers/access/catalogue/table_def.h"
#include "drivers/access/pages/page_store.h"

#include <vector>

namespace vantry::access {

// Gives the columns numbers, fixed offsets and variable indexes in their order, long values last;
// max_columns and variable_count follow.
void AssignPlaces(TableDef& def);

// The logical definition. Every field of `def` counts, the counts of rows and of keys as well.
std::vector<std::byte> BuildTableDef(const TableDef& def, std::span<const std::uint32_t> counts);

// A definition with one more index, the other bytes as they are. `index.root` and
// `index.owned_map` are there already.
std::vector<std::byte> AddIndexToTableDef(ByteSpan bytes,
                                          const RealIndex& index,
                                          const LogicalIndex& logical);

// Puts the definition into `pages`, adding pages where it got longer and freeing those that are
// left over; the first stays the first. Inside a transaction.
void WriteTableDef(PageStore& store, ByteSpan bytes, std::vector<PageNumber>& pages);

}  // namespace vantry::access
