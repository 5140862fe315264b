// The writing side of AccessDatabase and AccessTable for the SQL layer; database.cpp and
// access_table.cpp have the reading one. Rows go to the table's writer, statements and transactions
// to the page store. Easy to get wrong: how far a roll-back reaches. A row of a bulk load has a
// bracket of its own (InsertBatched); a statement that fails within BEGIN TRANSACTION takes the
// whole transaction back once it has changed a page; and definitions don't change within one at
// all.

#include "drivers/access/access_table.h"
#include "drivers/access/catalogue/definition_writer.h"
#include "drivers/access/database.h"
#include "drivers/access/errors.h"
#include "drivers/access/write/table_writer.h"
#include "drivers/access/write_errors.h"
#include "drivers/sql/errors.h"

namespace vantry::access {

// ---- Tables -----------------------------------------------------------------------------------

TableWriter& AccessTable::Writer() {
    if (!writer_) {
        const auto* const object = file_->catalog.FindId(id_);
        // The table may have been dropped meanwhile, and its number be another's.
        if (object == nullptr || !object->IsTable() || object->name != def_->name) {
            throw TableMissing(def_->name);
        }
        if (object->IsSystem()) {
            throw CannotChangeSystemTable(object->name);
        }
        writer_ = std::make_unique<TableWriter>(*file_->store,
                                                file_->catalog.ReadTable(*object),
                                                file_->catalog.ReadProperties(*object));
    }
    return *writer_;
}

std::span<const Cell> AccessTable::WholeRow(std::span<const Cell> row) {
    const std::size_t columns = def_->columns.size();
    if (shown_.size() == columns) {
        return row;
    }
    whole_row_.assign(columns, Cell());
    for (std::size_t at = 0; at < shown_.size(); ++at) {
        whole_row_[shown_[at]] = row[at];
    }
    return whole_row_;
}

void AccessTable::Insert(std::span<const Cell> row) {
    WithFile(file_->store->Name(), [&] { Writer().Insert(WholeRow(row)); });
}

void AccessTable::InsertBatched(std::span<const Cell> row) {
    PageStore& store = *file_->store;
    TableWriter& writer = Writer();
    store.BeginRow(writer.NeedsUndo());
    try {
        WithFile(store.Name(), [&] { writer.Insert(WholeRow(row)); });
    } catch (...) {
        store.EndRow(false);
        throw;
    }
    store.EndRow(true);
}

void AccessTable::Update(sql::RowId row,
                         std::span<const std::size_t> columns,
                         std::span<const Cell> values) {
    WithFile(file_->store->Name(), [&] {
        Writer().Update(
            UnpackRowPointer(static_cast<std::uint32_t>(row)), Positions(columns), values);
    });
}

void AccessTable::Delete(sql::RowId row) {
    WithFile(file_->store->Name(),
             [&] { Writer().Delete(UnpackRowPointer(static_cast<std::uint32_t>(row))); });
}

std::int64_t AccessTable::DeleteAll() {
    return WithFile(file_->store->Name(), [&] { return Writer().DeleteAll(); });
}

// ---- The database -----------------------------------------------------------------------------

void AccessDatabase::BeginTransaction() {
    if (in_transaction_) {
        throw sql::NotSupported("A transaction within a transaction");
    }
    file_->store->Begin();
    in_transaction_ = true;
}

void AccessDatabase::RollbackTransaction() {
    if (!in_transaction_) {
        throw sql::NoTransaction();
    }
    TakeBack();
}

void AccessDatabase::CommitTransaction() {
    if (!in_transaction_) {
        throw sql::NoTransaction();
    }
    try {
        file_->store->Commit();
    } catch (...) {
        TakeBack();
        throw;
    }
    in_transaction_ = false;
    used_tables_.clear();
}

void AccessDatabase::BeginStatement() {
    if (!in_transaction_) {
        file_->store->Begin();
    }
    version_before_ = file_->store->Version();
}

void AccessDatabase::CommitStatement() {
    if (!in_transaction_) {
        file_->store->Commit();
    }
}

// Of several statements it takes them all, unless nothing was changed yet: what the tables remember
// of the pages would else be that of a half statement.
void AccessDatabase::RollbackStatement() {
    if (in_transaction_ && file_->store->InTransaction() &&
        file_->store->Version() == version_before_) {
        return;
    }
    TakeBack();
}

void AccessDatabase::TakeBack() {
    in_transaction_ = false;
    // A commit that failed has taken everything back itself.
    if (file_->store->InTransaction()) {
        file_->store->Rollback();
    }
    used_tables_.clear();
}

void AccessDatabase::InsertRow(sql::StoredTable& table, std::span<const Cell> row) {
    static_cast<AccessTable&>(table).InsertBatched(row);
}

// Definitions change in a statement of their own, unless one is open.
template <typename Change>
void AccessDatabase::ChangeDefinitions(Change&& change) {
    if (in_transaction_) {
        throw sql::NotSupported("Making or dropping a table in a transaction");
    }
    PageStore& store = *file_->store;
    DefinitionWriter writer(store);
    const auto checked_change = [&] { WithFile(store.Name(), [&] { change(writer); }); };
    if (store.InStatement()) {
        checked_change();
        return;
    }
    store.Begin();
    try {
        checked_change();
        store.Commit();
    } catch (...) {
        RollbackStatement();
        throw;
    }
}

void AccessDatabase::CreateTable(const sql::TableDefinition& definition) {
    ChangeDefinitions([&](DefinitionWriter& writer) { writer.CreateTable(definition); });
}

void AccessDatabase::DropTable(std::string_view name) {
    ChangeDefinitions([&](DefinitionWriter& writer) { writer.DropTable(name); });
}

void AccessDatabase::CreateIndex(std::string_view table, const sql::IndexDefinition& index) {
    ChangeDefinitions([&](DefinitionWriter& writer) { writer.CreateIndex(table, index); });
}

}  // namespace vantry::access
