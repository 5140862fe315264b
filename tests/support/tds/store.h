#pragma once
// The databases of the server: SQLite ones in memory, with SQL Server's types, errors and system
// tables. What SQL Server's language has beyond SQLite's isn't there: the statements are those of
// sessions, of pages and of tests. Decimals are kept as texts, so a condition can't compare their
// size.

#include "support/tds/types.h"

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <span>
#include <string>
#include <string_view>
#include <vector>

struct sqlite3;
struct sqlite3_stmt;

namespace vantry::test::tds {

struct ResultColumn {
    std::string name;
    Type type;
};
struct Result {
    std::vector<ResultColumn> columns;  // none: the statement gives no rows
    std::vector<std::vector<Value>> rows;
    std::int64_t affected = 0;
};

class Store {
public:
    Store();  // with the database "master"
    ~Store();
    Store(const Store&) = delete;
    Store& operator=(const Store&) = delete;

    void AddDatabase(const std::string& name);
    bool HasDatabase(std::string_view name) const;
    // A schema beside "dbo".
    void AddSchema(std::string_view database, const std::string& name);

    // One statement; its parameters are called @P1, @P2 ... Throws ServerError.
    Result Run(std::string_view database, std::string_view sql, std::span<const Value> parameters);
    // Finds the errors that a statement has before it is run.
    void Check(std::string_view database, std::string_view sql);

private:
    struct Closer {
        void operator()(sqlite3* database) const;
    };
    struct Database {
        std::unique_ptr<sqlite3, Closer> handle;
        std::vector<std::string> schemas = {"dbo"};
    };
    struct Finalizer {
        void operator()(sqlite3_stmt* statement) const;
    };
    using Prepared = std::unique_ptr<sqlite3_stmt, Finalizer>;

    Database& Find(std::string_view name);
    void Plain(Database& database, const std::string& sql);
    void FillSystemTables(Database& database);
    void ConvertInNewTables(Database& database);
    Prepared Prepare(Database& database, std::string_view sql);

    mutable std::mutex mutex_;
    std::map<std::string, Database, std::less<>> databases_;
};

}  // namespace vantry::test::tds
