#include "drivers/odbc/bound_statement.h"

#include "data/cell_copies.h"
#include "drivers/odbc/errors.h"

namespace vantry::odbc {
namespace {

StatementHandle PreparedStatement(Link& link, std::string_view sql) {
    link.Idle();
    auto statement = link.NewStatement();
    link.Prepare(statement, sql);
    return statement;
}

}  // namespace

BoundStatement::BoundStatement(std::shared_ptr<Link> link,
                               std::string_view sql,
                               std::span<const ParameterInfo> infos)
    : link_(std::move(link)),
      sql_(sql),
      statement_(PreparedStatement(*link_, sql)),
      parameters_(*link_, statement_, infos) {
    CheckParameterCount();
}

BoundStatement::~BoundStatement() {
    statement_.Reset();  // before the buffers that it is bound to
}

void BoundStatement::CheckParameterCount() const {
    SQLSMALLINT count = 0;
    // A driver that can't count reports the wrong number when the statement is executed.
    if (SQL_SUCCEEDED(SQLNumParams(statement_.Get(), &count)) &&
        static_cast<std::size_t>(count) != parameters_.Count()) {
        throw WrongParameterCount(
            static_cast<std::size_t>(count), parameters_.Count(), link_->Source());
    }
}

// A refused long value stays with the statement of some servers, and would be refused with every
// row behind it: those go by a fresh one.
SQLRETURN BoundStatement::ExecuteWithLongValues() {
    try {
        const auto result = parameters_.SendLongValues();
        link_->Check(result, statement_);
        return result;
    } catch (const DataError&) {
        try {
            link_->Prepare(statement_, sql_);
        } catch (const DataError&) {  // the next row fails by it
        }
        throw;
    }
}

std::int64_t BoundStatement::Execute(std::span<const Cell> values) {
    if (values.size() != parameters_.Count()) {
        throw WrongParameterCount(parameters_.Count(), values.size(), link_->Source());
    }
    CellCopies copies;
    if (link_->IsStreaming()) {
        // The values may look at the row of a cursor on this very connection, which moves when its
        // rows are taken into memory.
        values = copies.Take(values);
    }
    link_->Idle();
    for (std::size_t k = 0; k < values.size(); ++k) {
        parameters_.Set(k, values[k]);
    }
    // MariaDB's driver keeps the former buffer of a parameter whose data now comes in pieces, and
    // sends what lies there in the place of the parameter behind it.
    if (parameters_.TakeTurnedLong() && link_->GetTraits().dialect == Dialect::MySql) {
        link_->Prepare(statement_, sql_);
    }
    const AnswerWatch::Wait wait(link_->Watch());
    auto result = SQLExecute(statement_.Get());
    if (result == SQL_NEED_DATA) {
        result = ExecuteWithLongValues();
    }
    link_->Check(result, statement_);
    SQLLEN affected = -1;
    SQLRowCount(statement_.Get(), &affected);
    // One row was sent, whether the driver can count it or not.
    const auto change = link_->ChangeIn(result, statement_, affected < 0 ? 1 : affected);
    link_->DropFurtherResults(statement_);
    if (change) {
        throw DataError(*change);
    }
    return affected;
}

}  // namespace vantry::odbc
