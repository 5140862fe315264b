// What each call of the driver's interface becomes on a session. Easy to get wrong: an INSERT that
// a loader sends is answered late (RowInsert), so whatever comes next must wait for its answer
// (Session::Idle); and what a collation counts as the same text stands in its name alone.

#include "drivers/mysql/driver.h"

#include "data/value_convert.h"
#include "data/value_text.h"
#include "drivers/mysql/appender.h"
#include "drivers/mysql/bound_statement.h"
#include "drivers/mysql/cursor.h"
#include "drivers/mysql/errors.h"
#include "drivers/mysql/row_insert.h"
#include "drivers/mysql/session.h"

#include <algorithm>
#include <functional>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace vantry::mysql {
namespace {

// A table may take its time to be emptied, or a row of it to be added by a statement of the user's.
constexpr int kTimesForOneStatement = 6;
constexpr int kLoginsPerCatalog = 4;  // as long as a login may take, so many times

class MySqlStatement : public Statement {
public:
    MySqlStatement(std::shared_ptr<Session> session, std::string_view sql, std::vector<int> types)
        : statement_(std::move(session), sql, std::move(types)) {}
    std::int64_t Execute(std::span<const Cell> values) override {
        return statement_.Execute(values);
    }

private:
    BoundStatement statement_;
};

class MySqlConnection : public DriverConnection {
public:
    explicit MySqlConnection(Login login) : session_(std::make_shared<Session>(std::move(login))) {}

    std::unique_ptr<Cursor> OpenCursor(std::string_view sql) override {
        return std::make_unique<MySqlCursor>(session_, sql);
    }

    std::int64_t Execute(std::string_view sql) override {
        if (StartExecute(sql)) {
            return FinishExecute();
        }
        MYSQL* handle = ReadyToWrite(sql);
        session_->Send(sql, kTimesForOneStatement);
        const auto affected = static_cast<std::int64_t>(mysql_affected_rows(handle));
        // Rows after all, as of a CALL: they are read off, or nothing more could be sent.
        if (MYSQL_RES* result = mysql_use_result(handle)) {
            mysql_free_result(result);
        }
        DropFurtherResults(*session_);
        return affected;
    }

    bool StartExecute(std::string_view sql) override {
        auto table = TargetOfInsert(sql);
        if (table.empty()) {
            return false;
        }
        ReadyToWrite(sql);
        insert_.emplace(*session_, std::move(table), sql);
        return true;
    }

    std::int64_t FinishExecute() override {
        auto insert = std::exchange(insert_, std::nullopt);
        return insert.value().Finish();
    }

    std::unique_ptr<Statement> Prepare(std::string_view sql,
                                       std::span<const ParameterInfo> parameters) override {
        std::vector<int> types;
        for (const auto& parameter : parameters) {
            types.push_back(parameter.type);
        }
        return std::make_unique<MySqlStatement>(session_, sql, std::move(types));
    }

    std::unique_ptr<Appender> OpenAppender(std::string_view select_sql) override {
        return std::make_unique<MySqlAppender>(session_, select_sql);
    }

    std::vector<TableEntry> Tables() override {
        std::vector<TableEntry> tables;
        session_->Idle();
        const Deadline deadline(*session_, kLoginsPerCatalog * session_->LoginLimit());
        const auto cursor = OpenCursor("show full tables");
        while (cursor->Next()) {
            const auto row = cursor->Row();
            if (row.size() != 2 || row[0].Kind() != ValueKind::Text ||
                row[1].Kind() != ValueKind::Text) {
                continue;  // no list of tables
            }
            std::string type(row[1].AsText());
            if (type == "BASE TABLE" || type == "SYSTEM VERSIONED") {
                type = "TABLE";
            }
            tables.push_back({std::string(row[0].AsText()), std::move(type)});
        }
        return tables;
    }

