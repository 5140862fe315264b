#pragma once
// A database of our own making, driven through what the SQL layer drives it by.

#include "data/value_text.h"
#include "drivers/access/database.h"
#include "drivers/access/database_creator.h"
#include "drivers/access/stored_rows.h"
#include "drivers/access/verify.h"
#include "support/temp_dir.h"

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <utility>
#include <vector>

namespace vantry::access {

struct Opened {
    explicit Opened(const std::string& path)
        : file(std::make_shared<DatabaseFile>(path, "")),
          database(std::make_shared<AccessDatabase>(file)) {}

    std::shared_ptr<sql::StoredTable> Table(const std::string& name) {
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
    void Insert(const std::string& table, const std::vector<Cell>& row) {
        const auto opened = Table(table);
        Statement([&] { opened->Insert(row); });
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

inline sql::IndexDefinition Index(std::string name, std::vector<std::string> columns) {
    sql::IndexDefinition index;
    index.name = std::move(name);
    for (auto& column : columns) {
        const bool descending = column.starts_with('-');
        index.parts.push_back(
            {.column = descending ? column.substr(1) : column, .descending = descending});
    }
    return index;
}

// "" or what the verifier found, its notes included: our own writer leaves none.
inline std::string Faults(const std::string& path) {
    return Verify(path).Text();
}

// Every row of a table, as text, sorted.
inline std::vector<std::string> Content(const std::string& path, const std::string& table) {
    std::vector<std::string> lines;
    for (const auto& row : test::ReadRows(path, table).rows) {
        std::string line;
        for (const Value& value : row) {
            line += value.IsNull() ? "NULL" : ToText(value.AsCell());
            line += '|';
        }
        lines.push_back(std::move(line));
    }
    std::sort(lines.begin(), lines.end());
    return lines;
}

// The message of the DataError that `work` throws; empty if it throws none.
template <typename Work>
std::string ErrorOf(Work&& work) {
    try {
        work();
    } catch (const DataError& error) {
        return error.Description();
    }
    return {};
}

}  // namespace vantry::access
