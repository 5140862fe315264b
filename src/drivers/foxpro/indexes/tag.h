#pragma once
// One tag of an index, with what was gathered for it.

#include "drivers/foxpro/indexes/entry_batch.h"
#include "drivers/foxpro/indexes/key_maker.h"

#include <optional>
#include <string>
#include <vector>

namespace vantry::foxpro {

struct Tag {
    Tag(TagHeader read, const TableLayout& layout, const LetterTable& letters);

    bool IsUnique() const { return (header.options & kTagUnique) != 0; }
    bool IsCandidate() const { return (header.options & kTagCandidate) != 0; }
    // Whether a new row has nothing to do with its key: it can neither be refused for it nor fail.
    bool IsMadeInBackground() const { return maker.IsPlain() && !IsCandidate(); }
    // Whether the table may have to be asked for the first record of a key.
    bool NeedsTable() const { return IsUnique() && batch.HasRemovals(); }
    TreeShape Shape() const { return {header.key_length, maker.Pad()}; }
    // False: FOR doesn't hold. Throws DataError naming table, tag and record.
    bool MakeKey(const std::string& table,
                 const RecordView& record,
                 std::vector<std::byte>& out) const;

    TagHeader header;
    KeyMaker maker;
    EntryBatch batch;
    // Keys of the row that was checked last: as it was and as it is to be. Empty: FOR doesn't hold.
    std::vector<std::byte> former_key;
    std::vector<std::byte> key;
    bool has_former_key = false;
    bool has_key = false;
    // The last entry of the tree; nothing if it isn't known.
    std::optional<std::vector<std::byte>> last_entry;
};

}  // namespace vantry::foxpro
