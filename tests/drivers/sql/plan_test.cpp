// The parts of the compiler by themselves: terms in, SQL out, without SQLite.

#include "drivers/sql/plan/comparisons.h"
#include "drivers/sql/plan/names.h"
#include "drivers/sql/plan/operators.h"
#include "drivers/sql/plan/saved_queries.h"
#include "drivers/sql/plan/sql_text.h"
#include "drivers/sql/sql_fixture.h"

namespace vantry::sql::test {
namespace {

class PlanTest : public SqlTest {
protected:
    static Term Column(int type, std::string sql = "t0.c0") {
        Term term;
        term.sql = std::move(sql);
        term.type = type == adVarWChar ? TextType(40) : SimpleType(type);
        term.column = true;
        term.collated = type == adVarWChar;
        return term;
    }

    Term Text(std::string_view text) {
        literals_.push_back(std::make_unique<Expression>());
        literals_.back()->literal = Value(Cell::Text(text));
        Term term;
        term.sql = "'" + std::string(text) + "'";
        term.type = TextType(40);
        term.literal = literals_.back().get();
        return term;
    }

    std::string Compared(const Term& left, const Term& right) {
        try {
            return comparisons_.Compare(Operator::Equal, left, right).sql;
        } catch (const DataError& error) {
            return error.Description();
        }
    }

    static Expression Name(std::string name, std::string qualifier = {}) {
        Expression expression;
        expression.kind = Expression::Kind::Column;
        expression.name = std::move(name);
        expression.qualifier = std::move(qualifier);
        return expression;
    }

    StatementState state_{*database_, dialect_};
    Conversions conversions_{state_};
    Comparisons comparisons_{conversions_};
    std::vector<std::unique_ptr<Expression>> literals_;
};

// SQLite compares a number with a text without a word, and finds them different: such a pair must
// not get there.
TEST_F(PlanTest, SidesOfAComparisonAreOfOneKindOrRefused) {
    const std::string mismatch = "Data type mismatch in criteria expression.";
    EXPECT_EQ(Compared(Column(adInteger), Text(" 12 ")), "(t0.c0 = (12))");
    EXPECT_EQ(Compared(Text("no"), Column(adBoolean)), "(0 = t0.c0)");
    EXPECT_EQ(Compared(Column(adInteger), Column(adVarWChar)), mismatch);
    EXPECT_EQ(Compared(Column(adLongVarBinary), Column(adInteger)), mismatch);
    EXPECT_EQ(Compared(Column(adDate), Text("soon")), mismatch + "  The text 'soon' isn't a date.");
    EXPECT_EQ(Compared(Text("a"), Text("b")), "('a' COLLATE VY = 'b')");
    EXPECT_EQ(Compared(Text("a"), Column(adVarWChar)), "('a' = t0.c0)");
}

TEST_F(PlanTest, ChainsOfOneOperatorOpenOneBracket) {
    const Operators operators(conversions_);
    for (const auto op : {Operator::Add, Operator::And, Operator::Or, Operator::Multiply}) {
        auto chain = Column(op == Operator::And || op == Operator::Or ? adBoolean : adInteger);
        const auto operand = chain;
        for (int k = 0; k < 300; ++k) {
            chain = operators.Binary(op, chain, operand);
        }
        EXPECT_EQ(std::count(chain.sql.begin(), chain.sql.end(), '('), 1) << Symbol(op);
        // Another operator on it must not get into the brackets.
        const auto other = op == Operator::Add ? Operator::Multiply : Operator::Add;
        const auto mixed = operators.Binary(other, chain, Column(adInteger, "b"));
        EXPECT_TRUE(mixed.sql.starts_with("((t0.c0") || mixed.sql.starts_with("((-(t0"))
            << mixed.sql.substr(0, 40);
    }
}

TEST_F(PlanTest, NearestQueryThatHasANameDecides) {
    const auto table_of = [&](const char* name, const char* alias, std::size_t source) {
        state_.sources.push_back(std::make_unique<TableSource>(database_->OpenTable(name)));
        auto expression = std::make_unique<TableExpression>();
        expression->name = name;
        expression->alias = alias;
        ScopeTable table;
        table.expression = expression.get();
        table.source = source;
        table.sql_name = "t" + std::to_string(source);
        return std::pair(std::move(expression), std::move(table));
    };
    auto [orders_expression, orders] = table_of("Orders", "o", 0);
    auto [again_expression, again] = table_of("Orders", "again", 1);
    auto [people_expression, people] = table_of("People", "", 2);
    Scope outer;
    outer.tables = {&orders, &people};
    Scope inner;
    inner.outer = &outer;
    inner.tables = {&again};
    const sql::Names names(state_);
    const auto sql = [&](const Expression& name, Scope& scope) {
        try {
            return std::get<Term>(names.Find(name, scope)).sql;
        } catch (const DataError& error) {
            return error.Description();
        }
    };
    EXPECT_EQ(sql(Name("ID"), inner), "t1.c0");
    EXPECT_EQ(sql(Name("id", "o"), inner), "t0.c0");
    EXPECT_EQ(sql(Name("age"), inner), "t2.c1");
    inner.tables.push_back(&orders);
    EXPECT_NE(sql(Name("id"), inner).find("could refer to more than one table"), std::string::npos);
    // Grouped by one column, the others may stand in aggregates only.
    inner.tables = {&again};
    GroupKeys keys;
    keys.columns.emplace_back(&again, 0);
    inner.keys = &keys;
    EXPECT_EQ(sql(Name("id"), inner), "t1.c0");
    EXPECT_NE(sql(Name("qty"), inner).find("aggregate function"), std::string::npos);
    inner.in_aggregate = true;
    EXPECT_EQ(sql(Name("qty"), inner), "t1.c3");
}

TEST_F(PlanTest, AStatementStandsOnNoMoreThanSomeSavedQueries) {
    database_->views["V"] = "select * from W";
    SavedQueries queries(state_);
    const auto open_many = [&] {
        for (int k = 0; k < 300; ++k) {
            queries.Open("V");
            queries.Close();
        }
    };
    EXPECT_THROW(open_many(), DataError);
}

// An argument is compiled once, whichever form the call takes in the end.
TEST_F(PlanTest, NestedCallsTakeNoLongerThanTheyAreDeep) {
    std::string expression = "note";
    for (int k = 0; k < 30; ++k) {
        expression = "isdate(" + expression + ")";
    }
    EXPECT_EQ(Rows("select top 1 " + expression + " from Orders"), "False");
}

}  // namespace
}  // namespace vantry::sql::test
