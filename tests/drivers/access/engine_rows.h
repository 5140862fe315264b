#pragma once
// Rows of the engine's own tables, as Access stores them: no statement of ours makes saved queries,
// links and columns of several values.

#include "drivers/access/database_file.h"
#include "drivers/access/write/table_writer.h"

#include <map>
#include <string>
#include <utility>
#include <vector>

namespace vantry::access {

class EngineRows {
public:
    struct QueryRow {
        int attribute;
        std::string expression = {};
        std::string name1 = {};
        std::string name2 = {};
        int flag = 0;
    };
    using Values = std::map<std::string, Cell>;

    // A database that nobody writes meanwhile.
    explicit EngineRows(std::string path) : path_(std::move(path)) {}

    // Columns without a value here are null.
    void Insert(std::string_view table, const Values& values) const {
        DatabaseFile file(path_, "");
        const auto* object = file.catalog.Find(table);
        file.store->Begin();
        TableWriter writer(*file.store, file.catalog.ReadTable(*object), {});
        std::vector<Cell> row;
        for (const auto& column : writer.Def().columns) {
            const auto value = values.find(column.name);
            row.push_back(value == values.end() ? Cell::Null() : value->second);
        }
        writer.Insert(row);
        file.store->Commit();
    }
    // Returns its number.
    Cell AddObject(const std::string& name, ObjectType type, Values values) {
        const Cell id = Cell::Int64(next_id_++);
        const Cell day = Cell::FromDateTime({45'000, 0});
        values.insert({{"Id", id},
                       {"ParentId", Cell::Int64(251'658'241)},
                       {"Name", Cell::Text(name)},
                       {"Type", Cell::Int64(static_cast<int>(type))},
                       {"DateCreate", day},
                       {"DateUpdate", day}});
        Insert("MSysObjects", values);
        return id;
    }
    void AddQuery(const std::string& name, int kind, const std::vector<QueryRow>& rows) {
        const Cell id = AddObject(name, ObjectType::Query, {{"Flags", Cell::Int64(kind)}});
        int order = 1000;
        for (const auto& row : rows) {
            const auto number = std::to_string(order++);
            Insert("MSysQueries",
                   {{"ObjectId", id},
                    {"Attribute", Cell::Int64(row.attribute)},
                    {"Order", Cell::Bytes(std::as_bytes(std::span(number)))},
                    {"Expression", TextOrNull(row.expression)},
                    {"Name1", TextOrNull(row.name1)},
                    {"Name2", TextOrNull(row.name2)},
                    {"Flag", Cell::Int64(row.flag)}});
        }
    }

    static Cell TextOrNull(const std::string& text) {
        return text.empty() ? Cell::Null() : Cell::Text(text);
    }

private:
    std::string path_;
    int next_id_ = INT32_MIN;
};

}  // namespace vantry::access
