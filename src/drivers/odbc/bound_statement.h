#pragma once
// A prepared statement with its parameters, executed once for each row.

#include "data/driver.h"
#include "drivers/odbc/link.h"
#include "drivers/odbc/parameters.h"

#include <memory>
#include <span>
#include <string>
#include <string_view>

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

private:
    void CheckParameterCount() const;
    SQLRETURN ExecuteWithLongValues();

    std::shared_ptr<Link> link_;
    std::string sql_;
    StatementHandle statement_;
    Parameters parameters_;  // bound to the statement: their buffers outlive it
};

}  // namespace vantry::odbc
