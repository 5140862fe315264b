// An index is kept right by the key that its row had and the key that the row gets: both are made
// from stored bytes, as the engine makes them, and an entry is touched only where they differ. A
// unique index is asked before anything is written, so that a refused row leaves no trace. Easy to
// get wrong: keys whose columns are all null may repeat even in a unique index, and an index that
// ignores nulls has no entry for such a row at all.

#include "drivers/access/write/row_indexes.h"

#include "drivers/access/rows/row_scanner.h"
#include "drivers/access/write_errors.h"

#include <algorithm>

namespace vantry::access {
namespace {

// The name that the user knows an index by. One that serves a relationship, too, has two.
std::string NameOfIndex(const TableDef& def, std::size_t real) {
    for (const LogicalIndex& logical : def.logical_indexes) {
        if (logical.real == real && logical.kind != kForeignKeyIndex) {
            return logical.name;
        }
    }
    for (const LogicalIndex& logical : def.logical_indexes) {
        if (logical.real == real) {
            return logical.name;
        }
    }
    return std::to_string(real);
}

// Keys of many rows, put into an index in their order: entries in order make compact pages.
class KeySorter {
public:
    // So many bytes are sorted at a time.
    static constexpr std::size_t kSortedBytes = std::size_t{16} << 20;

    // `unique`: the index takes no second row with this key.
    void Add(ByteSpan key, RowPointer row, bool unique) {
        entries_.push_back({keys_.size(), key.size(), row, unique});
        keys_.insert(keys_.end(), key.begin(), key.end());
    }
    bool IsFull() const { return keys_.size() + entries_.size() * sizeof(Entry) > kSortedBytes; }

    // Calls put(key, row, unique) for all of them in the index's order, and is empty then.
    template <typename Put>
    void Drain(Put&& put) {
        std::sort(entries_.begin(), entries_.end(), [&](const Entry& left, const Entry& right) {
            const int order = CompareKeys(KeyOf(left), KeyOf(right));
            return order != 0 ? order < 0 : left.row < right.row;
        });
        for (const Entry& entry : entries_) {
            put(KeyOf(entry), entry.row, entry.unique);
        }
        entries_.clear();
        keys_.clear();
    }

private:
    struct Entry {
        std::size_t offset;  // in keys_
        std::size_t length;
        RowPointer row;
        bool unique;
    };
    ByteSpan KeyOf(const Entry& entry) const {
        return ByteSpan(keys_).subspan(entry.offset, entry.length);
    }

    std::vector<Entry> entries_;
    std::vector<std::byte> keys_;
};

}  // namespace

RowIndexes::RowIndexes(PageStore& store, const TableDef& def) : store_(&store), def_(&def) {
    for (std::size_t real = 0; real < def.real_indexes.size(); ++real) {
        const RealIndex& index = def.real_indexes[real];
        std::string name = NameOfIndex(def, real);
        std::string title = "index '" + name + "' of table '" + def.name + "'";
        indexes_.push_back({.real = &index,
                            .name = std::move(name),
                            .encoder = KeyEncoder(store.Header(), def, index),
                            .writer = IndexWriter(store, def.page, index, std::move(title))});
    }
}

std::string RowIndexes::WhyNot() const {
    for (const RowIndex& index : indexes_) {
        if (!index.encoder.Unsupported().empty()) {
            return "its index '" + index.name + "' can't be kept up, because " +
                   index.encoder.Unsupported() +
                   ". Remove the index in Access, or write into another table";
        }
    }
    return {};
}

void RowIndexes::ResetCounts() {
    for (RowIndex& index : indexes_) {
        index.distinct_delta = 0;
    }
}

// ---- The row in hand --------------------------------------------------------------------------

void RowIndexes::MakeOldKeys(KeyFieldSource& stored) {
    for (RowIndex& index : indexes_) {
        fields_.Take(*index.real, stored);
        index.had_null = fields_.AnyNull();
        index.had_entry = fields_.MakeKey(index.encoder, def_->name, index.name, index.old_key);
    }
}

void RowIndexes::MakeNewKeys(KeyFieldSource& row) {
    for (RowIndex& index : indexes_) {
        fields_.Take(*index.real, row);
        index.has_null = fields_.AnyNull();
        index.all_null = fields_.AllNull();
        index.has_entry = fields_.MakeKey(index.encoder, def_->name, index.name, index.key);
    }
}

void RowIndexes::CheckLength(const RowIndex& index) const {
    if (index.key.size() > kMaxIndexKey) {
        throw CannotChangeTable(
            def_->name,
            "the key of a row in its index '" + index.name + "' has " +
                std::to_string(index.key.size()) + " bytes, and an index takes at most " +
                std::to_string(kMaxIndexKey) + ". Shorten the row's texts, or remove the index");
    }
}

void RowIndexes::Check(bool updating) {
    for (RowIndex& index : indexes_) {
        index.changes = !updating || index.has_entry != index.had_entry ||
                        (index.has_entry && index.key != index.old_key);
        if (index.changes && index.has_entry) {
            CheckLength(index);
        }
        if (index.real->IsRequired() && index.has_null) {
            throw KeyIsNull(def_->name, index.name);
        }
        if (index.changes && index.has_entry && index.real->IsUnique() && !index.all_null &&
            index.writer.Find(index.key)) {
            throw DuplicateKey(def_->name, index.name);
        }
    }
}

void RowIndexes::Write(RowPointer row, bool updating) {
    for (RowIndex& index : indexes_) {
        if (!index.changes) {
            continue;
        }
        if (updating && index.had_entry) {
            index.distinct_delta -= index.writer.Remove(index.old_key, row) ? 1 : 0;
        }
        if (index.has_entry) {
            index.distinct_delta += index.writer.Insert(index.key, row) ? 1 : 0;
        }
    }
}

void RowIndexes::Remove(RowPointer row) {
    for (RowIndex& index : indexes_) {
        if (index.had_entry) {
            index.distinct_delta -= index.writer.Remove(index.old_key, row) ? 1 : 0;
        }
    }
}

void RowIndexes::Clear() {
    for (RowIndex& index : indexes_) {
        index.writer.Clear();
        index.distinct_delta = 0;
    }
}

// ---- All rows at once -------------------------------------------------------------------------

void RowIndexes::Fill(std::size_t position) {
    RowIndex& index = indexes_[position];
    KeySorter sorter;
    const auto put = [&](ByteSpan key, RowPointer row, bool unique) {
        // Rows of this filling, too, as they stand in the index one after the other.
        if (unique && index.writer.Find(key)) {
            throw DuplicateKey(def_->name, index.name);
        }
        index.distinct_delta += index.writer.Insert(key, row) ? 1 : 0;
        store_->SafePoint();
    };
    RowScanner scanner(*store_, *def_);
    StoredKeyFields stored(*store_, *def_);
    while (scanner.Next()) {
        stored.Stand(RowView(*def_, store_->GetLayout(), scanner.Row()));
        fields_.Take(*index.real, stored);
        if (index.real->IsRequired() && fields_.AnyNull()) {
            throw KeyIsNull(def_->name, index.name);
        }
        if (!fields_.MakeKey(index.encoder, def_->name, index.name, index.key)) {
            continue;
        }
        CheckLength(index);
        sorter.Add(index.key, scanner.Pointer(), index.real->IsUnique() && !fields_.AllNull());
        if (sorter.IsFull()) {
            sorter.Drain(put);
        }
    }
    sorter.Drain(put);
}

}  // namespace vantry::access
