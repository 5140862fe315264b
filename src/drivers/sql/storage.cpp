// What an engine does that can't do more: it refuses changes by name, finds nothing by value, and
// deletes rows one by one.

#include "drivers/sql/storage.h"

#include "drivers/sql/errors.h"

namespace vantry::sql {

TableRules StoredTable::Rules() const {
    TableRules rules;
    for (const auto& column : Columns()) {
        if (column.required && !column.auto_number) {
            rules.required.push_back(column.info.name);
            if (!column.has_default) {
                rules.needed.push_back(column.info.name);
            }
        }
        if (column.never_empty) {
            rules.never_empty.push_back(column.info.name);
        }
    }
    return rules;
}

void StoredTable::Insert(std::span<const Cell>) {
    throw ReadOnlyEngine("Adding rows to '" + Name() + "'");
}

void StoredTable::Update(RowId, std::span<const std::size_t>, std::span<const Cell>) {
    throw ReadOnlyEngine("Updating rows of '" + Name() + "'");
}

void StoredTable::Delete(RowId) {
    throw ReadOnlyEngine("Deleting rows of '" + Name() + "'");
}

std::int64_t StoredTable::DeleteAll() {
    // Gathered first: a delete could take away what the scan stands on.
    std::vector<RowId> rows;
    const auto scan = Scan({});
    while (scan->Next()) {
        rows.push_back(scan->CurrentRow());
    }
    for (const auto row : rows) {
        Delete(row);
    }
    return static_cast<std::int64_t>(rows.size());
}

std::unique_ptr<TableScan> StoredTable::FindEqual(std::size_t,
                                                  const Cell&,
                                                  std::span<const std::size_t>) {
    return nullptr;
}

std::optional<std::string> EmbeddedDatabase::ViewText(std::string_view) {
    return std::nullopt;
}

void EmbeddedDatabase::CreateTable(const TableDefinition& definition) {
    throw ReadOnlyEngine("Creating the table '" + definition.name + "'");
}

void EmbeddedDatabase::DropTable(std::string_view name) {
    throw ReadOnlyEngine("Dropping the table '" + std::string(name) + "'");
}

void EmbeddedDatabase::CreateIndex(std::string_view table, const IndexDefinition&) {
    throw ReadOnlyEngine("Creating an index of '" + std::string(table) + "'");
}

void EmbeddedDatabase::BeginTransaction() {
    throw NotSupported("A transaction of several statements");
}

void EmbeddedDatabase::CommitTransaction() {
    throw NoTransaction();
}

void EmbeddedDatabase::RollbackTransaction() {
    throw NoTransaction();
}

void EmbeddedDatabase::InsertRow(StoredTable& table, std::span<const Cell> row) {
    BeginStatement();
    try {
        table.Insert(row);
        CommitStatement();
    } catch (...) {
        RollbackStatement();
        throw;
    }
}

}  // namespace vantry::sql
