#include "drivers/mysql/driver.h"

#include "data/value_text.h"
#include "drivers/mysql/appender.h"
#include "drivers/mysql/bound_statement.h"
#include "drivers/mysql/cursor.h"
#include "drivers/mysql/errors.h"
#include "drivers/mysql/row_insert.h"
#include "drivers/mysql/session.h"

#include <algorithm>
#include <functional>
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
        // Of the answer's columns 0 is the name, 2 whether null is allowed, and 5 has the extras.
        Read("show columns from " + quoted, 6, [&](std::span<const std::string> column) {
            // A null in a counting column is its next number.
            if (column[2] == "NO" && column[5].find("auto_increment") == std::string::npos) {
                rules.required.push_back(column[0]);
            }
        });
        Read("show index from " + quoted, 5, [&](std::span<const std::string> part) {
            // 1 says whether a value may repeat, 2 names the index, 3 counts its parts, 4 is the
            // column.
            if (part[1] != "0") {
                return;
            }
            if (part[3] == "1") {
                rules.unique.push_back({part[2], {}});
            }
            if (!rules.unique.empty()) {
                rules.unique.back().columns.push_back(part[4]);
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

    // The first `columns` of each row as texts; rows with fewer are none of ours.
    void Read(const std::string& question,
              std::size_t columns,
              const std::function<void(std::span<const std::string>)>& take) {
        const auto cursor = OpenCursor(question);
        while (cursor->Next()) {
            const auto row = cursor->Row();
            std::vector<std::string> texts;
            for (std::size_t k = 0; k < std::min(columns, row.size()); ++k) {
                texts.push_back(ToText(row[k]));
            }
            if (texts.size() == columns) {
                take(texts);
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
