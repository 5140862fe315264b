#pragma once
// Changing the rows of one table: rows, long values, indexes and counts together. A row is checked
// whole (types, required fields, keys, relationships) before any page changes.

#include "drivers/access/catalogue/properties.h"
#include "drivers/access/indexes/index_key.h"
#include "drivers/access/indexes/index_writer.h"
#include "drivers/access/pages/data_page.h"
#include "drivers/access/pages/usage_map_writer.h"
#include "drivers/access/rows/long_value_writer.h"
#include "drivers/access/rows/row.h"
#include "drivers/access/rows/row_encoder.h"

#include <memory>
#include <optional>
#include <random>
#include <span>
#include <string>
#include <vector>

namespace vantry::access {

// Every call is made inside a transaction of the store. What it remembers of the table is read anew
// in each transaction.
class TableWriter : public CommitListener {
public:
    // `store` must outlive it. `properties` are those of the table's object.
    TableWriter(PageStore& store, TableDef def, std::vector<Property> properties);
    ~TableWriter() override;
    TableWriter(const TableWriter&) = delete;
    TableWriter& operator=(const TableWriter&) = delete;

    const TableDef& Def() const { return state_->def; }
    // Whether a row's insertion touches more than its own page: it can then fail half-way and wants
    // a transaction that can take one row back.
    bool NeedsUndo() const;

    // One cell a column in the order of the definition. Unset: default, AutoNumber or null; null in
    // an AutoNumber column: the next number.
    RowPointer Insert(std::span<const Cell> row);
    // `columns` are positions in the definition. Throws when the row is gone.
    void Update(RowPointer row, std::span<const std::size_t> columns, std::span<const Cell> values);
    void Delete(RowPointer row);
    // The number of rows that were there.
    std::int64_t DeleteAll();
    // Puts all rows into the index at that position of the definition, which is empty. Throws for a
    // row that it refuses.
    void FillIndex(std::size_t index);

    void BeforeCommit() override;

private:
    // An index and what a row being written means to it.
    struct Index {
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
        bool changes = true;
        std::int64_t distinct_delta = 0;  // of the transaction
    };
    // A relationship with another table, which must have, or must not have, a matching row.
    struct Relation {
        std::string name;  // of the relationship; of the other table where this one is referred to
        bool is_child = false;
        std::size_t own_index = 0;  // in indexes
        bool self = false;
        std::unique_ptr<TableDef> other;
        std::unique_ptr<KeyEncoder> encoder;  // of the other index
        std::unique_ptr<IndexWriter> writer;
        std::vector<std::byte> key;      // that the new row needs there
        std::vector<std::byte> old_key;  // that the old row is found by there
    };
    struct DefaultValue {
        std::size_t column = 0;
        std::string expression;
    };
    // What is known of the table; made anew when its definition has changed.
    struct State {
        State(PageStore& store, TableDef definition);
        TableDef def;
        RowEncoder encoder;
        LongValueWriter long_values;
        UsageMapWriter owned;
        UsageMapWriter free;
        std::vector<Index> indexes;  // as the definition's real ones
        std::vector<Relation> relations;
        std::vector<std::size_t> auto_numbers;  // column positions
        std::vector<std::size_t> auto_guids;
        std::vector<std::size_t> required;
        std::vector<std::size_t> never_empty;  // text columns that take no text without characters
        std::vector<DefaultValue> defaults;
        std::string refusal;  // why the table can't be changed at all; empty: it can
    };
    using Fields = std::vector<std::optional<ByteSpan>>;

    static std::vector<std::byte> StableDefBytes(std::vector<std::byte> bytes);

    void Synchronize();
    void Prepare(TableDef def);
    void FindRules();
    void AddRelation(const LogicalIndex& logical);
    std::string FindRefusal() const;
    std::string NameOfIndex(std::size_t real) const;
    void RequireChangeable() const;

    std::span<const Cell> Complete(std::span<const Cell> row);
    void CheckRequired(std::span<const Cell> row) const;
    void CheckEmptyTexts(std::span<const Cell> row) const;
    void RememberNumbers();

    template <typename FieldOf>
    const Fields& FieldsOf(const RealIndex& index, FieldOf&& field_of);
    bool MakeKey(const KeyEncoder& encoder,
                 const std::string& index,
                 const Fields& fields,
                 std::vector<std::byte>& key) const;
    void MakeNewKeys(std::span<const RowEncoder::StoredField> kept = {});
    std::optional<ByteSpan> StoredKeyField(const RowView& row,
                                           std::size_t column,
                                           LongValueReader& reader);
    void MakeOldKeys(ByteSpan stored);
    void CheckLength(const Index& index) const;
    void CheckNewKeys(bool updating);
    void CheckParents(bool updating);
    void CheckNoChildren(bool updating);
    void WriteKeys(RowPointer row, bool updating);

    RowPointer Place(std::span<const std::byte> bytes, std::uint16_t flags);
    bool TryPage(PageNumber page, std::size_t length);
    void FindRoom(std::size_t length);
    void LeavePage();
    void ForgetPage();
    void ForgetAll();
    void List(PageNumber page);
    struct Found {
        RowPointer target;  // where its bytes are
        std::vector<std::byte> bytes;
    };
    Found Resolve(RowPointer row);
    void Rewrite(RowPointer row, RowPointer target, std::span<const std::byte> bytes);
    bool RewriteInPlace(RowPointer row, std::span<const std::byte> bytes, std::uint16_t flags);
    void DeleteSlot(RowPointer row);
    DataPage OwnPage(PageNumber page);

    PageStore* store_;
    std::vector<Property> properties_;
    std::unique_ptr<State> state_;

    std::uint64_t transaction_ = 0;
    std::uint64_t foreign_changes_ = 0;
    std::vector<std::byte> def_bytes_;  // without what changes with the rows
    PageNumber current_ = 0;            // the page that got the last row; 0: none
    std::span<std::byte> current_view_;
    std::uint64_t view_number_ = 0;
    bool current_listed_ = false;  // in the map of pages with room
    PageNumber hint_ = 0;          // the current page of an earlier transaction
    bool keep_images_ = false;     // each row's changes must be announced to the store
    std::vector<PageNumber> candidates_;
    bool searched_ = false;

    std::int64_t row_delta_ = 0;
    std::uint32_t last_number_ = 0;
    bool number_changed_ = false;

    std::vector<Cell> cells_;
    std::vector<Value> memory_;
    Fields key_fields_;
    std::vector<std::vector<std::byte>> memo_keys_;
    std::mt19937_64 random_;
};

}  // namespace vantry::access
