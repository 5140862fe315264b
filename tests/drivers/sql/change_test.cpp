// Statements that change tables, and what they leave behind when they fail.

#include "drivers/sql/sql_fixture.h"

namespace vantry::sql::test {
namespace {

class ChangeTest : public SqlTest {};

TEST_F(ChangeTest, InsertValues) {
    connection_->Execute(
        "INSERT INTO [Orders] ( [id], [customer], ordered, shipped, price, qty) VALUES "
        "( 7,\"say \"\"hi\"\"\", '2024-01-02 01:45:00', 'yes', '12.5', True);");
    EXPECT_EQ(
        Rows("select id, customer, ordered, shipped, price, qty, note from Orders where id=7"),
        "7|say \"hi\"|2024-01-02 01:45:00|True|12.5|-1|-");
    connection_->Execute(
        "insert into Orders (id, note, ordered) values (1 + 7, 'a' & 'b', "
        "DateSerial(2024, 2, 30))");
    EXPECT_EQ(Rows("select note, ordered from Orders where id = 8"), "ab|2024-03-01");
    connection_->Execute("insert into orders(orders.id) values (-9)");
    EXPECT_EQ(Rows("select id from Orders where id < 0"), "-9");
}

TEST_F(ChangeTest, PreparedInsertTakesEachRowAsItComes) {
    const auto insert =
        connection_->Prepare("INSERT INTO [People] ( [age], [name]) VALUES (?,?)", {});
    for (int k = 0; k < 3; ++k) {
        const std::string name = "p" + std::to_string(k);
        const Cell row[] = {k == 1 ? Cell::Null() : Cell::Int64(k), Cell::Text(name)};
        EXPECT_EQ(insert->Execute(row), 1);
    }
    EXPECT_EQ(Rows("select * from People where name like 'p%'"), "p0|0\np1|-\np2|2");
    EXPECT_EQ(database_->rollbacks, 0);
    const std::string fifty(50, 'x');
    const Cell too_long[] = {Cell::Int64(1), Cell::Text(fifty)};
    EXPECT_THROW(insert->Execute(too_long), DataError);
    const Cell good[] = {Cell::Int64(9), Cell::Text("after")};
    insert->Execute(good);
    EXPECT_EQ(Rows("select age from People where name = 'after'"), "9");
}

TEST_F(ChangeTest, InsertSelectAlsoFromTheSameTable) {
    EXPECT_EQ(connection_->Execute(
                  "insert into People (name, age) select customer, id from Orders where id < 3"),
              2);
    EXPECT_EQ(connection_->Execute("insert into People select name, age + 100 as age from People"),
              5);
    EXPECT_EQ(Rows("select name, age from People where age > 100"),
              "ADA|136\némile|151\nAda|101\nÉMILE|102");
}

TEST_F(ChangeTest, UpdateFindsRowsFirst) {
    EXPECT_EQ(connection_->Execute("update Orders set id = id + 1"), 5);
    EXPECT_EQ(Rows("select id from Orders"), "2\n3\n4\n5\n6");
    EXPECT_EQ(
        connection_->Execute("Update orders Set ordered=\"2026-11-21\",qty=\"7\", note=customer, "
                             "shipped = Not shipped where orders.ID=2"),
        1);
    EXPECT_EQ(Rows("select ordered, qty, note, shipped from Orders where id = 2"),
              "2026-11-21|7|Ada|False");
    EXPECT_EQ(
        connection_->Execute(
            "update Orders inner join People on customer = name set qty = age where age > 40"),
        1);
    EXPECT_EQ(Rows("select qty from Orders where customer = 'émile'"), "51");
    // Two orders of one customer: a row is changed once.
    EXPECT_EQ(
        connection_->Execute("update People inner join Orders on customer = name set age = 9"), 2);
    const auto update = connection_->Prepare("update Orders set note = ? where id = ?", {});
    const Cell values[] = {Cell::Text("new"), Cell::Text("3")};
    EXPECT_EQ(update->Execute(values), 1);
    const Cell others[] = {Cell::Null(), Cell::Int64(99)};
    EXPECT_EQ(update->Execute(others), 0);
    EXPECT_EQ(Rows("select note from Orders where id = 3"), "new");
}

TEST_F(ChangeTest, DeleteInItsForms) {
    EXPECT_EQ(connection_->Execute("DELETE * FROM Orders WHERE customer = 'ADA'"), 2);
    EXPECT_EQ(
        connection_->Execute("delete Orders.* from Orders inner join People on customer = name"),
        1);
    connection_->Execute("insert into Orders (id, customer) select id, 'ada' from Orders");
    EXPECT_EQ(
        connection_->Execute("delete People.* from People inner join Orders on customer = name"),
        1);
    EXPECT_EQ(connection_->Execute("delete from Orders where customer = 'ADA'"), 2);
    const auto erase = connection_->Prepare("delete from Orders where ordered < ?", {});
    const Cell limit[] = {Cell::Text("1800-01-01")};
    EXPECT_EQ(erase->Execute(limit), 1);
    EXPECT_EQ(Rows("select id from Orders"), "4");
    EXPECT_EQ(connection_->Execute("delete from [Orders]"), 1);
    EXPECT_EQ(Rows("Select count(*) from Orders"), "0");
}

TEST_F(ChangeTest, AFailingStatementLeavesNothingBehind) {
    EXPECT_NE(ErrorOf("update Orders set customer = String(30 + id * 3, 'x')").Number(), 0);
    EXPECT_EQ(Rows("select customer from Orders where id = 1"), "Ada");
    EXPECT_EQ(database_->rollbacks, 1);
    EXPECT_NE(ErrorOf("insert into People (name, age) select customer, 10 \\ (id - 2) from Orders")
                  .Number(),
              0);
    EXPECT_EQ(Rows("select count(*) from People"), "3");
    EXPECT_EQ(database_->rollbacks, 2);
}

TEST_F(ChangeTest, AppenderLeavesOtherColumnsUnset) {
    const auto appender = connection_->OpenAppender("Select  [name] FROM [People] ");
    ASSERT_EQ(appender->Columns().size(), 1U);
    EXPECT_EQ(appender->Columns()[0].type, adVarWChar);
    const Cell row[] = {Cell::Text("new")};
    appender->Append(row);
    EXPECT_EQ(Rows("select * from People where name = 'new'"), "new|-");
    EXPECT_THROW(connection_->OpenAppender("select count(*) from People"), DataError);
    EXPECT_THROW(connection_->OpenAppender("select nothing from People"), DataError);
}

TEST_F(ChangeTest, SelectIntoMakesATableOfTheResultsTypes) {
    EXPECT_EQ(connection_->Execute("select id, customer, price, ordered into Copy from Orders "
                                   "where id < 3"),
              2);
    EXPECT_EQ(Names("select * from Copy"), "id:3,customer:202,price:6,ordered:7");
    EXPECT_EQ(Rows("select * from Copy"), "1|Ada|12.5|2024-01-02 13:45:00\n2|ÉMILE|100|2024-02-29");
}

TEST_F(ChangeTest, CreateTableIsReadWithTypesWidthsAndRules) {
    connection_->Execute(
        "Create Table [New Table] (\r [id] Counter(10, 2) CONSTRAINT pk PRIMARY KEY,\r [n] "
        "Text(40) NOT NULL,\r [d] Double Precision DEFAULT 1 + 1,\r [v] national character "
        "varying (9) with comp unique,\r [p] decimal(12,3), [m] Memo DEFAULT 'none', CONSTRAINT "
        "u UNIQUE ([n], p))");
    const auto& made = *database_->created;
    std::string columns = made.name;
    for (const auto& column : made.columns) {
        columns += "; " + column.name + " " + column.type + " " +
                   std::to_string(column.size.value_or(0)) + "," +
                   std::to_string(column.scale.value_or(0)) + (column.primary_key ? " key" : "") +
                   (column.not_null ? " required" : "") + (column.compressed ? " compressed" : "") +
                   (column.unique ? " unique" : "") + " " + column.default_text.value_or("");
    }
    EXPECT_EQ(
        columns,
        "New Table; id COUNTER 10,2 key ; n TEXT 40,0 required ; d DOUBLE PRECISION 0,0 1 + 1; v "
        "NATIONAL CHARACTER VARYING 9,0 compressed unique ; p DECIMAL 12,3 ; m MEMO 0,0 'none'");
    ASSERT_EQ(made.indexes.size(), 3U);
    EXPECT_EQ(made.indexes[0].name, "pk");
    EXPECT_TRUE(made.indexes[0].primary);
    EXPECT_EQ(made.indexes[2].parts.size(), 2U);

    connection_->Execute("create unique index [by n] on [New Table] (n desc, id) with ignore null");
    ASSERT_EQ(database_->indexes.size(), 1U);
    EXPECT_TRUE(database_->indexes[0].parts[0].descending && database_->indexes[0].ignore_null);
    connection_->Execute("drop table [New Table]");
    EXPECT_EQ(database_->tables.count("NEW TABLE"), 0U);
}

struct ErrorCase {
    const char* sql;
    int number;
    const char* text;  // the beginning of the description
};

TEST_F(ChangeTest, ErrorsHaveTheDialectsNumbersAndWords) {
    const ErrorCase cases[] = {
        {"select * from Nothing",
         kErrNoSuchTable,
         "The Microsoft Jet database engine cannot find the input table or query 'Nothing'.  Make "
         "sure it exists and that its name is spelled correctly."},
        {"select nothing from Orders",
         kErrMissingParameter,
         "No value given for one or more required parameters.  There is no field 'nothing'; check "
         "its spelling."},
        {"select [id] from Orders where \"nothing\" = 1",
         kErrTypeMismatch,
         "Data type mismatch in criteria expression."},
        {"select id from Orders where id = customer", kErrTypeMismatch, "Data type mismatch in"},
        {"select x.id from Orders",
         kErrMissingParameter,
         "No value given for one or more required parameters.  There is no field 'x.id'"},
        {"select id from Orders where id = ?", kErrMissingParameter, "No value given"},
        {"select id from Orders a, Orders b",
         kErrSyntax,
         "The specified field 'id' could refer to more than one table listed in the FROM clause"},
        {"select id from Orders where ordered > 'soon'",
         kErrTypeMismatch,
         "Data type mismatch in criteria expression.  The text 'soon' isn't a date."},
        {"select Foo(1) from Orders", kErrSyntax, "Undefined function 'Foo' in expression."},
        {"select Left('a') from Orders", kErrSyntax, "Wrong number of arguments"},
        {"select id customer from Orders",
         kErrSyntax,
         "Syntax error (missing operator) in query expression 'id customer from Orders'.  Near "
         "'customer from Orders', character 11."},
        {"select id from Orders where id = #99/99/2024#",
         kErrSyntax,
         "Syntax error in date in query expression '#99/99/2024#'."},
        {"select id from where id = 1", kErrSyntax, "Syntax error in FROM clause.  Near 'where"},
        {"select id from Orders; select 2",
         kErrSyntax,
         "Characters found after end of SQL statement."},
        {"selekt id from Orders", kErrSyntax, "Invalid SQL statement; expected"},
        {"select id, count(*) from Orders",
         kErrSyntax,
         "You tried to execute a query that does not include the specified expression 'id' as part "
         "of an aggregate function."},
        {"select id from Orders union select id, qty from Orders",
         kErrSyntax,
         "The number of columns in the two selected tables"},
        {"select id from Orders where price = (select price from Orders)",
         kErrUnspecified,
         "At most one record can be returned by this subquery."},
        {"insert into Orders (id, nope) values (1, 2)",
         kErrSyntax,
         "The INSERT INTO statement contains the following unknown field name: 'nope'."},
        {"insert into Orders (id, ID) values (1, 2)", kErrSyntax, "Duplicate output destination"},
        {"insert into Orders (id) values (1, 2)", kErrSyntax, "Number of query values"},
        {"insert into Orders (ordered) values ('soon')",
         kErrTypeMismatch,
         "Data type mismatch in criteria expression.  The text 'soon' isn't a value for the field "
         "'ordered'."},
        {"create table Orders (a Long)", kErrSyntax, "Table 'Orders' already exists."},
        {"create table T (a Text(300))", kErrSyntax, "Size of field 'a' is too long."},
        {"create table T (a)", kErrSyntax, "Syntax error in field definition."},
        {"create table T (a Long, A Long)", kErrSyntax, "Field 'A' already exists in table 'T'."},
        {"drop table Nothing", kErrNoSuchTable, "Table 'Nothing' does not exist."},
        {"alter table Orders add column x Long", kErrSyntax, "The statement alter isn't supported"},
        {"select id from Orders full join People on id = age", kErrSyntax, "FULL JOIN isn't supp"},
        {"select id from Orders o cross join People", kErrSyntax, "CROSS JOIN isn't supported"},
        {"begin transaction", kErrSyntax, "A transaction of several statements isn't supported"},
        {"commit work", kErrSyntax, "Invalid SQL statement"},
        {"rollback transaction", kErrUnspecified, "There is no transaction to end"},
        {"attach database 'x' as y", kErrSyntax, "Invalid SQL statement"},
        {"select load_extension('x')", kErrSyntax, "Undefined function 'load_extension'"},
        {"select name from sqlite_master", kErrNoSuchTable, "The Microsoft Jet"},
        {"select rowid from Orders", kErrMissingParameter, "No value given"},
    };
    for (const auto& [sql, number, text] : cases) {
        const auto error = ErrorOf(sql);
        EXPECT_EQ(error.Number(), number) << sql << "\n" << error.Description();
        EXPECT_EQ(error.Description().substr(0, std::string_view(text).size()), text) << sql;
    }
}

TEST_F(ChangeTest, DeepOrHugeStatementsAreRefusedNotSuffered) {
    const auto repeated = [](const std::string& unit, int count) {
        std::string text;
        for (int k = 0; k < count; ++k) {
            text += unit;
        }
        return text;
    };
    for (const auto& sql :
         {"select " + repeated("(", 5000) + "1" + repeated(")", 5000),
          "select " + repeated("-", 5000) + "1",
          "select " + repeated("not ", 5000) + "1",
          "select 1" + repeated("+1", 5000),
          "select id from Orders where id in (" +
              repeated("select id from Orders where id in (", 300) + "1" + repeated(")", 301),
          "select * from Orders" + repeated(", Orders", 80)}) {
        const auto error = ErrorOf(sql);
        EXPECT_EQ(error.Number(), kErrSyntax) << sql.substr(0, 40) << error.Description();
    }
    EXPECT_EQ(Rows("select id from Orders where id = 1" + repeated(" or id = 1", 150)), "1");
    EXPECT_EQ(Rows("select Len('a'" + repeated(" & 'a'", 200) + ")"), "201");
    // An argument is compiled once, whichever form the call takes in the end.
    EXPECT_EQ(Rows("select " + repeated("IsDate(", 30) + "'x'" + repeated(")", 30)), "False");
    EXPECT_EQ(Rows("select " + repeated("IIf(id = 2, 'two', ", 40) + "'other'" + repeated(")", 40) +
                   " from Orders where id < 3"),
              "other\ntwo");
}

}  // namespace
}  // namespace vantry::sql::test
