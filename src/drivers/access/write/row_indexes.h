#pragma once
// All indexes of one table, and what a row that is written means to each: the keys of its old and
// its new state, the checks of them, and the entries in and out. Everything is checked before the
// first entry changes.

#include "drivers/access/indexes/index_key.h"
#include "drivers/access/indexes/index_writer.h"
#include "drivers/access/write/key_fields.h"

#include <span>
#include <string>
#include <vector>

namespace vantry::access {

// One index, and the row in hand.
struct RowIndex {
    const RealIndex* real = nullptr;
    std::string name;
    KeyEncoder encoder;
    IndexWriter writer;

    bool has_entry = false;  // of the new row
    bool has_null = false;
    bool all_null = false;
    std::vector<std::byte> key = {};
    bool had_entry = false;  // of the old row
    bool had_null = false;
    std::vector<std::byte> old_key = {};
    bool changes = true;  // the old and the new entry differ

    std::int64_t distinct_delta = 0;  // of the transaction: keys that came and went
};

// Inside a transaction of the store. A row goes through in this order: MakeOldKeys() if there is
// an old state, MakeNewKeys() if there is a new one, Check(), Write().
class RowIndexes {
public:
    // `store` and `def` must outlive it.
    RowIndexes(PageStore& store, const TableDef& def);

    bool Empty() const { return indexes_.empty(); }
    // In the order of the definition's real indexes.
    std::span<const RowIndex> All() const { return indexes_; }
    // Why an index can't be kept right: a clause for messages; empty: all can.
    std::string WhyNot() const;

    void MakeOldKeys(KeyFieldSource& stored);
    void MakeNewKeys(KeyFieldSource& row);
    // Throws DataError for a new key that is too long, null where it must not be, or there already.
    void Check(bool updating);
    void Write(RowPointer row, bool updating);
    // Takes the old entries away.
    void Remove(RowPointer row);

    // Puts all rows of the table into the index at that position of the definition, which is
    // empty. Throws DataError for a row that it refuses.
    void Fill(std::size_t position);
    // Empties all of them.
    void Clear();
    void ResetCounts();

private:
    void CheckLength(const RowIndex& index) const;

    PageStore* store_;
    const TableDef* def_;
    std::vector<RowIndex> indexes_;
    KeyFields fields_;
};

}  // namespace vantry::access
