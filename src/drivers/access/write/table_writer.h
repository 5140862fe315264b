#pragma once
// Changing the rows of one table: rows, long values, indexes and counts together. A row is checked
// whole (types, required fields, keys, relationships) before any page changes.

#include "drivers/access/catalogue/properties.h"
#include "drivers/access/rows/long_value_writer.h"
#include "drivers/access/rows/row_encoder.h"
#include "drivers/access/rows/row_scanner.h"
#include "drivers/access/write/relations.h"
#include "drivers/access/write/row_indexes.h"
#include "drivers/access/write/row_places.h"
#include "drivers/access/write/row_rules.h"
#include "drivers/access/write/table_counts.h"

#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace vantry::access {

// Every call is made inside a transaction of the store. What it remembers of the table is read anew
// in each transaction. Not thread-safe.
class TableWriter : public CommitListener {
public:
    // `store` must outlive it. `properties` are those of the table's object.
    TableWriter(PageStore& store, TableDef def, const std::vector<Property>& properties);
    ~TableWriter() override;
    TableWriter(const TableWriter&) = delete;
    TableWriter& operator=(const TableWriter&) = delete;

    const TableDef& Def() const { return table_->def; }
    // Whether a row's insertion touches more than its own page: it can then fail half-way and wants
    // a transaction that can take one row back.
    bool NeedsUndo() const { return table_->needs_undo; }

    // One cell a column in the order of the definition. Unset: default, AutoNumber or null; null in
    // an AutoNumber column: the next number.
    RowPointer Insert(std::span<const Cell> row);
    // `columns` are positions in the definition. Throws when the row is gone.
    void Update(RowPointer row, std::span<const std::size_t> columns, std::span<const Cell> values);
    void Delete(RowPointer row);
    // The number of rows that were there.
    std::int64_t DeleteAll();
    // Before a table's pages are freed by their lists: frees those of its long values that no list
    // has, as there are in files made elsewhere.
    void ReleaseUnlistedValues();
    // Puts all rows into the index at that position of the definition, which is empty. Throws for a
    // row that it refuses.
    void FillIndex(std::size_t index);

    void BeforeCommit() override;

private:
    // What is known of the table, a part for each question; made anew when its definition has
    // changed. The parts refer to the definition and to each other.
    struct Table {
        Table(PageStore& store, TableDef definition, const std::vector<Property>& properties);
        TableDef def;
        bool needs_undo;
        RowRules rules;
        RowEncoder encoder;
        LongValueWriter long_values;
        RowPlaces places;
        RowIndexes indexes;
        Relations relations;
        std::string refusal;  // why the table can't be changed at all; empty: it can
    };
    // Long values of a row that go when the row does; by column position.
    using LongValues = std::vector<std::optional<ByteSpan>>;

    void Synchronize();
    void StartChange();
    LongValues TakeFields(const RowPlaces::Found& found,
                          std::span<const std::size_t> columns,
                          std::vector<RowEncoder::StoredField>& kept);
    void MakeOldKeys(const RowPlaces::Found& found, StoredKeyFields& fields);
    void CheckUpdate(const RowPlaces::Found& found, std::span<const RowEncoder::StoredField> kept);
    void WriteRow(RowPointer row, const RowPlaces::Found& found, const LongValues& released);
    void Release(const RowPlaces::Found& found);
    std::int64_t ReleaseUnlisted(RowScanner& scanner);
    void NoteNumbers();
    // Runs `body`, which changes pages; after a failure nothing that is remembered of them is good.
    template <typename Body>
    void Changing(Body&& body);

    PageStore* store_;
    std::unique_ptr<Table> table_;
    std::uint64_t transaction_ = 0;
    std::uint64_t foreign_changes_ = 0;
    std::vector<std::byte> def_bytes_;  // without what changes with the rows
    TableCounts counts_;
};

}  // namespace vantry::access
