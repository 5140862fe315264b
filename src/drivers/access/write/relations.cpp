// A relationship is stored as a pair of logical indexes, one in each table, that name each other by
// table and number; both sides have a real index over the same columns. So a row is checked by
// making its key as the *other* index would have it and looking there: column types agree, but the
// sort directions may not. Easy to get wrong: a key with a null in it refers to nothing, and a row
// of a table that refers to itself may refer to the very row.

#include "drivers/access/write/relations.h"

#include "drivers/access/catalogue/object_catalog.h"
#include "drivers/access/write_errors.h"

#include <algorithm>

namespace vantry::access {
namespace {

constexpr std::uint8_t kReferencedSide = 1;
constexpr std::uint8_t kReferencingSide = 2;

// Where a foreign key's index stands in the other table's definition.
const RealIndex* RealIndexOf(const TableDef& def, std::uint32_t logical_number) {
    for (const LogicalIndex& logical : def.logical_indexes) {
        if (logical.number == logical_number && logical.real < def.real_indexes.size()) {
            return &def.real_indexes[logical.real];
        }
    }
    return nullptr;
}

std::string NameOfTable(PageStore& store, PageNumber page) {
    ObjectCatalog catalog(store);
    std::string name = "?";
    for (const CatalogObject& object : catalog.Objects()) {
        if (object.IsTable() && object.TablePage() == page) {
            name = object.name;
        }
    }
    return name;
}

}  // namespace

Relations::Relations(PageStore& store, const TableDef& def, const RowIndexes& indexes)
    : store_(&store), def_(&def), indexes_(&indexes) {
    for (const LogicalIndex& logical : def.logical_indexes) {
        if (logical.kind == kForeignKeyIndex && logical.other_table != 0) {
            Add(logical);
        }
    }
}

void Relations::Add(const LogicalIndex& logical) {
    if (logical.real >= def_->real_indexes.size() ||
        (logical.relation_side != kReferencedSide && logical.relation_side != kReferencingSide)) {
        return;
    }
    Relation relation;
    relation.is_child = logical.relation_side == kReferencingSide;
    relation.own_index = logical.real;
    relation.self = logical.other_table == def_->page;
    const std::string other_name = NameOfTable(*store_, logical.other_table);
    relation.name = relation.is_child ? logical.name : other_name;
    relation.other =
        std::make_unique<TableDef>(ReadTableDef(*store_, logical.other_table, other_name));
    const RealIndex* const other = RealIndexOf(*relation.other, logical.other_index);
    if (other == nullptr ||
        other->columns.size() != def_->real_indexes[logical.real].columns.size()) {
        why_not_ = "its relationship '" + logical.name + "' with table '" + other_name +
                   "' can't be followed";
        return;
    }
    relation.encoder = std::make_unique<KeyEncoder>(store_->Header(), *relation.other, *other);
    relation.writer = std::make_unique<IndexWriter>(
        *store_, relation.other->page, *other, "an index of table '" + other_name + "'");
    if (!relation.encoder->Unsupported().empty()) {
        why_not_ = "its relationship with table '" + other_name + "' can't be checked, because " +
                   relation.encoder->Unsupported();
    }
    relations_.push_back(std::move(relation));
}

bool Relations::IsReferredTo() const {
    return std::any_of(relations_.begin(), relations_.end(), [](const Relation& relation) {
        return !relation.is_child;
    });
}

void Relations::MakeOldKeys(KeyFieldSource& stored) {
    for (Relation& relation : relations_) {
        const RowIndex& own = OwnIndex(relation);
        if (!relation.is_child && !own.had_null) {
            fields_.Take(*own.real, stored);
            fields_.MakeKey(*relation.encoder, def_->name, relation.name, relation.old_key);
        }
    }
}

void Relations::MakeNewKeys(KeyFieldSource& row) {
    for (Relation& relation : relations_) {
        const RowIndex& own = OwnIndex(relation);
        if (relation.is_child && !own.has_null) {
            fields_.Take(*own.real, row);
            fields_.MakeKey(*relation.encoder, def_->name, relation.name, relation.key);
        }
    }
}

void Relations::CheckParents(bool updating) {
    for (Relation& relation : relations_) {
        const RowIndex& own = OwnIndex(relation);
        if (!relation.is_child || own.has_null || (updating && !own.changes) ||
            relation.writer->Find(relation.key)) {
            continue;
        }
        // The row isn't in the index that was asked, but its key is known.
        const auto indexes = indexes_->All();
        const bool refers_to_itself =
            relation.self &&
            std::any_of(indexes.begin(), indexes.end(), [&](const RowIndex& index) {
                return index.has_entry && index.real->IsUnique() && index.key == relation.key;
            });
        if (!refers_to_itself) {
            throw NoParentRow(def_->name, relation.name);
        }
    }
}

void Relations::CheckNoChildren(bool updating) {
    for (Relation& relation : relations_) {
        const RowIndex& own = OwnIndex(relation);
        if (relation.is_child || own.had_null || (updating && !own.changes)) {
            continue;
        }
        if (relation.writer->Find(relation.old_key)) {
            throw ChildRowsExist(def_->name, relation.name);
        }
    }
}

}  // namespace vantry::access
