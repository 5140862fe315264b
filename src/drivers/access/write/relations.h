#pragma once
// The relationships that a table stands in: a row that refers to another table must find its row
// there, and one that is referred to must not go or change its key. Rows of the other tables are
// never changed: what Access would cascade is refused.

#include "drivers/access/write/row_indexes.h"

#include <memory>
#include <string>
#include <vector>

namespace vantry::access {

// Looks into the other tables' indexes, by the keys that RowIndexes has made of the row in hand.
class Relations {
public:
    // `store`, `def` and `indexes` must outlive it. Throws DataError when the definition of
    // another table can't be read.
    Relations(PageStore& store, const TableDef& def, const RowIndexes& indexes);

    // A clause: why the table's rows can't be held to them; empty: they can.
    const std::string& WhyNot() const { return why_not_; }
    // Whether another table refers to this one.
    bool IsReferredTo() const;

    // After those of RowIndexes.
    void MakeOldKeys(KeyFieldSource& stored);
    void MakeNewKeys(KeyFieldSource& row);
    // Throws DataError naming the relationship when a row that the new one refers to is missing.
    void CheckParents(bool updating);
    // Throws DataError naming the other table when a row of it refers to the old one, which goes
    // or gets another key.
    void CheckNoChildren(bool updating);

private:
    struct Relation {
        std::string name;  // of the relationship; of the other table where this one is referred to
        bool is_child = false;
        std::size_t own_index = 0;  // position in the definition
        bool self = false;
        std::unique_ptr<TableDef> other;
        std::unique_ptr<KeyEncoder> encoder;  // of the other index
        std::unique_ptr<IndexWriter> writer;
        std::vector<std::byte> key;      // that the new row needs there
        std::vector<std::byte> old_key;  // that the old row is found by there
    };

    void Add(const LogicalIndex& logical);
    const RowIndex& OwnIndex(const Relation& relation) const {
        return indexes_->All()[relation.own_index];
    }

    PageStore* store_;
    const TableDef* def_;
    const RowIndexes* indexes_;
    std::vector<Relation> relations_;
    std::string why_not_;
    KeyFields fields_;
};

}  // namespace vantry::access
