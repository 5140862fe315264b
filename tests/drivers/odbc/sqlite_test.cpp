// The driver over the real SQLite ODBC driver: a source without types of its own, spoken to in
// bytes.

#include "data/value_convert.h"
#include "drivers/odbc/odbc_fixture.h"
#include "support/resident_memory.h"

#include <dlfcn.h>
#include <malloc.h>
#include <sql.h>
#include <sqlext.h>

#include <algorithm>
#include <clocale>
#include <optional>
#include <string>
#include <string_view>

namespace {

// What the driver is made to remark behind the next statements; nothing: what it says itself.
struct Remark {
    const char* state;
    const char* text;
};
std::optional<Remark> PlantedRemark;
bool CountsRefusedRows = false;  // as if they had been stored

template <typename Function>
Function Next(Function, const char* name) {
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

SQLRETURN WithRemark(SQLRETURN result) {
    return PlantedRemark && result == SQL_SUCCESS ? SQLRETURN{SQL_SUCCESS_WITH_INFO} : result;
}

}  // namespace

// Stand before the driver manager's own: no driver on a test machine changes a value and says so.
extern "C" SQLRETURN SQL_API SQLExecute(SQLHSTMT statement) {
    static const auto next = Next(&SQLExecute, "SQLExecute");
    const auto result = next(statement);
    SQLULEN* counted = nullptr;
    if (CountsRefusedRows && !SQL_SUCCEEDED(result)) {
        SQLGetStmtAttr(statement, SQL_ATTR_PARAMS_PROCESSED_PTR, &counted, 0, nullptr);
        SQLGetStmtAttr(statement, SQL_ATTR_PARAMSET_SIZE, counted, 0, nullptr);
    }
    return WithRemark(result);
}
extern "C" SQLRETURN SQL_API SQLExecDirect(SQLHSTMT statement, SQLCHAR* text, SQLINTEGER length) {
    static const auto next = Next(&SQLExecDirect, "SQLExecDirect");
    return WithRemark(next(statement, text, length));
}
extern "C" SQLRETURN SQL_API SQLGetDiagRecW(SQLSMALLINT kind,
                                            SQLHANDLE handle,
                                            SQLSMALLINT number,
                                            SQLWCHAR* state,
                                            SQLINTEGER* native,
                                            SQLWCHAR* text,
                                            SQLSMALLINT room,
                                            SQLSMALLINT* length) {
    static const auto next = Next(&SQLGetDiagRecW, "SQLGetDiagRecW");
    if (!PlantedRemark || kind != SQL_HANDLE_STMT || number != 1) {
        return next(kind, handle, number, state, native, text, room, length);
    }
    const std::string_view words = PlantedRemark->text;
    std::copy_n(PlantedRemark->state, 6, state);
    *std::copy(words.begin(), words.end(), text) = 0;
    *native = 0;
    *length = static_cast<SQLSMALLINT>(words.size());
    return SQL_SUCCESS;
}

namespace vantry::test {
namespace {

class SqliteTest : public DriverTest {
protected:
    SqliteTest() : DriverTest(kSqliteLibrary, "libsqliteodbc") {
        Registry().Register({PrivateOdbc::Driver("SQLite3", kSqliteLibrary)});
    }

    std::string Text(const std::string& file = "any.db") const {
        return "DRIVER={SQLite3};Database=" + (folder_ / file).string() + ";SyncPragma=OFF";
    }
    std::unique_ptr<DriverConnection> Open(const odbc::Tuning& tuning = {}) const {
        return Connect(Text(), tuning);
    }

