#pragma once
// Databases behind the driver, as connections open them.

#include "data/value_text.h"
#include "drivers/access/driver.h"

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace vantry::test {

inline std::unique_ptr<DriverConnection> ConnectBy(const std::string& text) {
    return access::MakeAccessDriver()->Connect(ConnectionString::Parse(text));
}

inline std::string ConnectionTextOf(const std::filesystem::path& path) {
    return "Provider=Microsoft.ACE.OLEDB.12.0;Data Source=" + path.string();
}

inline std::unique_ptr<DriverConnection> ConnectTo(const std::filesystem::path& path,
                                                   const std::string& password = "") {
    return ConnectBy(ConnectionTextOf(path) + ";Jet OLEDB:Database Password=" + password);
}

// Makes the file, too.
inline std::unique_ptr<DriverConnection> ConnectToNew(const std::filesystem::path& path) {
    access::MakeAccessDriver()->CreateDatabase(ConnectionString::Parse(ConnectionTextOf(path)));
    return ConnectTo(path);
}

// Each row as its fields' text forms; of one that can't be read, the error.
inline std::vector<std::string> RowsBy(DriverConnection& connection, const std::string& sql) {
    std::vector<std::string> lines;
    const auto cursor = connection.OpenCursor(sql);
    while (cursor->Next()) {
        std::string line;
        const auto row = cursor->Row();
        for (std::size_t i = 0; i < row.size(); ++i) {
            line += i == 0 ? "" : "|";
            line += row[i].Kind() == ValueKind::Unreadable ? cursor->FieldError(i).Description()
                    : row[i].IsNull()                      ? "NULL"
                                                           : ToText(row[i]);
        }
        lines.push_back(std::move(line));
    }
    return lines;
}

}  // namespace vantry::test
