// One row goes through the same steps whatever happens to it: read the old state, make the new one,
// check everything, and only then change pages, long values first and index entries last. What can
// refuse a row has refused it before the first page changes; what fails behind that is a damaged
// file or a full disk, and the transaction takes it back. The table is looked at anew in each
// transaction, as another program may have changed its definition between two.

#include "drivers/access/write/table_writer.h"

#include "drivers/access/catalogue/object_catalog.h"
#include "drivers/access/errors.h"
#include "drivers/access/rows/row_scanner.h"
#include "drivers/access/write_errors.h"

#include <algorithm>

namespace vantry::access {
namespace {

constexpr std::string_view kDamage = "its list of rows runs outside";
constexpr std::string_view kRowDamage = "a row of the table is damaged";

bool NeedsUndoFor(const TableDef& def) {
    return !def.real_indexes.empty() ||
           std::any_of(def.columns.begin(), def.columns.end(), [](const ColumnDef& column) {
               return column.IsLongValue();
           });
}

// Why the table can't be changed without harm.
std::string FindRefusal(const TableDef& def,
                        const RowIndexes& indexes,
                        const Relations& relations) {
    if (!relations.WhyNot().empty()) {
        return relations.WhyNot();
    }
    if (def.HasCalculatedColumns()) {
        return "it has calculated columns, whose formulas only Access itself works out";
    }
    if (def.HasComplexColumns()) {
        return "it has columns with several values a row (attachments or lists), which only Access "
               "itself can write";
    }
    return indexes.WhyNot();
}

}  // namespace

TableWriter::Table::Table(PageStore& store,
                          TableDef definition,
                          const std::vector<Property>& properties)
    : def(std::move(definition)),
      needs_undo(NeedsUndoFor(def)),
      rules(store.Header(), def, properties),
      encoder(def, def.name),
      long_values(store, def),
      places(store, def, needs_undo),
      indexes(store, def),
      relations(store, def, indexes),
      refusal(FindRefusal(def, indexes, relations)) {}

TableWriter::TableWriter(PageStore& store, TableDef def, const std::vector<Property>& properties)
    : store_(&store) {
    std::vector<PageNumber> pages;
    def_bytes_ = TableCounts::Blank(ReadTableDefBytes(store, def.page, pages));
    foreign_changes_ = store.ForeignChanges();
    table_ = std::make_unique<Table>(store, std::move(def), properties);
}

TableWriter::~TableWriter() {
    if (counts_.IsPending()) {
        try {
            store_->Settle();
        } catch (const std::exception&) {
            // The batch is lost, and the connection's next statement says so.
        }
    }
    store_->Forget(*this);
}

// At the first call in a transaction: finds out whether the table is as it was.
void TableWriter::Synchronize() {
    if (transaction_ == store_->TransactionNumber()) {
        return;
    }
    std::vector<PageNumber> pages;
    auto bytes = ReadTableDefBytes(*store_, table_->def.page, pages);
    const std::uint32_t number = LoadU32(bytes, kJet4Layout.tdef.auto_number_offset);
    // Counts change with every row; what is left tells whether the definition has.
    bytes = TableCounts::Blank(std::move(bytes));
    // Rules of the table stand in other places than its definition.
    if (bytes != def_bytes_ || foreign_changes_ != store_->ForeignChanges()) {
        ObjectCatalog catalog(*store_);
        const CatalogObject* const object = catalog.Find(table_->def.name);
        if (object == nullptr || !object->IsTable() || object->TablePage() != table_->def.page) {
            throw TableMissing(table_->def.name);
        }
        table_ = std::make_unique<Table>(
            *store_, catalog.ReadTable(*object), catalog.ReadProperties(*object));
        def_bytes_ = std::move(bytes);
        foreign_changes_ = store_->ForeignChanges();
    }
    transaction_ = store_->TransactionNumber();
    store_->Remember(*this);
    counts_.Begin(number);
    table_->indexes.ResetCounts();
    table_->places.BeginTransaction();
    table_->long_values.ForgetPages();
}

void TableWriter::StartChange() {
    Synchronize();
    if (!table_->refusal.empty()) {
        throw CannotChangeTable(table_->def.name, table_->refusal);
    }
}

template <typename Body>
void TableWriter::Changing(Body&& body) {
    try {
        body();
    } catch (...) {
        // The pages in hand are changed ones, which the rollback takes back.
        table_->places.Forget();
        table_->long_values.ForgetPages();
        throw;
    }
}

// ---- Rows in ----------------------------------------------------------------------------------

RowPointer TableWriter::Insert(std::span<const Cell> row) {
    StartChange();
    Table& table = *table_;
    const auto cells = table.rules.Complete(row, counts_.LastNumber());
    table.rules.CheckRow(cells);
    table.encoder.Encode(cells);
    const bool has_indexes = !table.indexes.Empty();
    if (has_indexes) {
        EncodedKeyFields fields(table.def, table.encoder);
        table.indexes.MakeNewKeys(fields);
        table.relations.MakeNewKeys(fields);
        table.indexes.Check(false);
        table.relations.CheckParents(false);
    }
    RowPointer place;
    Changing([&] {
        if (table.encoder.HasLongValues()) {
            table.encoder.WriteLongValues(table.long_values);
        }
        place = table.places.Place(table.encoder.Bytes());
        if (has_indexes) {
            table.indexes.Write(place, false);
        }
    });
    NoteNumbers();
    counts_.AddRows(1);
    return place;
}

void TableWriter::NoteNumbers() {
    for (const std::size_t column : table_->rules.AutoNumbers()) {
        const auto field = table_->encoder.KeyField(column);
        if (field && field->size() >= 4) {
            counts_.NoteNumber(static_cast<std::int32_t>(LoadU32(*field, 0)));
        }
    }
}

void TableWriter::FillIndex(std::size_t index) {
    Synchronize();
    table_->indexes.Fill(index);
}

// ---- Rows that are there ----------------------------------------------------------------------

// What of the row stays as it is stored, when `columns` get other values; the long values of those.
TableWriter::LongValues TableWriter::TakeFields(const RowPlaces::Found& found,
                                                std::span<const std::size_t> columns,
                                                std::vector<RowEncoder::StoredField>& kept) {
    const TableDef& def = table_->def;
    kept.resize(def.columns.size());
    WithPage(store_->Name(), found.target.page, kDamage, [&] {
        const RowView view(def, store_->GetLayout(), found.bytes);
        for (std::size_t column = 0; column < def.columns.size(); ++column) {
            const auto field = view.Field(def.columns[column]);
            kept[column] = {
                .given = true, .is_null = !field.has_value(), .bytes = field.value_or(ByteSpan())};
        }
    });
    LongValues released(def.columns.size());
    for (const std::size_t column : columns) {
        if (def.columns[column].IsLongValue() && !kept[column].is_null) {
            released[column] = kept[column].bytes;
        }
        kept[column] = {};
    }
    return released;
}

// The keys that the row has so far; `fields` stands in it then.
void TableWriter::MakeOldKeys(const RowPlaces::Found& found, StoredKeyFields& fields) {
    WithPage(store_->Name(), table_->def.page, kRowDamage, [&] {
        fields.Stand(RowView(table_->def, store_->GetLayout(), found.bytes));
        table_->indexes.MakeOldKeys(fields);
        table_->relations.MakeOldKeys(fields);
    });
}

void TableWriter::CheckUpdate(const RowPlaces::Found& found,
                              std::span<const RowEncoder::StoredField> kept) {
    Table& table = *table_;
    if (table.indexes.Empty()) {
        return;
    }
    StoredKeyFields stored(*store_, table.def);
    MakeOldKeys(found, stored);
    EncodedKeyFields fields(table.def, table.encoder);
    fields.Keep(kept, stored);
    table.indexes.MakeNewKeys(fields);
    table.relations.MakeNewKeys(fields);
    table.indexes.Check(true);
    table.relations.CheckParents(true);
    table.relations.CheckNoChildren(true);
}

void TableWriter::Update(RowPointer row,
                         std::span<const std::size_t> columns,
                         std::span<const Cell> values) {
    StartChange();
    Table& table = *table_;
    const auto found = table.places.Resolve(row);
    std::vector<RowEncoder::StoredField> kept;
    const LongValues released = TakeFields(found, columns, kept);
    std::vector<Cell> cells(table.def.columns.size(), Cell::Null());
    for (std::size_t at = 0; at < columns.size(); ++at) {
        cells[columns[at]] = values[at];
    }
    table.rules.CheckChange(cells, kept);
    table.encoder.Encode(cells, kept);
    CheckUpdate(found, kept);
    Changing([&] { WriteRow(row, found, released); });
    NoteNumbers();
}

// The row that the encoder holds, in the place of the one found.
void TableWriter::WriteRow(RowPointer row,
                           const RowPlaces::Found& found,
                           const LongValues& released) {
    Table& table = *table_;
    for (std::size_t column = 0; column < released.size(); ++column) {
        if (released[column]) {
            table.long_values.Release(column, *released[column]);
        }
    }
    if (table.encoder.HasLongValues()) {
        table.encoder.WriteLongValues(table.long_values);
    }
    table.places.Rewrite(row, found.target, table.encoder.Bytes());
    if (!table.indexes.Empty()) {
        table.indexes.Write(row, true);
    }
}

void TableWriter::Delete(RowPointer row) {
    StartChange();
    Table& table = *table_;
    const auto found = table.places.Resolve(row);
    if (!table.indexes.Empty()) {
        StoredKeyFields stored(*store_, table.def);
        MakeOldKeys(found, stored);
        table.relations.CheckNoChildren(false);
    }
    Changing([&] {
        table.indexes.Remove(row);
        Release(found);
        table.places.Delete(row, found.target);
    });
    counts_.AddRows(-1);
}

// Frees the row's long values.
void TableWriter::Release(const RowPlaces::Found& found) {
    Table& table = *table_;
    WithPage(store_->Name(), found.target.page, kDamage, [&] {
        const RowView view(table.def, store_->GetLayout(), found.bytes);
        for (std::size_t column = 0; column < table.def.columns.size(); ++column) {
            const ColumnDef& def = table.def.columns[column];
            const auto field = def.IsLongValue() ? view.Field(def) : std::nullopt;
            if (field) {
                table.long_values.Release(column, *field);
            }
        }
    });
}

// Frees what no list of the table's long values has; the number of rows.
std::int64_t TableWriter::ReleaseUnlisted(RowScanner& scanner) {
    Table& table = *table_;
    std::vector<std::size_t> columns;
    for (std::size_t column = 0; column < table.def.columns.size(); ++column) {
        if (table.def.columns[column].IsLongValue()) {
            columns.push_back(column);
        }
    }
    if (columns.empty()) {
        return scanner.CountRest();
    }
    const auto for_each_value = [&](RowScanner& at, auto&& visit) {
        const RowView view(table.def, store_->GetLayout(), at.Row());
        for (const std::size_t column : columns) {
            if (const auto field = view.Field(table.def.columns[column])) {
                visit(column, *field);
            }
        }
    };
    std::int64_t count = 0;
    for (; scanner.Next(); ++count) {
        for_each_value(scanner, [&](std::size_t column, ByteSpan field) {
            table.long_values.Count(column, field);
        });
    }
    std::erase_if(columns, [&](std::size_t column) { return table.long_values.ListsAll(column); });
    if (!columns.empty()) {
        RowScanner again(*store_, table.def);
        while (again.Next()) {
            for_each_value(again, [&](std::size_t column, ByteSpan field) {
                // Copied: a release changes pages, and the scanner's view may move with them.
                const std::vector<std::byte> stored(field.begin(), field.end());
                table.long_values.ReleaseUnlisted(column, stored);
            });
        }
    }
    return count;
}

void TableWriter::ReleaseUnlistedValues() {
    Synchronize();
    RowScanner scanner(*store_, table_->def);
    ReleaseUnlisted(scanner);
}

std::int64_t TableWriter::DeleteAll() {
    StartChange();
    Table& table = *table_;
    RowScanner scanner(*store_, table.def);
    if (table.relations.IsReferredTo()) {
        // Each may be in the way of a row of another table.
        std::vector<RowPointer> rows;
        while (scanner.Next()) {
            rows.push_back(scanner.Pointer());
        }
        for (const RowPointer row : rows) {
            Delete(row);
        }
        return static_cast<std::int64_t>(rows.size());
    }
    const std::int64_t count = ReleaseUnlisted(scanner);
    table.places.Clear();
    table.long_values.ForgetPages();
    for (std::size_t column = 0; column < table.def.columns.size(); ++column) {
        if (table.def.columns[column].IsLongValue()) {
            table.long_values.Clear(column);
        }
    }
    table.indexes.Clear();
    counts_.WriteEmpty(*store_, table.def.page, table.indexes);
    return count;
}

void TableWriter::BeforeCommit() {
    if (transaction_ != store_->TransactionNumber()) {
        return;
    }
    table_->places.FinishTransaction();
    counts_.Write(*store_, table_->def.page, table_->indexes);
}

}  // namespace vantry::access
