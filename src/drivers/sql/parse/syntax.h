#pragma once
// A statement as the parser understood it. Names are as written; what they mean is found out when
// the statement is compiled against a database.

#include "data/value.h"
#include "drivers/sql/storage.h"

#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace vantry::sql {

struct Expression;
struct Select;
using ExpressionPtr = std::unique_ptr<Expression>;

// Of both dialects. The comparisons stand together, from Equal to GreaterOrEqual.
enum class Operator : std::uint8_t {
    Power,
    Negate,
    Multiply,
    Divide,
    IntegerDivide,
    Modulo,
    Add,
    Subtract,
    Concatenate,
    Equal,
    ExactlyEqual,  // FoxPro's ==
    NotEqual,
    Less,
    LessOrEqual,
    Greater,
    GreaterOrEqual,
    Contains,  // FoxPro's $
    Not,
    And,
    Or,
    Xor,
    Eqv,
    Imp,
};

// A node of an expression. Which members count is said by its kind; operands are owned and never
// null.
struct Expression {
    enum class Kind : std::uint8_t {
        Literal,    // `literal`
        Column,     // `name`, `qualifier` where given
        Star,       // * or qualifier.*
        Parameter,  // `parameter`, counted from 0
        Unary,      // `op`, operands[0]
        Binary,     // `op`, operands[0..1]
        Like,       // operands[0] Like operands[1]
        Between,    // operands[0] Between operands[1] And operands[2]
        InList,     // operands[0] In (operands[1..])
        InQuery,    // operands[0] In (query)
        AllOrAny,   // operands[0] `op` All (query), or Any (query)
        IsNull,     // operands[0]
        Exists,     // query
        Subquery,   // (query) as a value
        Call,       // name(operands...)
    };
    Kind kind = Kind::Literal;
    Operator op = Operator::Add;
    bool negated = false;   // Not Like, Not Between, Not In, Is Not Null
    bool distinct = false;  // Count(Distinct x), in FoxPro
    bool all = false;       // of AllOrAny
    Value literal;
    std::size_t parameter = 0;
    std::string qualifier;
    std::string name;
    std::vector<ExpressionPtr> operands;
    std::unique_ptr<Select> query;
    // The source text, for messages and for telling equal expressions.
    std::string text;
    std::size_t depth = 1;  // levels of expressions, subqueries included
};

// What stands in FROM: a name, a query, or a join of two of them.
struct TableExpression {
    enum class Kind : std::uint8_t { Named, Query, Join };
    enum class JoinType : std::uint8_t { Inner, Left, Right };
    Kind kind = Kind::Named;
    std::string name;               // Named
    std::string alias;              // Named and Query; empty if none
    std::unique_ptr<Select> query;  // Query
    JoinType join = JoinType::Inner;
    std::unique_ptr<TableExpression> left;
    std::unique_ptr<TableExpression> right;
    ExpressionPtr condition;
};

// A column of SELECT: an expression or a star, with its AS name or none.
struct OutputItem {
    ExpressionPtr expression;
    std::string alias;
};

struct OrderItem {
    ExpressionPtr expression;
    bool descending = false;
};

// One SELECT; several are joined by UNION.
struct SelectCore {
    bool distinct = false;
    bool distinct_row = false;
    std::optional<double> top;
    bool top_percent = false;
    std::vector<OutputItem> items;
    std::vector<TableExpression> from;  // empty: values alone
    ExpressionPtr where;
    std::vector<ExpressionPtr> group_by;
    ExpressionPtr having;
};

// A whole query. Its order is that of all rows, over the parts of a UNION.
struct Select {
    std::vector<SelectCore> cores;
    std::vector<bool> keep_duplicates;  // UNION ALL between core k and k + 1
    std::vector<OrderItem> order_by;
    std::optional<std::string> into;  // SELECT ... INTO table
};

// Either `values`, one row, or `query`.
struct Insert {
    std::string table;
    std::vector<std::string> columns;  // empty: all, in their order
    std::vector<ExpressionPtr> values;
    std::unique_ptr<Select> query;  // instead of values
};

struct Assignment {
    std::string qualifier;
    std::string column;
    ExpressionPtr value;
};

// Several tables mean a join, of which one is changed: that of the assigned columns.
struct Update {
    std::vector<TableExpression> tables;
    std::vector<Assignment> assignments;
    ExpressionPtr where;
};

// The rows of one table, found through all of them.
struct Delete {
    std::string target;  // DELETE target.* FROM ...; empty: the only table
    std::vector<TableExpression> tables;
    ExpressionPtr where;
};

struct CreateTable {
    TableDefinition definition;
};

struct DropTable {
    std::string table;
};

struct CreateIndex {
    std::string table;
    IndexDefinition index;
};

// BEGIN, COMMIT and ROLLBACK TRANSACTION.
enum class TransactionStep : std::uint8_t { Begin, Commit, Rollback };

// Any statement. Parameters are numbered over all of it, subqueries included.
struct ParsedStatement {
    std::variant<Select,
                 Insert,
                 Update,
                 Delete,
                 CreateTable,
                 DropTable,
                 CreateIndex,
                 TransactionStep>
        content;
    std::size_t parameter_count = 0;
};

}  // namespace vantry::sql
