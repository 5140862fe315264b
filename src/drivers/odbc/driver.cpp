// The connection as the data layer wants it, over a Link. Everything that only one kind of server
// needs before a statement stands here: MySQL's strictness, its reading of backslashes and its
// limit on a statement's length. Easy to get wrong: the settings depend on one another (strictness
// comes before the mode is kept), and each may take the rows of an open cursor into memory.

#include "drivers/odbc/driver.h"

#include "data/value_convert.h"
#include "data/value_text.h"
#include "drivers/odbc/appender.h"
#include "drivers/odbc/bound_statement.h"
#include "drivers/odbc/cursor.h"
#include "drivers/odbc/errors.h"
#include "drivers/odbc/link.h"
#include "drivers/odbc/table_rules.h"
#include "drivers/odbc/translation.h"

#include <optional>
#include <utility>

namespace vantry::odbc {
namespace {

class OdbcConnection : public DriverConnection {
public:
    explicit OdbcConnection(std::shared_ptr<Link> link) : link_(std::move(link)) {}

    std::unique_ptr<Cursor> OpenCursor(std::string_view sql) override {
        // A condition is the user's own text, in the server's own dialect.
        TakeBackslashesAs(Backslash::Escape, sql);
        return std::make_unique<OdbcCursor>(link_, sql);
    }

    std::int64_t Execute(std::string_view sql) override {
        // The statements that give no rows are written by loaders, which double the quotes of a
        // value and nothing else: a value that ends in a backslash would swallow its quote.
        BeStrict();
        TakeBackslashesAs(Backslash::Data, sql);
        RequireFits(sql);
        link_->Idle();
        const auto statement = link_->NewStatement();
        SQLRETURN result = SQL_SUCCESS;
        try {
            result = link_->ExecuteDirect(statement, sql);
        } catch (const DataError& error) {
            throw WithArrivedRows(error, sql);
        }
        SQLLEN affected = -1;
        SQLRowCount(statement.Get(), &affected);
        const auto change = link_->ChangeIn(result, statement, affected);
        link_->DropFurtherResults(statement);
        if (change) {
            throw DataError(*change);
        }
        return affected;
    }

    std::unique_ptr<Statement> Prepare(std::string_view sql,
                                       std::span<const ParameterInfo> parameters) override {
        BeStrict();
        return std::make_unique<BoundStatement>(link_, sql, parameters);
    }

    std::unique_ptr<Appender> OpenAppender(std::string_view select_sql) override {
        BeStrict();
        return std::make_unique<OdbcAppender>(link_, select_sql);
    }

    std::vector<TableEntry> Tables() override {
        link_->Idle();
        auto statement = link_->NewStatement();
        link_->ListTables(statement);
        OdbcCursor rows(link_, std::move(statement));
        constexpr std::size_t kName = 2;
        constexpr std::size_t kType = 3;
        std::vector<TableEntry> tables;
        while (rows.Next()) {
            const auto row = rows.Row();
            if (row.size() > kType && row[kName].Kind() == ValueKind::Text &&
                row[kType].Kind() == ValueKind::Text) {
                tables.push_back(
                    {std::string(row[kName].AsText()), std::string(row[kType].AsText())});
            }
        }
        return tables;
    }

    TableRules RulesOf(std::string_view table) override { return ReadTableRules(link_, table); }

private:
    enum class Backslash { Escape, Data };

    // A MySQL server would change a value that doesn't fit its column, unless it is told not to;
    // and a 0 of a counting column. Before anything else is kept of its settings.
    void BeStrict() {
        if (link_->GetTraits().dialect != Dialect::MySql || strict_) {
            return;
        }
        link_->Idle();
        link_->ExecuteDirect(link_->NewStatement(),
                             "set session sql_mode=concat(@@session.sql_mode,"
                             "',STRICT_ALL_TABLES,NO_AUTO_VALUE_ON_ZERO')");
        strict_ = true;  // only now: what couldn't be set is tried again before the next write
    }

    // Only MySQL has tables that keep the rows before the one that was refused.
    DataError WithArrivedRows(DataError error, std::string_view sql) {
        constexpr std::string_view kHead = "INSERT INTO `";
        if (link_->GetTraits().dialect != Dialect::MySql || link_->IsLost() ||
            !sql.starts_with(kHead) || error.Number() == kErrSyntax ||
            error.Number() == kErrNoSuchTable) {
            return error;
        }
        const auto name = sql.substr(kHead.size(), sql.find('`', kHead.size()) - kHead.size());
        std::string question =
            "select e.transactions from information_schema.tables t join "
            "information_schema.engines e on e.engine=t.engine where "
            "t.table_schema=database() and t.table_name='";
        for (const char c : name) {
            question.append(c == '\'' ? 2 : 1, c);
        }
        error.SetArrivedRows(std::nullopt);
        try {
            OdbcCursor rows(link_, question + "'");
            if (rows.Next() && ToText(rows.Row()[0]) == "YES") {
                error.SetArrivedRows(0);
            }
        } catch (const DataError&) {  // then it stays unknown
        }
        return error;
    }

    // Only MySQL makes a difference. "Escape" goes back to what the server itself is set to.
    void TakeBackslashesAs(Backslash meaning, std::string_view sql) {
        if (link_->GetTraits().dialect != Dialect::MySql || meaning == backslashes_ ||
            sql.find('\\') == std::string_view::npos) {
            return;
        }
        link_->Idle();
        link_->ExecuteDirect(
            link_->NewStatement(),
            meaning == Backslash::Data
                ? "set @vantry_sql_mode=@@session.sql_mode,"
                  "session sql_mode=concat(@@session.sql_mode,',NO_BACKSLASH_ESCAPES')"
                : "set session sql_mode=@vantry_sql_mode");
        backslashes_ = meaning;
    }

    // A MySQL server cuts the connection over a statement that is too long for it, and every later
    // one would fail with it.
    void RequireFits(std::string_view sql) {
        constexpr std::size_t kAlwaysFits = std::size_t{64} << 10;
        if (link_->GetTraits().dialect != Dialect::MySql || sql.size() < kAlwaysFits) {
            return;
        }
        if (!longest_statement_) {
            OdbcCursor rows(link_, "select @@max_allowed_packet");
            longest_statement_ = rows.Next() ? ToDouble(rows.Row()[0]).value_or(0) : 0;
        }
        if (*longest_statement_ > 0 && static_cast<double>(sql.size()) >= *longest_statement_) {
            throw StatementTooLong(sql.size(), *longest_statement_, link_->Source());
        }
    }

    std::optional<double> longest_statement_;  // bytes, once it was asked for; 0 is unknown
    std::shared_ptr<Link> link_;
    Backslash backslashes_ = Backslash::Escape;
    bool strict_ = false;
};

class OdbcDriver : public Driver {
public:
    explicit OdbcDriver(const Tuning& tuning) : tuning_(tuning) {}

    std::unique_ptr<DriverConnection> Connect(const ConnectionString& connection) override {
        return std::make_unique<OdbcConnection>(
            std::make_shared<Link>(LoginOf(connection), connection, tuning_));
    }

private:
    static Login LoginOf(const ConnectionString& connection) {
        try {
            return Translate(connection, Machine::Read());
        } catch (const DataError& error) {
            throw DataError(
                error.Number(), MaskSecrets(error.Description(), connection), error.Source());
        }
    }

    Tuning tuning_;
};

}  // namespace

std::unique_ptr<Driver> MakeOdbcDriver(const Tuning& tuning) {
    return std::make_unique<OdbcDriver>(tuning);
}

}  // namespace vantry::odbc
