#pragma once
// Reads expressions by the dialects' precedence. Subqueries go back to the statement parser through
// ParseQuery.

#include "drivers/sql/parse/syntax.h"
#include "drivers/sql/parse/token_reader.h"

#include <string>
#include <vector>

namespace vantry::sql {

class ExpressionParser {
public:
    explicit ExpressionParser(TokenReader& reader) : reader_(reader) {}
    virtual ~ExpressionParser() = default;

    // A whole expression of a clause; throws when what follows can't follow an expression.
    ExpressionPtr ParseClause();
    // * or x.* are taken as well, as in a select list.
    ExpressionPtr ParseItem();

protected:
    // A SELECT that begins at the reader's place; its limits go on counting from those here.
    virtual std::unique_ptr<Select> ParseQuery() = 0;

    TokenReader& reader_;
    // Names that a PARAMETERS clause declared; they stand for positional parameters in that order.
    std::vector<std::string> declared_parameters_;
    std::size_t parameter_count_ = 0;
    // Levels of nesting in progress, for queries and brackets alike.
    std::size_t nesting_ = 0;
    std::size_t deepest_ = 0;  // of the expressions of the query in progress
    // For messages, which quote the clause in progress.
    std::size_t clause_begin_ = 0;

    class Nested;

private:
    // One function a level of binding strength; each reads its operands by the next one.
    ExpressionPtr ParseExpression();
    ExpressionPtr ParseLevel(int level);
    ExpressionPtr ParseNot();
    ExpressionPtr ParseComparison();
    // These take `left` only if they return true.
    bool ParseQuantified(ExpressionPtr& left, Operator op, std::size_t begin);
    bool ParseWordComparison(ExpressionPtr& left, std::size_t begin);
    ExpressionPtr ParseInOperands(ExpressionPtr left, std::size_t begin);
    ExpressionPtr ParseUnary();
    ExpressionPtr ParsePower();
    ExpressionPtr ParsePrimary();
    // A call, a constant word, Exists, Not, or a column.
    ExpressionPtr ParseWord();
    ExpressionPtr ParseBrackets();
    ExpressionPtr ParseCall(std::string name, std::size_t begin);
    ExpressionPtr ParseColumn(std::size_t begin);
    // The operator of that level that stands at the reader's place, if one does.
    std::optional<Operator> OperatorAt(int level);
    // `depth`: the levels of its deepest expression.
    std::unique_ptr<Select> ParseNestedQuery(std::size_t& depth);
    ExpressionPtr Make(Expression::Kind kind);
    ExpressionPtr Join(Operator op, ExpressionPtr left, ExpressionPtr right, std::size_t begin);
    // Gives the node its text, from `begin` to what was read last, and its depth.
    ExpressionPtr Finish(ExpressionPtr node, std::size_t begin);
    DataError MissingOperatorHere();
};

// Refuses statements that are nested so deeply that reading them could exhaust the stack.
class ExpressionParser::Nested {
public:
    explicit Nested(ExpressionParser& parser);
    ~Nested() { --parser_.nesting_; }
    Nested(const Nested&) = delete;
    Nested& operator=(const Nested&) = delete;

private:
    ExpressionParser& parser_;
};

}  // namespace vantry::sql
