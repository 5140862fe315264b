#pragma once
// A whole table of a file through the storage core, for tests.

#include "data/value.h"
#include "data/value_text.h"
#include "drivers/access/catalogue/object_catalog.h"
#include "drivers/access/rows/field.h"
#include "drivers/access/rows/row_scanner.h"

#include <string>
#include <string_view>
#include <vector>

namespace vantry::test {

struct StoredRows {
    access::TableDef def;
    std::vector<std::vector<Value>> rows;  // Unreadable fields as they are
};

inline StoredRows ReadRows(access::PageSource& source, const access::CatalogObject& object) {
    access::ObjectCatalog catalog(source);
    StoredRows table;
    table.def = catalog.ReadTable(object);
    std::vector<access::FieldDecoder> decoders;
    for (const auto& column : table.def.columns) {
        decoders.emplace_back(source, column);
    }
    access::RowScanner scanner(source, table.def);
    while (scanner.Next()) {
        const access::RowView view(table.def, source.GetLayout(), scanner.Row());
        auto& row = table.rows.emplace_back();
        for (std::size_t i = 0; i < decoders.size(); ++i) {
            const auto stored = view.Field(table.def.columns[i]);
            row.emplace_back(stored ? decoders[i].Decode(*stored) : Cell::Null());
        }
    }
    return table;
}

inline StoredRows ReadRows(const std::string& path, std::string_view table) {
    const auto source = access::OpenReadOnly(path);
    access::ObjectCatalog catalog(*source);
    const auto* object = catalog.Find(table);
    return object != nullptr ? ReadRows(*source, *object) : StoredRows();
}

inline std::string Shown(const Cell& cell) {
    return cell.IsNull() ? "NULL" : ToText(cell);
}

// Each row as its fields' text forms.
inline std::vector<std::string> Lines(const StoredRows& table) {
    std::vector<std::string> lines;
    for (const auto& row : table.rows) {
        auto& line = lines.emplace_back();
        for (const Value& value : row) {
            line += Shown(value.AsCell()) + '|';
        }
    }
    return lines;
}

}  // namespace vantry::test