    TableRules RulesOf(std::string_view table) override {
        TableRules rules;
        std::string quoted = "`";
        for (const char c : table) {
            quoted.append(c == '`' ? 2 : 1, c);
        }
        quoted += '`';
        std::map<std::string, std::string> collations;
        // Of the answer's columns 0 is the name, 1 the type, 2 the collation of a text, 3 whether
        // null is allowed, 5 the default, 6 has the extras.
        Read("show full columns from " + quoted, 7, [&](std::span<const Cell> column) {
            const auto name = ToText(column[0]);
            const auto extras = ToText(column[6]);
            // A null in a counting column is its next number.
            if (ToText(column[3]) == "NO" && extras.find("auto_increment") == extras.npos) {
                rules.required.push_back(name);
                // The first word of a list stands in for what isn't given.
                if (column[5].IsNull() && !ToText(column[1]).starts_with("enum") &&
                    extras.find("GENERATED") == extras.npos) {
                    rules.needed.push_back(name);
                }
            }
            if (!column[2].IsNull()) {
                collations.emplace(name, ToText(column[2]));
            }
            if (ToText(column[1]).starts_with("timestamp")) {
                rules.moments.emplace(name, TableRules::Moments());
            }
        });
        if (!rules.moments.empty()) {
            SetMomentsOfTimestamps(rules);
        }
        Read("show index from " + quoted, 8, [&](std::span<const Cell> part) {
            // 1 says whether a value may repeat, 2 names the index, 3 counts its parts, 4 is the
            // column, 7 how many of its letters count.
            if (ToText(part[1]) != "0") {
                return;
            }
            if (ToText(part[3]) == "1") {
                rules.unique.push_back({ToText(part[2]), {}});
            }
            if (!rules.unique.empty()) {
                const auto column = ToText(part[4]);
                rules.unique.back().parts.push_back(
                    PartOf(column, ToInt64(part[7]).value_or(0), collations[column]));
            }
        });
        return rules;
    }

private:
    // The statements that give no rows are written by loaders, which double the quotes of a value
    // and nothing else: C:\new has to arrive as it is.
    MYSQL* ReadyToWrite(std::string_view sql) {
        MYSQL* handle = session_->Idle();
        session_->BeStrict();
        session_->ReadBackslashesAs(Backslash::Data, sql);
        session_->RequireFits(sql);
        return handle;
    }

    // They count seconds from 1970 in UTC, of which 0 stands for no date, and are written in the
    // session's time zone: the server itself knows its first and last second there.
    void SetMomentsOfTimestamps(TableRules& rules) {
        std::optional<TableRules::Moments> ends;
        // MariaDB has counted with a bit more since 11.5; MySQL's function goes further than its
        // type.
        Read(
            "select from_unixtime(1), from_unixtime(2147483647), if(version() like '%MariaDB%', "
            "from_unixtime(4294967295), null)",
            3,
            [&](std::span<const Cell> row) {
                const auto first = ToDateTime(row[0]);
                const auto last = ToDateTime(row[row[2].IsNull() ? 1 : 2]);
                if (first && last) {
                    ends = {*first, {last->day, last->nanos + kNanosPerSecond - 1}};
                }
            });
        for (auto& [name, moments] : rules.moments) {
            moments = ends.value_or(TableRules::Moments{{kMinDay, 0}, {kMaxDay, kNanosPerDay - 1}});
        }
    }

    // By a collation's name. Without a word about accents those of a "_ci" don't count. Bytes have
    // none.
    static TableRules::Part PartOf(const std::string& column,
                                   std::int64_t letters,
                                   std::string_view collation) {
        using enum TableRules::Letters;
        const auto has = [&](std::string_view word) {
            return collation.find(word) != std::string_view::npos;
        };
        TableRules::Part part{column, letters, AnyCaseAndAccents};
        if (collation.empty() || collation == "binary" || has("_bin") || has("_cs")) {
            part.compared = Exact;
        } else if (has("_as_ci")) {
            part.compared = AnyCase;
        }
        part.blanks_count =
            collation.empty() || collation == "binary" || has("nopad") || has("_0900_");
        return part;
    }

    // Each row, if it has so many columns; others are none of ours.
    void Read(const std::string& question,
              std::size_t columns,
              const std::function<void(std::span<const Cell>)>& take) {
        const auto cursor = OpenCursor(question);
        while (cursor->Next()) {
            if (cursor->Row().size() >= columns) {
                take(cursor->Row());
            }
        }
    }

    std::shared_ptr<Session> session_;
    std::optional<RowInsert> insert_;  // on its way to the server
};

class MySqlDriver : public Driver {
public:
    std::unique_ptr<DriverConnection> Connect(const ConnectionString& connection) override {
        try {
            return std::make_unique<MySqlConnection>(Login::From(connection));
        } catch (const DataError& error) {
            // A statement of the string itself (INITSTMT) may hold a password that the server
            // repeats.
            throw DataError(
                error.Number(), MaskSecrets(error.Description(), connection), error.Source());
        }
    }
};

}  // namespace

std::unique_ptr<Driver> MakeMySqlDriver() {
    return std::make_unique<MySqlDriver>();
}

}  // namespace vantry::mysql
