#pragma once
// The compiler's inside. A query is planned first, names and types of all its parts found, and
// written out as SQL afterwards, from the outside in: by then it is known which columns of a query
// in a FROM clause are wanted at all.

#include "drivers/sql/functions/exact_number.h"
#include "drivers/sql/plan/compiler.h"
#include "drivers/sql/plan/value_type.h"

#include <string>
#include <vector>

namespace vantry::sql {

struct ScopeTable;
struct SelectPlan;

// The stored row and column whose value an expression passes on unchanged.
struct Origin {
    std::size_t source = 0;
    std::size_t column = 0;
    std::string row_id;  // SQL of the row's id
};

// A compiled expression.
struct Term {
    std::string sql;
    ValueType type;
    bool logical = false;   // 0, 1 or Null; other booleans are 0, -1 or Null
    bool dynamic = false;   // a parameter: converted when its value is there
    bool collated = false;  // a column that has its collation with it
    bool column = false;
    const Expression* literal = nullptr;
    std::optional<Operator> chain;  // sql is "(a op b ...)" and may be continued
    std::size_t chain_length = 0;
    std::optional<Origin> origin;
    ScopeTable* table = nullptr;  // the column's table and number there
    std::size_t table_column = 0;
};

struct PlanItem {
    std::string name;
    std::string table_name;  // of a plain column, to tell equal names apart
    Term term;
};

// A table that names can be looked up in: a stored one, or the rows of a query.
struct ScopeTable {
    const TableExpression* expression = nullptr;
    std::optional<std::size_t> source;
    std::unique_ptr<SelectPlan> query;
    std::vector<bool> used;           // of the query's columns
    std::set<std::size_t> rows_used;  // sources within the query whose rows' ids are wanted
    std::string sql_name;
};

struct FromNode {
    ScopeTable* table = nullptr;  // null: a join
    TableExpression::JoinType join = TableExpression::JoinType::Inner;
    std::unique_ptr<FromNode> left;
    std::unique_ptr<FromNode> right;
    std::string condition;
};

struct GroupKeys {
    std::vector<std::string> texts;  // as written, blanks and case aside
    std::vector<std::pair<const ScopeTable*, std::size_t>> columns;
};

struct Scope {
    Scope* outer = nullptr;
    std::vector<ScopeTable*> tables;
    const SelectCore* core = nullptr;  // whose aliases may be used
    const GroupKeys* keys = nullptr;   // set while only these and aggregates may stand
    bool allows_aggregates = false;
    bool in_aggregate = false;
    std::vector<const OutputItem*> open_aliases;  // being compiled: no use of themselves
};

struct OrderKey {
    Term term;
    bool descending = false;
};

struct CorePlan {
    const SelectCore* core = nullptr;
    std::vector<std::unique_ptr<ScopeTable>> tables;
    std::vector<FromNode> from;
    std::vector<PlanItem> items;
    std::string where;
    std::vector<Term> group_by;
    std::string having;
    bool aggregate = false;
    std::vector<OrderKey> order_by;
};

struct SelectPlan {
    std::vector<CorePlan> cores;
    std::vector<bool> keep_duplicates;
    std::vector<ValueType> types;                           // of the columns, over all cores
    std::vector<std::pair<std::size_t, bool>> union_order;  // column, descending
};

// What a query must give.
struct Wanted {
    const std::vector<bool>* columns = nullptr;   // null: all
    const std::set<std::size_t>* rows = nullptr;  // sources whose rows' ids are to be columns
    bool as_rows = false;                         // plain columns as their rows' ids alone
    bool row_at_hand = false;                     // not even those: the scan stands at the row
    std::optional<std::size_t> row_source = {};   // a source whose id is wanted in any case
};

struct Rendered {
    std::string sql;
    std::vector<int> item_columns;                     // -1: not among the columns
    std::vector<std::pair<std::size_t, int>> row_ids;  // source, column
};

// Levels of expressions and queries within each other, saved queries included.
inline constexpr std::size_t kMaxCompileDepth = 400;

class StatementCompiler {
public:
    StatementCompiler(EmbeddedDatabase& database, const Dialect& dialect)
        : database_(database), dialect_(dialect) {}

    CompiledQuery Select(const sql::Select& select);
    CompiledQuery Update(const sql::Update& update, ChangeTarget& target);
    CompiledQuery Delete(const sql::Delete& erase, ChangeTarget& target);
    CompiledQuery Values(const std::vector<ExpressionPtr>& values);

private:
    // Planning (plan_select.cpp).
    std::unique_ptr<SelectPlan> Plan(const sql::Select& select, Scope* outer);
    std::unique_ptr<SelectPlan> PlanSubquery(const sql::Select& select, Scope& outer);
    void PlanCore(CorePlan& plan, const SelectCore& core, Scope& scope);
    void PlanOrder(CorePlan& plan, const std::vector<OrderItem>& order_by, Scope& scope);
    void PlanUnion(SelectPlan& plan, const sql::Select& select);
    void PlanTables(CorePlan& plan, const std::vector<TableExpression>& tables, Scope& scope);
    FromNode PlanTable(CorePlan& plan, const TableExpression& table, Scope& scope);
    void PlanNamedTable(ScopeTable& table, const TableExpression& expression);
    void PlanItems(CorePlan& plan, const SelectCore& core, Scope& scope);
    void AddStar(CorePlan& plan, const Expression& star, Scope& scope);
    PlanItem MakeItem(const OutputItem& item, std::size_t position, Scope& scope);
    void CollectKeys(CorePlan& plan, const SelectCore& core, Scope& scope, GroupKeys& keys);
    std::size_t SourceOf(const CorePlan& plan, std::string_view target, const Scope& scope);