    TempDir folder_;
};

TEST_F(SqliteTest, ValuesKeepWhatTheyAreWhateverTheirColumnsSay) {
    const auto connection = Open();
    connection->Execute(
        "create table t (i integer, r real, v varchar(5), d datetime, x date, b blob, f boolean)");
    connection->Execute(
        "insert into t values (5000000000, 0.1, 'longer than five äöü😀', "
        "'2020-02-03 04:05:06.123456', '2020-02-03', x'00ff01', 1)");
    connection->Execute("insert into t values ('abc', 'xyz', 7, 'n/a', '', 'text', 'maybe')");
    connection->Execute("insert into t values (null, null, null, null, null, null, null)");
    connection->Execute("insert into t values (1.5, 1e300, '', '2020-01-01', null, x'', 0)");
    const auto rows = Query(*connection, "select * from t");
    ASSERT_EQ(rows.size(), 4U);
    EXPECT_EQ(
        Shown(rows[0]),
        "number:5000000000 | number:0.1 | text:longer than five äöü😀 | "
        "moment:2020-02-03 04:05:06.123456 | moment:2020-02-03 00:00:00 | bytes:3 | bool:True");
    EXPECT_EQ(Shown(rows[1]),
              "text:abc | text:xyz | text:7 | text:n/a | text: | bytes:4 | text:maybe");
    EXPECT_EQ(Shown(rows[2]), "null | null | null | null | null | null | null");
    EXPECT_EQ(Shown(rows[3]),
              "number:1.5 | number:1E+300 | text: | moment:2020-01-01 00:00:00 | null | bytes:0 | "
              "bool:False");
}

TEST_F(SqliteTest, ARefusedBlockHasARefusedRowWhateverTheDriverCounts) {
    const auto connection = Open();
    connection->Execute("create table t (id integer primary key)");
    const auto insert =
        connection->Prepare("insert into t values (?)", std::vector<ParameterInfo>{{adInteger, 4}});
    for (const int id : {1, 2, 1}) {
        insert->Keep(std::vector{Cell::Int64(id)});
    }
    RowOutcomes outcomes;
    CountsRefusedRows = true;
    insert->SendKept(outcomes);
    CountsRefusedRows = false;
    ASSERT_EQ(outcomes.size(), 3U);
    EXPECT_TRUE(!outcomes[0] && !outcomes[1] && outcomes[2]);
}

// A value that the server changed is an error of its statement, and the row counts as arrived;
// lost digits are told once, other remarks not at all.
TEST_F(SqliteTest, WhatADriverRemarksOnChangedValuesIsAnError) {
    const auto connection = Open();
    connection->Execute("create table t (v varchar(3))");
    const std::vector<ParameterInfo> infos(1);
    const auto insert = connection->Prepare("insert into t values (?)", infos);
    const std::vector<Cell> row{Cell::Text("long")};
    struct Case {
        Remark remark;
        bool first;
        bool again;
    };
    for (const auto& [remark, first, again] :
         {Case{{"01004", "right truncation"}, true, true},
          Case{{"22001", "cut off"}, true, true},
          Case{{"01S07", "fraction of column v"}, true, false},
          Case{{"01000", "changed database context"}, false, false}}) {
        for (const bool prepared : {true, false}) {
            for (const bool expected : {first && (prepared || again), again}) {
                PlantedRemark = remark;
                const auto error = ErrorOf([&] {
                    EXPECT_EQ(prepared ? insert->Execute(row)
                                       : connection->Execute("insert into t values ('long')"),
                              1);
                });
                PlantedRemark.reset();
                EXPECT_EQ(expected, error.Description().find(remark.text) != std::string::npos)
                    << remark.state << prepared << error.Description();
                EXPECT_EQ(error.ArrivedRows(), expected ? 1 : 0);
            }
        }
    }
    EXPECT_EQ(One(*connection, "select count(*) from t"), "16");
}

TEST_F(SqliteTest, NamesAndTextsOutsideOfTheLocaleGoThroughUnchanged) {
    // As in a program with windows, or behind a driver that sets it.
    const std::string former = std::setlocale(LC_CTYPE, nullptr);
    ASSERT_NE(std::setlocale(LC_CTYPE, "C.UTF-8"), nullptr);
    const auto connection = Connect(Text("dätä😀.db"));
    std::setlocale(LC_CTYPE, former.c_str());
    EXPECT_TRUE(std::filesystem::exists(folder_ / "dätä😀.db"));
    connection->Execute("create table [tä 😀] ([spalte ö] varchar(40))");
    connection->Execute("insert into [tä 😀] values ('Ω 😀')");
    const auto cursor = connection->OpenCursor("select [spalte ö] from [tä 😀]");
    EXPECT_EQ(cursor->Columns()[0].name, "spalte ö");
    EXPECT_EQ(Shown(RowsOf(*cursor)[0]), "text:Ω 😀");
    const auto error = ErrorOf([&] { connection->Execute("select * from [keine ä😀]"); });
    EXPECT_TRUE(Has(error.Description(), "keine ä😀"));
    EXPECT_EQ(error.Number(), kErrNoSuchTable);
    const auto tables = connection->Tables();
    ASSERT_EQ(tables.size(), 1U);
    EXPECT_EQ(tables[0].name, "tä 😀");
    EXPECT_EQ(tables[0].type, "TABLE");
}

TEST_F(SqliteTest, AnAppenderUsesTheSelectsOwnWordsAndLeavesColumnsToTheirDefaults) {
    const auto connection = Open();
    connection->Execute("create table [my rows] ([from] varchar(5) default 'd', [b,c] integer)");
    const auto appender = connection->OpenAppender("Select [from], [b,c] FROM [my rows] ");
    EXPECT_EQ(Shown(appender->Columns()), "from 200 5, b,c 3 4 p10");
    appender->Append(std::vector<Cell>{Cell::Text("new"), Cell::Int64(2)});
    appender->Append(std::vector<Cell>{Cell(), Cell::Int64(3)});
    appender->Append(std::vector<Cell>{Cell::Null(), Cell::Int64(4)});
    EXPECT_EQ(One(*connection, "select group_concat(ifnull([from],'-') || [b,c]) from [my rows]"),
              "new2,d3,-4");
    EXPECT_EQ(ErrorOf([&] { connection->OpenAppender("delete from [my rows]"); }).Number(),
              kErrInvalidArgument);
    EXPECT_THROW(connection->OpenCursor("delete from [my rows]"), DataError);
}

// Its driver reads a number as text of fifteen digits, in whatever type it is asked for.
TEST_F(SqliteTest, DoublesComeBackToTheLastBit) {
    const auto connection = Open();
    connection->Execute(
        "create table d (id integer, x double, y real, t text, b blob, n datetime)");
    const auto statement = connection->Prepare(
        "insert into d values (?,?,?,?,x'00ff','2020-01-02')",
        std::vector<ParameterInfo>{{adInteger, 4}, {adDouble, 8}, {adDouble, 8}, {adVarChar, 20}});
    constexpr double kNumbers[] = {
        0.1 + 0.2, -123456789.123456789, 1.7976931348623157e308, 5e-324, 1e22, 3};
    std::int64_t id = 0;
    for (const double number : kNumbers) {
        statement->Execute(std::vector<Cell>{
            Cell::Int64(++id), Cell::Double(number), Cell::Double(-number), Cell::Text("0.10")});
    }
    connection->Execute("insert into d values (0, 'xyz', null, null, null, null)");
    const auto cursor = connection->OpenCursor(
        "select y as [the number], t, x, id, b, n from d order by id desc  -- all");
    ASSERT_EQ(cursor->Columns().size(), 6U);
    EXPECT_EQ(cursor->Columns()[0].name, "the number");
    EXPECT_EQ(cursor->Columns()[0].type, adDouble);
    EXPECT_EQ(cursor->Columns()[3].type, adInteger);
    for (; id > 0; --id) {
        ASSERT_TRUE(cursor->Next());
        const double wanted = kNumbers[id - 1];
        EXPECT_EQ(ToInt64(cursor->Row()[3]), id);
        EXPECT_EQ(ToDouble(cursor->Row()[2]), wanted) << ToText(cursor->Row()[2]);
        EXPECT_EQ(ToDouble(cursor->Row()[0]), -wanted) << ToText(cursor->Row()[0]);
        EXPECT_EQ(Shown(std::vector<Value>{
                      Value(cursor->Row()[1]), Value(cursor->Row()[4]), Value(cursor->Row()[5])}),
                  "text:0.10 | bytes:2 | moment:2020-01-02 00:00:00");
    }
    ASSERT_TRUE(cursor->Next());
    EXPECT_EQ(Shown(std::vector<Value>{Value(cursor->Row()[0]), Value(cursor->Row()[2])}),
              "null | text:xyz");
    EXPECT_FALSE(cursor->Next());
    // However the statement begins, and whatever the column is called.
    connection->Execute("create table u (v, w varchar(30))");
    connection->Execute("insert into u values (0.1e0+0.2e0, null)");
    for (const char* sql : {"select v from u",
                            "with q as (select v from u) select v from q",
                            "/* from */ -- u\n select max(v) from u",
                            "select x from d where id=1",
                            "select x*1 from d where id=1"}) {
        const auto one = connection->OpenCursor(sql);
        ASSERT_TRUE(one->Next());
        EXPECT_EQ(ToDouble(one->Row()[0]), 0.1 + 0.2) << sql << ToText(one->Row()[0]);
    }
}

// A connection that can carry one statement keeps a cursor's further rows in memory, and each row
// comes once and in order.
TEST_F(SqliteTest, OneStatementAtATimeLosesNoRowOfAnOpenCursor) {
    odbc::Tuning tuning;
    tuning.one_statement_at_a_time = true;
    const auto connection = Open(tuning);
    connection->Execute("create table o (id integer, v text)");
    connection->Execute(
        "insert into o with recursive q(n) as (select 1 union all select n+1 from q where n<250) "
        "select n, 'row ' || n from q");
    const auto statement = connection->Prepare(
        "insert into o values (?,?)", std::vector<ParameterInfo>{{adInteger, 4}, {adVarChar, 20}});
    const auto outer = connection->OpenCursor("select id, v from o");
    for (int id = 1; id <= 3; ++id) {
        ASSERT_TRUE(outer->Next());
    }
    const auto row = outer->Row();
    // The values look at the cursor's own row while the cursor is taken into memory.
    statement->Execute(std::vector<Cell>(row.begin(), row.end()));
    EXPECT_EQ(ToText(row[1]), "row 3") << "the row that is being looked at stays as it is";
    EXPECT_EQ(connection->Execute("delete from o where id = 200"), 1);
    int next = 4;
    for (; outer->Next(); ++next) {
        EXPECT_EQ(ToText(outer->Row()[1]), "row " + std::to_string(next));
    }
    EXPECT_EQ(next, 251) << "neither the deleted row is missing nor the new one there";
    EXPECT_EQ(One(*connection, "select count(*) from o where v = 'row 3'"), "2");
}

TEST_F(SqliteTest, MemoryDoesntGrowWithTheRows) {
#ifdef __SANITIZE_ADDRESS__
    GTEST_SKIP() << "The sanitizer keeps freed memory, so resident memory says nothing.";
#endif
    const auto connection = Open();
    connection->Execute("create table m (id integer, v varchar(100))");
    connection->Execute(
        "insert into m with recursive q(n) as (select 1 union all select n+1 from q where "
        "n<200000) "
        "select n, 'a text that fills some of the memory, row ' || n from q");
    malloc_trim(0);  // what other tests have freed would hide what this one takes
    const auto before = ResidentBytes();
    const auto cursor = connection->OpenCursor("select id, v from m");
    auto most = ResidentBytes();
    int rows = 0;
    while (cursor->Next()) {
        if (++rows % 10'000 == 0) {
            most = std::max(most, ResidentBytes());
        }
    }
    EXPECT_EQ(rows, 200'000);
    // 200,000 rows are 14 MB of text alone.
    EXPECT_LT(most, before + 6'000'000);
}

}  // namespace
}  // namespace vantry::test
