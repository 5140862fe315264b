// The connection of the embedded engines: decides which way a statement goes. Reading has two ways,
// the engine's own scan for plain projections and counts, and SQLite for everything else.

#include "data/ascii.h"
#include "drivers/sql/errors.h"
#include "drivers/sql/parse/parser.h"
#include "drivers/sql/run/change.h"
#include "drivers/sql/run/plain_query.h"
#include "drivers/sql/run/query.h"

#include <algorithm>
#include <string>

namespace vantry::sql {
namespace {

// Runs name a FoxPro table for new rows by its bare name, and there are tables with blanks in their
// name. Nothing else can stand behind FROM there, so the rest of the text is the name, if there is
// such a table.
std::string NamedInBrackets(std::string_view select_sql, EmbeddedDatabase& database) {
    constexpr std::string_view kFrom = " FROM ";
    std::string sql(select_sql);
    std::size_t at = sql.size();
    while (at > 0 && !EqualsNoCase(std::string_view(sql).substr(at, kFrom.size()), kFrom)) {
        --at;
    }
    const std::string name(
        Trimmed(std::string_view(sql).substr(std::min(at + kFrom.size(), sql.size()))));
    if (at > 0 && name.find(' ') != std::string::npos &&
        name.find_first_of("[]\"'`") == std::string::npos && database.OpenTable(name)) {
        sql.replace(at + kFrom.size(), std::string::npos, "[" + name + "]");
    }
    return sql;
}

class SqlConnection : public DriverConnection {
public:
    SqlConnection(std::shared_ptr<EmbeddedDatabase> database, Dialect dialect)
        : database_(std::move(database)), dialect_(std::move(dialect)) {}

    std::unique_ptr<Cursor> OpenCursor(std::string_view sql) override {
        const auto statement = ParseStatement(sql, dialect_.kind);
        const auto* select = std::get_if<Select>(&statement.content);
        if (select == nullptr || select->into) {
            throw DataError(kErrSyntax, "This statement gives no rows; only SELECT does.");
        }
        // A cursor gets no values: what looks like a parameter is a misspelled field, mostly.
        if (statement.parameter_count > 0) {
            throw NoSuchColumn();
        }
        if (auto plain = MatchPlainQuery(*select, *database_)) {
            return OpenPlainQuery(std::move(*plain), database_);
        }
        return OpenQuery(*select, database_, dialect_);
    }

    std::int64_t Execute(std::string_view sql) override {
        return PrepareChange(sql, database_, dialect_)->Execute({});
    }

    std::unique_ptr<vantry::Statement> Prepare(std::string_view sql,
                                               std::span<const ParameterInfo>) override {
        return PrepareChange(sql, database_, dialect_);
    }

    std::unique_ptr<Appender> OpenAppender(std::string_view select_sql) override {
        const auto statement = ParseStatement(dialect_.kind == Dialect::Kind::FoxPro
                                                  ? NamedInBrackets(select_sql, *database_)
                                                  : std::string(select_sql),
                                              dialect_.kind);
        const auto* select = std::get_if<Select>(&statement.content);
        if (select == nullptr || statement.parameter_count > 0) {
            throw InvalidStatement();
        }
        return MakeAppender(*select, database_, dialect_);
    }

    std::vector<TableEntry> Tables() override { return database_->Tables(); }
    TableRules RulesOf(std::string_view table) override {
        const auto stored = database_->OpenTable(table);
        return stored ? stored->Rules() : TableRules();
    }
    void Settle() override { database_->Settle(); }
    void ExpectManyRows() override { database_->ExpectManyRows(); }
    std::vector<std::string> TakeRemarks() override { return database_->TakeRemarks(); }

private:
    std::shared_ptr<EmbeddedDatabase> database_;
    Dialect dialect_;
};

}  // namespace

std::unique_ptr<DriverConnection> ConnectSql(std::shared_ptr<EmbeddedDatabase> database,
                                             Dialect dialect) {
    return std::make_unique<SqlConnection>(std::move(database), std::move(dialect));
}

}  // namespace vantry::sql