    // Writing (render_select.cpp).
    Rendered Render(SelectPlan& plan, const Wanted& wanted);
    Rendered RenderCore(CorePlan& plan, const Wanted& wanted);
    Rendered RenderDistinctGroups(CorePlan& plan);
    Rendered RenderUnion(SelectPlan& plan);
    std::string RenderFrom(CorePlan& plan);
    std::string RenderNode(FromNode& node);
    std::string RenderBody(CorePlan& plan, const std::vector<std::string>& group_by);
    std::string RenderTop(const CorePlan& plan,
                          const Rendered& columns,
                          const std::vector<std::string>& list,
                          const std::string& body,
                          const std::string& order);
    std::string OrderText(const std::vector<OrderKey>& keys);
    CompiledQuery Finish(SelectPlan& plan, std::optional<std::size_t> row_source);

    // Expressions (compile_expression.cpp, compile_comparison.cpp). Terms of Compile may stand in
    // SQL; those of Column only after Touch.
    Term Compile(const Expression& expression, Scope& scope);
    Term CompileNode(const Expression& expression, Scope& scope);
    Term Column(const Expression& expression, Scope& scope);
    std::optional<Term> ColumnIn(ScopeTable& table, std::string_view name);
    Term ColumnOf(ScopeTable& table, std::size_t column);
    void Touch(const Term& term);
    Term Literal(const Expression& expression);
    Term Unary(const Expression& expression, Scope& scope);
    Term Binary(const Expression& expression, Scope& scope);
    Term Logic(Operator op, const Term& left, const Term& right);
    Term Sum(Operator op, const Term& left, const Term& right);
    Term ExactArithmetic(Operator op, const Term& left, const Term& right, const ValueType& type);
    Term ExactComparison(Operator op, const Term& left, const Term& right);
    Term Concatenation(const Term& left, const Term& right);
    Term Comparison(Operator op, Term left, Term right);
    Term InList(const Expression& expression, Scope& scope);
    Term InQuery(const Expression& expression, Scope& scope);
    Term Member(const Term& subject, SelectPlan& plan, bool negated);
    Term Quantified(const Expression& expression, Scope& scope);
    std::unique_ptr<SelectPlan> PlanOneColumn(const Expression& expression, Scope& scope);
    Term Subquery(const Expression& expression, Scope& scope);
    std::string Condition(const Expression& expression, Scope& scope);

    // Calls (compile_call.cpp).
    Term Call(const Expression& call, Scope& scope);
    Term PlainCall(const Expression& call, const FunctionEntry& entry, Scope& scope);
    Term Aggregate(const Expression& call, Scope& scope);
    std::string Function(std::string_view name, std::initializer_list<std::string> arguments);

    // Calls that are written out in SQL (compile_special_call.cpp); none: the function of that name
    // is to be called.
    struct SpecialFunction;
    std::optional<Term> SpecialCall(const Expression& call, Scope& scope);
    std::optional<Term> Conditional(const Expression& call, Scope& scope);
    std::optional<Term> FirstTrue(const Expression& call, Scope& scope);
    std::optional<Term> ChosenByNumber(const Expression& call, Scope& scope);
    std::optional<Term> ValueOrElse(const Expression& call, Scope& scope);
    std::optional<Term> NullTest(const Expression& call, Scope& scope);
    std::optional<Term> DateTest(const Expression& call, Scope& scope);
    std::optional<Term> TypeNumber(const Expression& call, Scope& scope);
    std::optional<Term> TypeWord(const Expression& call, Scope& scope);
    std::optional<Term> Unchanged(const Expression& call, Scope& scope);
    std::optional<Term> BetweenCall(const Expression& call, Scope& scope);
    std::optional<Term> InListCall(const Expression& call, Scope& scope);
    std::optional<Term> LargerOfTwo(const Expression& call, Scope& scope);
    std::optional<Term> SmallerOfTwo(const Expression& call, Scope& scope);
    Term BetterOfTwo(Operator op, const Expression& call, Scope& scope);
    Term Choice(const std::vector<std::pair<std::string, Term>>& branches, const Term* otherwise);

    // Conversions (compile_call.cpp): SQL of the value in the wanted form.
    std::string Value(const Term& term) const;
    std::string AsCondition(const Term& term);
    std::string AsText(const Term& term);
    std::string AsNumber(const Term& term);  // never in the form of exact_number.h
    std::string AsExact(const Term& term);   // always in that form
    std::string AsDate(const Term& term);
    std::string AsFamily(const Term& term, Family family);
    std::string AsType(const Term& term, const ValueType& type);
    // The value of a key for sorting and grouping, with its collation.
    std::string AsKey(const Term& term);
    void Unify(Term& left, Term& right);
    void ConvertText(Term& text, Family family);

    EmbeddedDatabase& database_;
    const Dialect& dialect_;
    std::vector<std::unique_ptr<TableSource>> sources_;
    std::set<const FunctionEntry*> functions_;
    std::size_t parameter_count_ = 0;
    std::size_t derived_count_ = 0;
    std::size_t depth_ = 0;
    bool sorts_ = false;         // rows come out in another order than they are scanned in
    bool nests_ = false;         // there are queries within the query
    bool keeps_values_ = false;  // a value of one row is looked at when the scan is at another
    std::vector<std::unique_ptr<ParsedStatement>> views_;
    std::vector<std::string> open_views_;
    std::size_t view_count_ = 0;
};

bool IsAggregateName(std::string_view name);
bool HasAggregate(const Expression& expression);
std::string_view Symbol(Operator op);
Term Truth(std::string sql);
std::string NumberLiteral(double number);
std::string ExactLiteral(const Decimal& number);
std::string TextLiteral(std::string_view text);
// Equal for expressions that differ in blanks and letter case alone.
std::string ComparableText(std::string_view text);

}  // namespace vantry::sql
