#pragma once
// Statements that add rows, and what they share with the other changes.

#include "data/driver.h"
#include "drivers/sql/parse/syntax.h"

#include <memory>

namespace vantry::sql {

// INSERT in its three forms: literals and parameters, expressions, the rows of a query.
std::unique_ptr<Statement> PrepareInsert(const Insert& insert,
                                         std::shared_ptr<EmbeddedDatabase> database,
                                         const Dialect& dialect);
// SELECT ... INTO a new table.
std::unique_ptr<Statement> PrepareSelectInto(Select select,
                                             const std::shared_ptr<EmbeddedDatabase>& database,
                                             const Dialect& dialect);

// Throws TableExists; the engine itself says what else is wrong.
void CreateTableIn(EmbeddedDatabase& database, const TableDefinition& definition);

// All of a statement or nothing; gives what `work` gives.
// The exception goes on to the caller.
template <typename Work>
std::int64_t Bracketed(EmbeddedDatabase& database, Work work) {
    database.BeginStatement();
    try {
        const std::int64_t changed = work();
        database.CommitStatement();
        return changed;
    } catch (...) {
        database.RollbackStatement();
        throw;
    }
}

}  // namespace vantry::sql
