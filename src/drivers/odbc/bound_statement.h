#pragma once
// A prepared statement with its parameters, executed once for each row, or once for several rows
// where the driver says truly what became of each (block_rules.h).

#include "data/driver.h"
#include "drivers/odbc/link.h"
#include "drivers/odbc/parameters.h"

#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace vantry::odbc {

class BoundStatement : public Statement {
public:
    // One info a parameter: the types of the columns that take the values. Throws DataError, also
    // when the statement has another number of parameters, where the driver can count them.
    BoundStatement(std::shared_ptr<Link> link,
                   std::string_view sql,
                   std::span<const ParameterInfo> infos);
    ~BoundStatement() override;

    // Returns when the server has answered. Of an error behind a lost connection it isn't known
    // whether the row arrived (DataError::ArrivedRows).
    std::int64_t Execute(std::span<const Cell> values) override;

    std::size_t MostKept() const override { return most_kept_; }
    Keeping Keep(std::span<const Cell> values) override;
    void SendKept(RowOutcomes& outcomes) override;

private:
    void CheckParameterCount() const;
    SQLRETURN Executed();
    SQLRETURN ExecuteWithLongValues();
    void CheckExecuted(SQLRETURN result);
    void PrepareAgain();
    // How many rows the driver takes from the arrays of parameters.
    void TakeRows(std::size_t rows);
    // The kept rows, or the first of them; what the driver says of them lies in the members below.
    SQLRETURN ExecuteKept(std::size_t rows);
    // Each sends what is kept up to some row, and appends the outcomes of those rows.
    void SendEachRow(RowOutcomes& outcomes);
    void SendAllOrNothing(RowOutcomes& outcomes);
    void SendToTheFirstRefused(RowOutcomes& outcomes);
    bool ServerAnswers();
    void SendOne(RowOutcomes& outcomes);
    void DropAfterStop(RowOutcomes& outcomes);

    std::shared_ptr<Link> link_;
    std::string sql_;
    std::size_t most_kept_;
    StatementHandle statement_;
    Parameters parameters_;       // bound to the statement: their buffers outlive it
    bool prepare_again_ = false;  // before the next execution
    std::size_t set_rows_ = 1;    // that the driver takes from the arrays of parameters
    std::vector<SQLUSMALLINT> status_;
    SQLULEN processed_ = 0;
};

}  // namespace vantry::odbc
