#pragma once
// What the tests of this driver share: registered drivers, connections, rows as values.

#include "data/connection_string.h"
#include "data/value_text.h"
#include "drivers/odbc/driver.h"
#include "support/has.h"
#include "support/private_odbc.h"
#include "support/shown_columns.h"

#include <gtest/gtest.h>

#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace vantry::test {

inline const std::string kSqliteLibrary = "libsqlite3odbc.so";
inline const std::string kMariaDbLibrary = "libmaodbc.so";
inline const std::string kFreeTdsLibrary = "libtdsodbc.so";
inline const std::string kPostgreSqlLibrary = "psqlodbcw.so";

inline PrivateOdbc& Registry() {
    return PrivateOdbc::OfProcess();
}

// Without its library on this machine, or its server, the tests of a driver are skipped.
class DriverTest : public testing::Test {
protected:
    DriverTest(const std::string& library,
               const std::string& package,
               const std::string& missing_server = {})
        : missing_(PrivateOdbc::Missing(library, package) + missing_server) {}
    void SetUp() override {
        if (!missing_.empty()) {
            GTEST_SKIP() << missing_;
        }
    }

private:
    std::string missing_;
};

using ValueRows = std::vector<std::vector<Value>>;

inline std::unique_ptr<DriverConnection> Connect(const std::string& text,
                                                 const odbc::Tuning& tuning = {}) {
    return odbc::MakeOdbcDriver(tuning)->Connect(ConnectionString::Parse(text));
}

inline ValueRows RowsOf(Cursor& cursor) {
    ValueRows rows;
    while (cursor.Next()) {
        auto& row = rows.emplace_back();
        for (const auto& cell : cursor.Row()) {
            row.emplace_back(cell);
        }
    }
    return rows;
}

inline ValueRows Query(DriverConnection& connection, std::string_view sql) {
    return RowsOf(*connection.OpenCursor(sql));
}

inline std::string One(DriverConnection& connection, std::string_view sql) {
    const auto rows = Query(connection, sql);
    return rows.empty() || rows[0].empty() ? "no row" : ToText(rows[0][0].AsCell());
}

// "kind:text", to see in one look what a value became.
inline std::string Shown(const Value& value) {
    const Cell& cell = value.AsCell();
    switch (cell.Kind()) {
        case ValueKind::Null:
            return "null";
        case ValueKind::Boolean:
            return "bool:" + ToText(cell);
        case ValueKind::Int64:
        case ValueKind::UInt64:
        case ValueKind::NumberText:
        case ValueKind::Decimal:
        case ValueKind::Single:
        case ValueKind::Double:
            return "number:" + ToText(cell);
        case ValueKind::DateTime: {
            std::string text = "moment:";
            AppendIsoDateTime(cell.AsDateTime(), text);
            return text;
        }
        case ValueKind::Text:
            return "text:" + ToText(cell);
        case ValueKind::Bytes:
            return "bytes:" + std::to_string(cell.AsBytes().size());
        default:
            return "unreadable";
    }
}

inline std::string Shown(const std::vector<Value>& row) {
    std::string text;
    for (const auto& value : row) {
        text.append(text.empty() ? "" : " | ").append(Shown(value));
    }
    return text;
}

inline Cell BytesOf(std::string_view text) {
    return Cell::Bytes(std::as_bytes(std::span(text)));
}

// The error that `call` raises; its number is 0 if it raises none.
template <typename Call>
DataError ErrorOf(Call call) {
    try {
        call();
    } catch (const DataError& error) {
        return error;
    }
    return {0, "no error", ""};
}

// So many bytes of text with characters of one to four bytes, different at every place.
inline std::string LongText(std::size_t bytes) {
    std::string text;
    for (std::size_t k = 0; text.size() < bytes; ++k) {
        text += std::to_string(k) + " aé€😀 ";
    }
    return text;
}

}  // namespace vantry::test
