#pragma once
// Rows kept in memory: those that a sorted result is at, and small tables of a join. Cells are
// copied with what they look at.

#include "drivers/sql/storage.h"

#include <memory>
#include <optional>
#include <span>
#include <vector>

namespace vantry::sql {

// Rows of a fixed number of cells, only added to.
class RowStore {
public:
    explicit RowStore(std::size_t columns) : columns_(columns) {}

    void Clear();
    void Add(RowId id, std::span<const Cell> cells);
    std::size_t Size() const { return ids_.size(); }
    // In memory, roughly.
    std::size_t Bytes() const { return bytes_; }
    RowId IdOf(std::size_t row) const { return ids_[row]; }
    // Valid until the next Add or Clear.
    std::span<const Cell> RowAt(std::size_t row) const {
        return {cells_.data() + row * columns_, columns_};
    }

private:
    // A copy in the store's blocks, which never move.
    std::string_view Keep(std::string_view bytes);

    std::size_t columns_;
    std::vector<RowId> ids_;
    std::vector<Cell> cells_;
    std::vector<std::unique_ptr<char[]>> blocks_;
    std::size_t block_left_ = 0;
    char* block_at_ = nullptr;
    std::size_t bytes_ = 0;
};

// Rows of a table by their ids, many at a time: one by one where they are few, by a walk over the
// table where they are many, because engines read ahead.
class RowFetcher {
public:
    RowFetcher(std::shared_ptr<StoredTable> table, std::vector<std::size_t> columns);

    // Forgets the rows of the last call. An id may occur more than once; nothing stands for no row.
    void Fetch(std::span<const std::optional<RowId>> ids);
    // The row of the id at that place in the call; empty without an id. Throws when the row is
    // gone.
    std::span<const Cell> RowOf(std::size_t place) const;
    // Why that column of that row is Unreadable.
    DataError FieldError(RowId id, std::size_t position);
    std::size_t Bytes() const { return store_.Bytes(); }

private:
    struct Wish {
        RowId id;
        std::size_t place;
    };
    using Wishes = std::vector<Wish>;
    // The two ways: one walk over the table, or a seek for each id.
    void WalkTable();
    void SeekEach();
    // Keeps the row for all wishes of its id, from `first` on; returns the first of another id.
    Wishes::const_iterator Keep(Wishes::const_iterator first, const TableScan& scan);

    std::shared_ptr<StoredTable> table_;
    std::vector<std::size_t> columns_;
    RowStore store_;
    Wishes wishes_;                  // by id
    std::vector<std::size_t> rows_;  // of each place, in the store
    std::unique_ptr<TableScan> by_id_;
    std::optional<std::int64_t> table_rows_;
};

}  // namespace vantry::sql
