// Expected rows follow the rules of the dialect that the user writes, not what the code gives.

#include "drivers/sql/plan/saved_queries.h"
#include "drivers/sql/sql_fixture.h"

namespace vantry::sql::test {
namespace {

class SelectTest : public SqlTest {};

TEST_F(SelectTest, PlainQueriesGiveTheStoredCellsOfTablesAndOfPaths) {
    for (const std::string name : {"/dir/my orders.dbf", "orders#csv", "orders.csv", "sub/list"}) {
        database_->AddTable(name, {MemoryDatabase::Column("a", adInteger, 4)});
        connection_->Execute("insert into [" + name + "] values (7)");
    }
    const Case cases[] = {
        {"SELECT a FROM \"/dir/my orders.dbf\"", "7"},
        {"SELECT [orders#csv].a FROM [orders#csv] WHERE orders.a=7", "7"},
        {"SELECT a FROM orders.csv", "7"},
        {"SELECT list.a FROM sub/list WHERE a > 0", "7"},
        {"SELECT [id],[customer] FROM [Orders]", "1|Ada\n2|ÉMILE\n3|ada\n4|-\n5|Bob"},
        {"select TOP 2 id from Orders;", "1\n2"},
        {"select * from People where 1=1", "ADA|36\némile|51\nZoe|-"},
        {"SELECT `name` FROM \"People\"", "ADA\némile\nZoe"},
        {"SELECT p!name FROM People AS p", "ADA\némile\nZoe"},
    };
    Check(cases);
}

TEST_F(SelectTest, Conditions) {
    const Case cases[] = {
        {"select id from Orders where customer = 'ADA'", "1\n3"},
        {"select id from Orders where customer = \"émile\"", "2"},
        {"select id from Orders where customer in ('BOB', 'Émile')", "2\n5"},
        {"select id from Orders where customer & '' in ('BOB', 'Émile')", "2\n5"},
        {"select id from Orders where Trim(customer) not in ('ADA', 'BOB')", "2"},
        {"select id from Orders where shipped", "1\n3\n5"},
        {"select id from Orders where shipped = 1", ""},
        {"select id from Orders where 'no' = shipped", "2\n4"},
        {"select id from Orders where id = ' 2 '", "2"},
        {"select id from Orders where ordered = #1/2/2024 1:45:00 PM#", "1"},
        {"select id from Orders where ordered >= #2024-01-02#", "1\n2"},
        {"select id from Orders where ordered >= '2024-02-01'", "2"},
        {"select id from Orders where qty = '10'", "4"},
        {"select id from Orders where qty not between 0 and 5", "4\n5"},
        {"select id from Orders where qty is null", "3"},
        {"select id from Orders where price * qty > 30", "1\n2"},
        {"select id from Orders where id mod 2 = 1 and id \\ 2 = 1", "3"},
        {"select id from Orders where id < 3 xor shipped", "2\n3\n5"},
        {"select id from Orders where id < 3 eqv shipped", "1\n4"},
        {"select id from Orders where id < 3 imp shipped", "1\n3\n4\n5"},
        {"select id from Orders where id = &H5", "5"},
        {"select id from Orders where -id ^ 2 = -9", "3"},
    };
    Check(cases);
}

TEST_F(SelectTest, LikeKnowsRunsSetsAndNoCase) {
    const Case cases[] = {
        {"'Hello' Like '%LL%', 'Hello' Like 'h_llo', 'Hello' Like 'h[ae]llo'", "True|True|True"},
        {"'Hello' Like 'h[!a-d]llo', 'Hello' Like 'h[^e]llo'", "True|False"},
        {"'50%' Like '50[%]', 'a*b' Like 'a*b', 'axb' Like 'a*b'", "True|True|False"},
        {"'ÀÉ' Like 'à_', '' Like '%', 'aXbXc' Like '%x%x_'", "True|True|True"},
        {"'ab' Like 'a[]b', '[x' Like '[x', Null Like '%'", "True|True|-"},
    };
    Check(cases, "select ");
}

TEST_F(SelectTest, JoinsSubqueriesAndUnions) {
    const Case cases[] = {
        {"select o.id, p.age from Orders as o inner join People as p on o.customer = p.name",
         "1|36\n2|51\n3|36"},
        {"select id, name from Orders left join People on Orders.customer = People.name",
         "1|ADA\n2|émile\n3|ADA\n4|-\n5|-"},
        {"select name, id from Orders right join People on Orders.customer = People.name order by "
         "name, id",
         "ADA|1\nADA|3\némile|2\nZoe|-"},
        {"select a.id, b.id, c.name from (Orders a inner join Orders b on a.id = b.id - 1) inner "
         "join People c on a.customer = c.name",
         "1|2|ADA\n2|3|émile\n3|4|ADA"},
        {"select id from Orders where customer in (select name from People)", "1\n2\n3"},
        {"select id from Orders o where exists (select * from People where name = o.customer and "
         "age > 40)",
         "2"},
        {"select id from Orders where price = (select max(price) from Orders)", "2"},
        // The nearest query that has a name decides what it means.
        {"select id from Orders o where exists (select * from Orders where id = o.id + 3)", "1\n2"},
        {"select count(*) from (select name from People union select customer from Orders)", "5"},
        {"select p.name, v.id from People p left join (select top 3 id, customer from Orders) as v "
         "on v.customer = p.name",
         "ADA|1\nADA|3\némile|2\nZoe|-"},
        {"select c from [select customer as c from Orders where id = 5]. as t", "Bob"},
    };
    Check(cases);
}

TEST_F(SelectTest, ComparesWithAllAndWithAnyRowOfAQuery) {
    const Case cases[] = {
        {"qty >= all (select qty from Orders where qty is not null)", "4"},
        {"qty > all (select age from People)", ""},
        {"not qty > all (select age from People)", "1\n2\n4\n5"},
        {"qty > any (select 0 from People)", "1\n2\n4"},
        {"not qty > any (select 99 from People)", "1\n2\n4\n5"},
        {"qty < any (select age from People where name = 'nobody')", ""},
        {"qty = some (select qty from Orders where id < 3)", "1\n2"},
        {"qty <> all (select qty from Orders where id < 3)", "4\n5"},
        {"qty <> all (select 3 from People where 1=2)", "1\n2\n3\n4\n5"},
        {"qty = all (select 3 from People)", "1"},
        {"qty <> any (select qty from Orders where id < 3)", "1\n2\n4\n5"},
        {"customer <= all (select name from People)", "1\n3"},
        {"id = all (select id from Orders i where i.customer = Orders.customer)", "2\n4\n5"},
        {"price >= all (select price from Orders where price is not null)", "2"},
        {"ordered > all (select ordered from Orders where id = 1)", "2"},
    };
    Check(cases, "select id from Orders where ");
    EXPECT_EQ(Rows("select customer from Orders group by customer having count(*) >= all (select "
                   "count(*) from Orders group by customer)"),
              "Ada");
}

TEST_F(SelectTest, GroupsOrderAndTop) {
    const Case cases[] = {
        {"select customer, count(*), sum(qty) from Orders group by customer order by count(*) "
         "desc, 1",
         "Ada|2|3\n-|1|10\nBob|1|-2\nÉMILE|1|1"},
        {"select shipped, sum(price) as s from Orders group by shipped having count(*) > 2",
         "True|20.0833"},
        {"select max(id), min(ordered), max(customer), avg(qty), count(qty) from Orders",
         "5|1776-07-04|ÉMILE|3|4"},
        {"select max(sessionid) from (select id as sessionid from Orders where id > 99)", "-"},
        {"select year(ordered) as y, count(*) from Orders where ordered is not null group by "
         "year(ordered) order by 1",
         "1776|1\n2023|1\n2024|2"},
        {"select first(id), last(id), stdev(id), varp(id) from Orders", "1|5|1.5811388300841898|2"},
        {"select distinct customer from Orders order by customer", "-\nAda\nBob\nÉMILE"},
        {"select n from (select 'emily' as n union select 'émile' union select 'Emile' union "
         "select 'f') order by n",
         "Emile\némile\nemily\nf"},
        {"select id from Orders where customer >= 'e' and customer < 'f'", "2"},
        {"select distinct shipped, count(*) from Orders group by customer, shipped order by "
         "shipped",
         "True|1\nTrue|2\nFalse|1"},
        {"select top 1 customer from Orders where customer is not null order by customer",
         "Ada\nada"},
        {"select top 40 percent id from Orders order by id desc", "5\n4"},
        {"select id, customer from Orders order by customer desc, id desc",
         "2|ÉMILE\n5|Bob\n3|ada\n1|Ada\n4|-"},
        {"select qty + 1 as q, q * 2 as r from Orders where id = 1", "4|8"},
    };
    Check(cases);
}

TEST_F(SelectTest, ColumnsReportNameAndType) {
    const Case cases[] = {
        {"select * from Orders where id = 1",
         "id:3,customer:202,price:6,qty:2,ordered:7,shipped:11,note:203"},
        {"select count(*) from Orders", "Expr1000:3"},
        {"select id, count(*), max(ordered), sum(price) as total, sum(qty) from Orders group by id",
         "id:3,Expr1001:3,Expr1002:7,total:6,Expr1004:5"},
        {"select a.id, b.id, b.qty from Orders a, Orders b where a.id = b.id",
         "a.id:3,b.id:3,qty:2"},
        {"select customer & ' x', note & 'x', ordered + 1, qty / 2, shipped and True, qty * price "
         "from Orders where id = 0",
         "Expr1000:202,Expr1001:203,Expr1002:7,Expr1003:5,Expr1004:11,Expr1005:6"},
    };
    for (const auto& [sql, names] : cases) {
        EXPECT_EQ(Names(sql), names) << sql;
    }
}

TEST_F(SelectTest, PlainColumnsKeepWhatSqliteCannotHold) {
    using D = MemoryDatabase;
    auto& rows = database_->AddTable(
        "Exact",
        {D::Column("k", adInteger, 4), D::Column("d", adNumeric, 19, 10), D::Column("t", adDate)});
    const Decimal long_decimal{static_cast<Int128>(1234567890123456789LL) * 10'000'000'000LL + 7,
                               10};
    for (int k = 0; k < 3; ++k) {
        std::vector<Value> row(3);
        row[0].Assign(Cell::Int64(k % 2));
        row[1].Assign(Cell::FromDecimal(long_decimal));
        row[2].Assign(Cell::FromDateTime({45000 + k, 123'456'789}));
        rows.rows.push_back(std::move(row));
        rows.deleted.push_back(false);
    }
    for (const std::string sql :
         {"select d, t from Exact where k = 1",
          "select d, t from Exact where k >= 0 order by t desc",
          "select distinct d, t from Exact order by t",
          "select d, t, count(*) from Exact group by d, t",
          "select top 1 d, t from Exact order by k",
          "select v.d, v.t from (select d, t, k from Exact) as v where k=0",
          "select e.d, e.t from Exact e left join People p on p.age = e.k"}) {
        const auto cursor = connection_->OpenCursor(sql);
        ASSERT_TRUE(cursor->Next()) << sql;
        EXPECT_EQ(ToText(cursor->Row()[0]), "1234567890123456789.0000000007") << sql;
        EXPECT_EQ(cursor->Row()[1].AsDateTime().nanos, 123'456'789) << sql;
    }
}

TEST_F(SelectTest, SavedQueriesAreTablesToo) {
    database_->views["BIG"] = "SELECT id, customer, price FROM Orders WHERE price > 5;";
    database_->views["BIGGER"] = "select Big.*, price * 2 as twice from Big where price > 10";
    database_->views["LOOP"] = "select * from LOOP2";
    database_->views["LOOP2"] = "select * from LOOP";
    EXPECT_EQ(Rows("select * from Bigger order by id desc"), "2|ÉMILE|100|200\n1|Ada|12.5|25");
    EXPECT_EQ(Rows("select count(*) from Big"), "3");
    EXPECT_EQ(Names("select * from [Bigger]"), "id:3,customer:202,price:6,twice:6");
    EXPECT_EQ(ErrorOf("select * from Loop").Description(), "Circular reference caused by 'LOOP'.");
    // A statement stands on no more than some of them.
    StatementState state{*database_, dialect_};
    SavedQueries queries(state);
    const auto open_many = [&] {
        for (int k = 0; k < 300; ++k) {
            queries.Open("Big");
            queries.Close();
        }
    };
    EXPECT_THROW(open_many(), DataError);
}

TEST_F(SelectTest, UnreadableValuesHurtOnlyThoseWhoLookAtThem) {
    auto& rows = database_->Rows("Orders");
    rows.rows[2][2].Assign(Cell::Unreadable());
    EXPECT_EQ(Rows("select id, price from Orders where id > 1"), "2|100\n3|!\n4|-\n5|0.3333");
    EXPECT_EQ(Rows("select id, price from Orders order by id desc"),
              "5|0.3333\n4|-\n3|!\n2|100\n1|12.5");
    const auto cursor = connection_->OpenCursor("select id from Orders where price > 1");
    EXPECT_TRUE(cursor->Next());
    EXPECT_TRUE(cursor->Next());
    for (int again = 0; again < 2; ++again) {
        try {
            cursor->Next();
            FAIL() << "a condition on an unreadable value was decided";
        } catch (const DataError& error) {
            EXPECT_EQ(error.Description(), "unreadable Orders.price row 3");
        }
    }
    EXPECT_EQ(ErrorOf("update Orders set qty = price where id > 1").Description(),
              "unreadable Orders.price row 3");
    const auto plain = connection_->OpenCursor("select price, id from Orders where id = 3");
    ASSERT_TRUE(plain->Next());
    EXPECT_EQ(plain->FieldError(0).Description(), "unreadable Orders.price row 3");
}

TEST_F(SelectTest, JoinsDontWalkTheInnerTableForEachRow) {
    auto& people = database_->Rows("People");
    auto& orders = database_->Rows("Orders");
    for (int k = 0; k < 500; ++k) {
        connection_->Execute("insert into Orders (id, customer) values (" +
                             std::to_string(1000 + k) + ", 'c" + std::to_string(k) + "')");
        connection_->Execute("insert into People values ('C" + std::to_string(k) + "', 1)");
    }
    orders.rows_read = people.rows_read = 0;
    EXPECT_EQ(Rows("select count(*) from Orders inner join People on customer = name"), "503");
    EXPECT_LT(orders.rows_read + people.rows_read, 5000U);

    people.indexed.insert(0);
    orders.rows_read = people.rows_read = 0;
    EXPECT_EQ(Rows("select count(*) from Orders, People where id < 20 and Orders.id <> age"),
              "2010");
    EXPECT_LT(orders.rows_read + people.rows_read, 3000U);
    people.rows[1][1].Assign(Cell::Unreadable());
    EXPECT_EQ(Rows("select id, age from Orders, People where customer = name and id < 5"),
              "1|36\n2|!\n3|36");

    people.rows_read = 0;
    EXPECT_EQ(Rows("select age from People where name = 'c77'"), "1");
    EXPECT_EQ(people.rows_read, 1U);
}

// Sorted rows are read from the table by the chunk: first by id, later by walks over the table.
TEST_F(SelectTest, LongSortedResultsComeWholeAndInOrder) {
    using D = MemoryDatabase;
    auto& rows = database_->AddTable(
        "Many", {D::Column("id", adInteger, 4), D::Column("t", adVarWChar, 40)});
    constexpr int kRows = 5000;
    for (int k = 0; k < kRows; ++k) {
        const int id = k * 7919 % kRows;
        std::vector<Value> row(2);
        row[0].Assign(Cell::Int64(id));
        const std::string text = "row " + std::to_string(id);
        row[1].Assign(id == 4321 ? Cell::Unreadable() : Cell::Text(text));
        rows.rows.push_back(std::move(row));
        rows.deleted.push_back(false);
    }
    rows.backwards = true;
    EXPECT_EQ(Rows("select count(*) from Many where id < 7"), "7");
    const auto cursor = connection_->OpenCursor("select t, id, id * 2 from Many order by id");
    for (int id = 0; id < kRows; ++id) {
        ASSERT_TRUE(cursor->Next());
        ASSERT_EQ(cursor->Row()[1].AsInt64(), id);
        ASSERT_EQ(cursor->Row()[2].AsInt64(), id * 2);
        if (id == 4321) {
            EXPECT_EQ(Shown(cursor->Row()[0]), "!");
            EXPECT_EQ(cursor->FieldError(0).Description().substr(0, 17), "unreadable Many.t");
        } else {
            ASSERT_EQ(cursor->Row()[0].AsText(), "row " + std::to_string(id));
        }
    }
    EXPECT_FALSE(cursor->Next());
    EXPECT_LT(rows.rows_read, 20U * kRows);

    // What fails behind a chunk comes after its rows; a row deleted meanwhile is told.
    const auto failing =
        connection_->OpenCursor("select id, 1 \\ (max(id) - 250) from Many group by id");
    for (int id = 0; id < 250; ++id) {
        ASSERT_TRUE(failing->Next());
    }
    EXPECT_THROW(failing->Next(), DataError);
    const auto losing = connection_->OpenCursor("select t, id from Many order by id desc");
    ASSERT_TRUE(losing->Next());
    rows.deleted.assign(rows.deleted.size(), true);
    EXPECT_THROW(while (losing->Next()){}, DataError);
}

}  // namespace
}  // namespace vantry::sql::test
