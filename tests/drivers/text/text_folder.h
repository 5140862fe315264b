#pragma once
// A folder of text files and its tables, with rows as readable lines.

#include "data/value_text.h"
#include "drivers/text/text_database.h"
#include "files/error_of.h"
#include "support/temp_dir.h"

#include <memory>
#include <numeric>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace vantry::text::test {

// A cell with its kind where that matters: <null>, 'text', #date#, 12, 12.5d (a double), 1.50m (a
// decimal), x41 (bytes), !!! (unreadable).
inline std::string Show(const Cell& cell) {
    std::string text;
    switch (cell.Kind()) {
        case ValueKind::Null:
            return "<null>";
        case ValueKind::Unreadable:
            return "!!!";
        case ValueKind::Text:
            return "'" + ToText(cell) + "'";
        case ValueKind::DateTime:
            AppendIsoDateTime(cell.AsDateTime(), text);
            return "#" + text + "#";
        case ValueKind::Bytes:
            return "x" + ToText(cell);
        default:
            return ToText(cell) + (cell.Kind() == ValueKind::Double    ? "d"
                                   : cell.Kind() == ValueKind::Single  ? "f"
                                   : cell.Kind() == ValueKind::Decimal ? "m"
                                                                       : "");
    }
}

inline std::string ShowRow(std::span<const Cell> row) {
    std::string line;
    for (const Cell& cell : row) {
        line += (line.empty() ? "" : "|") + Show(cell);
    }
    return line;
}

class TextFolder {
public:
    explicit TextFolder(std::string_view extended_properties = "text", ReaderSizes sizes = {})
        : properties_(extended_properties), sizes_(sizes) {
        SetLocalDateForm({});  // whatever the locale of the tests
    }

    const vantry::test::TempDir& Dir() const { return dir_; }
    void Write(std::string_view name, std::string_view content) const { dir_.Write(name, content); }
    void Schema(std::string_view sections) const { dir_.Write("Schema.ini", sections); }

    TextDatabase& Database() {
        if (!database_) {
            const auto connection = ConnectionString::Parse(
                "Provider=Microsoft.Jet.OLEDB.4.0;Data Source=" + dir_.Path().string() +
                ";Extended Properties=\"" + properties_ + "\";\"");
            database_ = std::make_unique<TextDatabase>(dir_.Path().string(),
                                                       FormatOfConnection(connection),
                                                       std::make_shared<LayoutCache>(),
                                                       sizes_);
        }
        return *database_;
    }
    std::shared_ptr<sql::StoredTable> Open(std::string_view table) {
        auto opened = Database().OpenTable(table);
        if (!opened) {
            throw DataError(kErrNoSuchTable, "no table " + std::string(table));
        }
        return opened;
    }

    // "name Type(size), ..." by the numbers that a caller sees.
    std::string Columns(std::string_view table) {
        std::string line;
        const auto opened = Open(table);
        for (const auto& column : opened->Columns()) {
            line += (line.empty() ? "" : ", ") + column.info.name + " " +
                    std::to_string(column.info.type) + "/" +
                    std::to_string(column.info.defined_size);
        }
        return line;
    }
    std::vector<std::string> Rows(std::string_view table) { return Rows(*Open(table)); }
    static std::vector<std::string> Rows(sql::StoredTable& table) {
        std::vector<std::size_t> all(table.Columns().size());
        std::iota(all.begin(), all.end(), std::size_t{0});
        std::vector<std::string> rows;
        const auto scan = table.Scan(all);
        while (scan->Next()) {
            rows.push_back(ShowRow(scan->Row()));
        }
        return rows;
    }

private:
    vantry::test::TempDir dir_;
    std::string properties_;
    ReaderSizes sizes_;
    std::unique_ptr<TextDatabase> database_;
};

}  // namespace vantry::text::test
