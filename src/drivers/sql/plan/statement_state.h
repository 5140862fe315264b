#pragma once
// What the parts of the compiler find out about one statement as a whole, whichever part meets it
// first.

#include "drivers/sql/errors.h"
#include "drivers/sql/run/table_source.h"
#include "drivers/sql/storage.h"

#include <memory>
#include <set>
#include <vector>

namespace vantry::sql {

struct FunctionEntry;

struct StatementState {
    EmbeddedDatabase& database;
    const Dialect& dialect;
    std::vector<std::unique_ptr<TableSource>> sources = {};  // number k is SQLite's table "t<k>"
    std::set<const FunctionEntry*> functions = {};           // that SQLite must be given
    std::size_t parameter_count = 0;
    std::size_t derived_count = 0;  // queries in FROM clauses have had names "s0" to one less
    std::size_t depth = 0;          // levels being compiled
    bool sorts = false;             // rows come out in another order than they are scanned in
    bool nests = false;             // there are queries within the query
    bool keeps_values = false;      // a value of one row is looked at when the scan is at another
};

// One level of expressions and queries within each other, saved queries included. The parser counts
// those of the text; what saved queries and aliases put into it is counted here.
class CompileLevel {
public:
    explicit CompileLevel(StatementState& state) : state_(state) {
        constexpr std::size_t kMaxDepth = 400;
        if (++state_.depth > kMaxDepth) {
            throw TooComplex();
        }
    }
    ~CompileLevel() { --state_.depth; }
    CompileLevel(const CompileLevel&) = delete;
    CompileLevel& operator=(const CompileLevel&) = delete;

private:
    StatementState& state_;
};

}  // namespace vantry::sql
