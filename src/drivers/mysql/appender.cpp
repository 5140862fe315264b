// Rows are added by INSERT statements over the columns of a SELECT that is described and never run:
// reading would lock the table, or fetch it. The statement is prepared once and again only when
// another set of columns is given, because a column that isn't set must take its default, which
// NULL isn't. Easy to get wrong: the name of a column of the result is its alias, not the table's.

#include "drivers/mysql/appender.h"

#include "drivers/mysql/errors.h"

#include <utility>

namespace vantry::mysql {
namespace {

std::string Quoted(std::string_view name) {
    std::string quoted = "`";
    for (const char c : name) {
        quoted += c;
        if (c == '`') {
            quoted += c;
        }
    }
    return quoted + "`";
}

// Metadata and statement of the client library, freed in the order that it asks for.
struct DescribeOnly {
    MYSQL_STMT* statement = nullptr;
    MYSQL_RES* columns = nullptr;

    DescribeOnly() = default;
    DescribeOnly(const DescribeOnly&) = delete;
    DescribeOnly& operator=(const DescribeOnly&) = delete;
    ~DescribeOnly() {
        if (columns != nullptr) {
            mysql_free_result(columns);
        }
        if (statement != nullptr) {
            mysql_stmt_close(statement);
        }
    }
};

}  // namespace

MySqlAppender::MySqlAppender(std::shared_ptr<Session> session, std::string_view select_sql)
    : session_(std::move(session)) {
    DescribeOnly select;
    select.statement = mysql_stmt_init(session_->Idle());
    if (select.statement == nullptr) {
        throw session_->Failure();
    }
    const AnswerWatch::Wait wait(session_->Watch());
    if (mysql_stmt_prepare(select.statement, select_sql.data(), select_sql.size()) != 0) {
        throw session_->Failure(select.statement);
    }
    select.columns = mysql_stmt_result_metadata(select.statement);
    if (select.columns == nullptr) {
        throw NoColumns();
    }
    for (unsigned k = 0; k < mysql_num_fields(select.columns); ++k) {
        const auto& field = *mysql_fetch_field_direct(select.columns, k);
        auto column = Describe(field, session_->BytesPerCharacter());
        // An expression has no table, and a join has two: rows are added to the columns of one
        // table.
        const std::string table(field.org_table, field.org_table_length);
        const std::string database(field.db, field.db_length);
        const auto quoted_table =
            database.empty() ? Quoted(table) : Quoted(database) + "." + Quoted(table);
        if (table.empty() || (k > 0 && quoted_table != table_)) {
            throw NotATableColumn(column.info.name);
        }
        table_ = quoted_table;
        names_.push_back(Quoted({field.org_name, field.org_name_length}));
        infos_.push_back(std::move(column.info));
    }
    // Now, so that a table that can't be written to says so before the first row is read from the
    // source.
    PrepareFor(std::vector<bool>(infos_.size(), true));
}

void MySqlAppender::PrepareFor(const std::vector<bool>& given) {
    std::string columns;
    std::string markers;
    std::vector<int> types;
    for (std::size_t k = 0; k < names_.size(); ++k) {
        if (given[k]) {
            columns += (types.empty() ? "" : ",") + names_[k];
            markers += types.empty() ? "?" : ",?";
            types.push_back(infos_[k].type);
        }
    }
    insert_.reset();
    insert_.emplace(session_,
                    "INSERT INTO " + table_ + " (" + columns + ") VALUES (" + markers + ")",
                    std::move(types));
    given_ = given;
}

void MySqlAppender::Append(std::span<const Cell> row) {
    if (row.size() != infos_.size()) {
        throw WrongParameterCount(infos_.size(), row.size());
    }
    values_.clear();
    now_given_.assign(row.size(), true);
    for (std::size_t k = 0; k < row.size(); ++k) {
        if (row[k].IsUnset()) {
            now_given_[k] = false;
        } else {
            values_.push_back(row[k]);
        }
    }
    // Loads give the same columns in every row, so that this is a comparison of bits for all but
    // the first.
    if (!insert_ || now_given_ != given_) {
        PrepareFor(now_given_);
    }
    insert_->Execute(values_);
}

}  // namespace vantry::mysql
