#pragma once
// What tests of whole sessions do around a run: map the tables, send a statement, look at rows.

#include "core/data_access.h"
#include "core/session_state.h"
#include "data/value_text.h"
#include "mapping/column_discovery.h"

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace vantry::test {

// What the mapping page does when it opens; `target` names the first table's target. The tables
// that the target has.
inline std::vector<std::string> MapTables(const std::string& target = {}) {
    std::vector<std::string> names;
    FillTargetTables();
    if (!target.empty()) {
        DstTables[0].Name = target;
    }
    LoadSourceColumns();
    CheckTargetTables(names);
    LoadTargetColumns();
    BuildColMaps();
    return names;
}

inline void RunStatement(const std::string& connection_text, const std::string& sql) {
    Connection connection;
    connection.Open(connection_text);
    connection.Execute(sql);
    connection.Close();
}

// Bytes as hexadecimal digits.
inline std::string ValueInHex(const Cell& value) {
    if (value.Kind() != ValueKind::Bytes) {
        return ToText(value);
    }
    constexpr std::string_view kDigits = "0123456789ABCDEF";
    std::string text;
    for (const auto byte : value.AsBytes()) {
        text += kDigits[static_cast<unsigned>(byte) >> 4];
        text += kDigits[static_cast<unsigned>(byte) & 15];
    }
    return text;
}

// A database made anew in which the statements were executed: its connection string.
inline std::string NewAccessDatabase(const std::filesystem::path& file,
                                     const std::vector<std::string>& statements = {}) {
    std::string text = "PROVIDER=Microsoft.Jet.OLEDB.4.0;DATA SOURCE=" + file.string();
    std::filesystem::remove(file);
    Catalog().Create(text);
    for (const auto& sql : statements) {
        RunStatement(text, sql);
    }
    return text;
}

// Where a session's rows go as texts that commas part, under a heading.
inline void SetTextTarget(const std::filesystem::path& folder) {
    TextDestFormat = "DELIMITED";
    TextDestDir = folder.string();
    TextDestExt = ".txt";
    TextDestDelim = ",";
    TextDestQual = "\"";
    TextDestHeader = kTrue;
}

// The rows of a query, one a line, fields apart by "|".
inline std::string RowsOf(const std::string& connection_text,
                          const std::string& sql,
                          std::string (*text_of)(const Cell&) = ToText) {
    Recordset rows;
    rows.Open(sql, connection_text, adOpenForwardOnly, adLockReadOnly);
    std::string text;
    for (; !rows.Eof(); rows.MoveNext()) {
        for (std::int32_t k = 0; k < rows.Fields().Count(); ++k) {
            const Cell value = rows.Fields()[k].Value();
            text += (k == 0 ? "" : "|") + (value.IsNull() ? "Null" : text_of(value));
        }
        text += "\n";
    }
    return text;
}

}  // namespace vantry::test
