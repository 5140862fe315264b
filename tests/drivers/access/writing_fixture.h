#pragma once
// A database of our own making, driven through what the SQL layer drives it by.

#include "data/value_text.h"
#include "drivers/access/catalogue/database_creator.h"
#include "drivers/access/database.h"
#include "drivers/access/stored_rows.h"
#include "drivers/access/verify/verify.h"
#include "files/error_of.h"
#include "support/fault_plans.h"
#include "support/temp_dir.h"

#include <gtest/gtest.h>

#include <map>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace vantry::access {

using test::ErrorOf;
using test::Has;
using Columns = std::vector<sql::ColumnDefinition>;
using Indexes = std::vector<sql::IndexDefinition>;

struct Opened {
    explicit Opened(const std::string& path)
        : file(std::make_shared<DatabaseFile>(path, "")),
          database(std::make_shared<AccessDatabase>(file)) {}

    void Create(std::string_view name, Columns columns, Indexes indexes = {}) {
        database->CreateTable({.name = std::string(name),
                               .columns = std::move(columns),
                               .indexes = std::move(indexes)});
    }
    std::shared_ptr<sql::StoredTable> Table(std::string_view name) {
        return database->OpenTable(name);
    }
    // One statement, taken back when it throws.
    template <typename Work>
    void Statement(Work&& work) {
        database->BeginStatement();
        try {
            work();
            database->CommitStatement();
        } catch (...) {
            database->RollbackStatement();
            throw;
        }
    }
    template <typename Work>
    void Change(std::string_view table, Work&& work) {
        const auto opened = Table(table);
        Statement([&] { work(*opened); });
    }
    void Insert(std::string_view table, const std::vector<Cell>& row) {
        Change(table, [&](sql::StoredTable& opened) { opened.Insert(row); });
    }

    std::shared_ptr<DatabaseFile> file;
    std::shared_ptr<AccessDatabase> database;
};

inline sql::ColumnDefinition Column(std::string name, std::string type, int size = 0) {
    sql::ColumnDefinition column;
    column.name = std::move(name);
    column.type = std::move(type);
    if (size > 0) {
        column.size = size;
    }
    return column;
}

// "id LONG, name TEXT 50": names of one word, with the size behind the type.
inline Columns ColumnsOf(const std::string& list) {
    Columns columns;
    std::istringstream parts(list);
    for (std::string part; std::getline(parts, part, ',');) {
        std::istringstream words(part);
        std::string name;
        std::string type;
        int size = 0;
        words >> name >> type >> size;
        columns.push_back(Column(name, type, size));
    }
    return columns;
}

inline sql::IndexDefinition Index(std::string name, const std::vector<std::string>& columns) {
    sql::IndexDefinition index;
    index.name = std::move(name);
    for (const auto& column : columns) {
        const bool descending = column.starts_with('-');
        index.parts.push_back(
            {.column = descending ? column.substr(1) : column, .descending = descending});
    }
    return index;
}

inline sql::IndexDefinition PrimaryKey() {
    auto index = Index("PrimaryKey", {"id"});
    index.primary = true;
    return index;
}

// "" or what the verifier found, its notes included: our own writer leaves none.
inline std::string Faults(const std::string& path) {
    return Verify(path).Text();
}

inline std::vector<sql::RowId> RowsOf(sql::StoredTable& table) {
    std::vector<sql::RowId> rows;
    const auto scan = table.Scan({});
    while (scan->Next()) {
        rows.push_back(scan->CurrentRow());
    }
    return rows;
}

inline void SetField(sql::StoredTable& table,
                     sql::RowId row,
                     std::size_t column,
                     const Cell& value) {
    table.Update(row, {&column, 1}, {&value, 1});
}

// Every row of a table, as text, sorted.
inline std::vector<std::string> Content(const std::string& path, std::string_view table) {
    auto lines = test::Lines(test::ReadRows(path, table));
    std::sort(lines.begin(), lines.end());
    return lines;
}

// The rows of each table, as text, sorted.
using Snapshot = std::map<std::string, std::vector<std::string>>;
inline Snapshot Look(const std::string& path) {
    Snapshot snapshot;
    const auto source = OpenReadOnly(path);
    ObjectCatalog catalog(*source);
    for (const auto& object : catalog.Objects()) {
        if (object.IsTable() && object.flags == 0) {
            snapshot[object.name] = Content(path, object.name);
        }
    }
    return snapshot;
}

// A folder whose files needn't reach the disk.
class WithoutSync : public testing::Test {
protected:
    test::NoSync no_sync_;
    test::InstalledPlan installed_{no_sync_};
    test::TempDir folder_{test::MemoryFolder(), "vantry"};
};

}  // namespace vantry::access
