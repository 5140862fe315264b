// Whole sessions in the dialects of SQL Server and Oracle, through the driver manager. A real ODBC
// driver of another source is registered under names of those kinds: what the statements say, which
// way values take, and what the log tells is the same; the types are those that the sessions'
// providers report.

#include "engine/route_fixture.h"
#include "support/private_odbc.h"

#include <gtest/gtest.h>

namespace vantry::test {
namespace {

class StandInRoute : public RouteTest {
protected:
    void SetUp() override {
        if (const auto missing = PrivateOdbc::Missing("libsqlite3odbc.so", "libsqliteodbc");
            !missing.empty()) {
            GTEST_SKIP() << missing;
        }
        PrivateOdbc::OfProcess().Register(
            {PrivateOdbc::Driver("SQL Server", "libsqlite3odbc.so"),
             PrivateOdbc::Driver("Oracle ODBC Driver", "libsqlite3odbc.so")});
    }

    // The statements make the source or the target.
    void From(const std::string& kind, std::initializer_list<const char*> statements) const {
        SourceType = kind;
        SourceConnStr = TextOf(kind, "source");
        Send(SourceConnStr, statements);
    }
    void To(const std::string& kind, std::initializer_list<const char*> statements = {}) const {
        TargetType = kind;
        TargetConnStr = TextOf(kind, kind);
        if (kind == "ORACLE") {
            RunStatement(TargetConnStr, "create table user_tables (table_name varchar(30))");
        }
        Send(TargetConnStr, statements);
    }
    std::string TextOf(const std::string& kind, const std::string& database) const {
        const auto path = (folder_ / database).string();
        return kind == "MSSQL"
                   ? "Provider=SQLOLEDB.1;Server=(local);Trusted_Connection=Yes;Database=" + path
                   : "Provider=OraOLEDB.Oracle;Data Source=svc;Database=" + path +
                         ";User ID=scott;Password=tiger;";
    }
};

TEST_F(StandInRoute, SqlServerIntoANewOracleTableWithBooleansAsLetters) {
    From("MSSQL",
         {"create table [order lines] ([id] int, [ok] bit, [full name] nvarchar(40))",
          "insert into [order lines] values (1,1,'Öl 😀'),(2,0,''),(3,null,null)"});
    To("ORACLE");
    Map("order lines", "orderlines", "main");
    ColMaps[2].DCName = "fullname";
    EXPECT_EQ(RunAndLog(),
              RunLog("About To Create Table order lines\n\norderlines Table Created Successfully\n"
                     "\nAbout to Insert Rows from order lines to orderlines\n"
                     "3 Rows Loaded Time Elapsed :E"));
    EXPECT_EQ(Target("select id, ok, fullname from orderlines order by id"),
              "1|T|Öl 😀\n2|F|\n3|F|Null\n");
    EXPECT_EQ(Target("select sql from sqlite_master where name='orderlines'"),
              "CREATE TABLE orderlines(\rid Number,\rok Varchar2(2),\rfullname Varchar2(40)\r)\n");
}

TEST_F(StandInRoute, OracleWithItsOwnerIntoBracketsKeepsLongValues) {
    std::string note = "first\r\n";
    while (note.size() < 300'000) {
        note += "Zeile äöü 😀 ";
    }
    const auto row = "insert into emp values (7, '" + note + "', x'00ff10', '2001-02-03 04:05:06')";
    From("ORACLE",
         {"create table emp (empno Number, note CLOB, photo BLOB, hired Date)",
          row.c_str(),
          "insert into emp values (8, null, null, null)"});
    To("MSSQL");
    Map("emp", "em p", "main");
    RunAndLog();
    EXPECT_TRUE(LogHas("2 Rows Loaded")) << Log();
    EXPECT_EQ(Target("select [empno],hex([photo]),[hired],[note] is null from [em p] order by 1"),
              "7|00FF10|2001-02-03 04:05:06|0\n8||Null|1\n");
    EXPECT_TRUE(Target("select [note] from [em p] where [empno]=7") == note + "\n");
}

TEST_F(StandInRoute, AnExistingTableIsEmptiedAppendedToOrRebuilt) {
    From("MSSQL",
         {"create table src (id int, name varchar(20))",
          "insert into src values (1,'one'),(2,'two')"});
    for (const std::string kind : {"MSSQL", "ORACLE"}) {
        To(kind,
           {"create table dst (key int, label varchar(20))", "insert into dst values (9,'old')"});
        if (kind == "ORACLE") {
            RunStatement(TargetConnStr, "insert into user_tables values ('DST')");
        }
        Map("src", "dst", "main");
        ASSERT_EQ(SrcTables[0].TableExists, kTrue) << kind;
        RunAndLog("APPEND");
        EXPECT_EQ(Target("select count(*) from dst"), "3\n") << kind;
        RunAndLog("DELETE");
        EXPECT_TRUE(LogHas("Existing Rows deleted succesfully from table dst")) << Log();
        EXPECT_EQ(Target("select key,label from dst order by 1"), "1|one\n2|two\n") << kind;
        RunAndLog("DROP");
        EXPECT_TRUE(LogHas("dst Table dropped")) << Log();
        // A rebuilt table has the source's column names.
        EXPECT_EQ(Target("select id,name from dst order by 1"), "1|one\n2|two\n") << kind;
    }
}

}  // namespace
}  // namespace vantry::test
