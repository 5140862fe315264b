#pragma once
// One real server for all cases of the process, and short words for what they do with it.

#include "data/driver.h"
#include "data/value_text.h"
#include "drivers/mysql/driver.h"
#include "support/has.h"
#include "support/private_mariadb.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace vantry::test {

// The error that `action` ends with; an error number of 0 says that it didn't fail.
inline DataError ErrorOf(const std::function<void()>& action) {
    try {
        action();
    } catch (const DataError& error) {
        return error;
    }
    return {0, "no error"};
}

class MySqlTest : public testing::Test {
protected:
    void SetUp() override {
        if (const auto missing = PrivateMariaDb::Missing(); !missing.empty()) {
            GTEST_SKIP() << missing;
        }
    }

    static PrivateMariaDb& Server() {
        static PrivateMariaDb server({.max_allowed_packet = std::uint64_t{64} << 20});
        return server;
    }

    static std::unique_ptr<DriverConnection> ConnectBy(const std::string& text) {
        static const auto driver = mysql::MakeMySqlDriver();
        return driver->Connect(ConnectionString::Parse(text));
    }
    static std::unique_ptr<DriverConnection> Connect() {
        return ConnectBy(Server().ConnectionText());
    }

    // A cell with its kind: N number, D date or time, b boolean, B bytes (in hex), T text.
    static std::string Show(const Cell& cell) {
        switch (cell.Kind()) {
            case ValueKind::Null:
                return "null";
            case ValueKind::Boolean:
                return "b " + ToText(cell);
            case ValueKind::DateTime:
                return "D " + ToText(cell);
            case ValueKind::Text:
                return "T " + ToText(cell);
            case ValueKind::Bytes: {
                std::string hex = "B ";
                for (const auto byte : cell.AsBytes()) {
                    constexpr std::string_view kDigits = "0123456789abcdef";
                    hex += kDigits[std::to_integer<std::size_t>(byte) >> 4];
                    hex += kDigits[std::to_integer<std::size_t>(byte) & 15];
                }
                return hex;
            }
            default:
                return "N " + ToText(cell);
        }
    }

    static std::vector<std::string> ReadColumn(DriverConnection& connection,
                                               const std::string& sql,
                                               std::size_t column = 0) {
        std::vector<std::string> values;
        const auto cursor = connection.OpenCursor(sql);
        while (cursor->Next()) {
            values.push_back(Show(cursor->Row()[column]));
        }
        return values;
    }
};

}  // namespace vantry::test
