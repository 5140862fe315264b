// Whole sessions in the dialects of SQL Server and Oracle, through the driver manager. A real ODBC
// driver of another source is registered under names of those kinds: what the statements say, which
// way values take, and what the log tells is the same; the types are those that the sessions'
// providers report.

#include "engine/run_session.h"
#include "engine/session_fixture.h"
#include "support/private_odbc.h"
#include "support/session_steps.h"

namespace vantry::test {
namespace {

class StandInRoute : public RunTest {
protected:
    static PrivateOdbc& Registry() { return PrivateOdbc::OfProcess(); }
    void SetUp() override {
        if (const auto missing = PrivateOdbc::Missing("libsqlite3odbc.so", "libsqliteodbc");
            !missing.empty()) {
            GTEST_SKIP() << missing;
        }
        Registry().Register({PrivateOdbc::Driver("SQL Server", "libsqlite3odbc.so"),
                             PrivateOdbc::Driver("Oracle ODBC Driver", "libsqlite3odbc.so")});
    }

    // The statements make the source or the target.
    void From(const std::string& kind, std::initializer_list<const char*> statements) {
        SourceType = kind;
        SourceConnStr = TextOf(kind, "source");
        for (const char* sql : statements) {
            RunStatement(SourceConnStr, sql);
        }
    }
    void To(const std::string& kind, std::initializer_list<const char*> statements = {}) {
        TargetType = kind;
        TargetConnStr = TextOf(kind, kind);
        if (kind == "ORACLE") {
            RunStatement(TargetConnStr, "create table user_tables (table_name varchar(30))");
        }
        for (const char* sql : statements) {
            RunStatement(TargetConnStr, sql);
        }
    }
    std::string TextOf(const std::string& kind, const std::string& database) const {
        const auto path = (folder_ / database).string();
        return kind == "MSSQL"
                   ? "Provider=SQLOLEDB.1;Server=(local);Trusted_Connection=Yes;Database=" + path
                   : "Provider=OraOLEDB.Oracle;Data Source=svc;Database=" + path +
                         ";User ID=scott;Password=tiger;";
    }
    static std::string Target(const std::string& sql) { return RowsOf(TargetConnStr, sql); }
    static void Map(const std::string& table, const std::string& target) {
        SrcTables.assign(1, TableRec());
        SrcTables[0].Name = table;
        SrcTables[0].Owner = "main";
        DstTables.clear();
        MapTables(target);
    }
    std::string RunAndLog(const std::string& option = {}) {
        if (!option.empty()) {
            SrcTables[0].LoadOption = DstTables[0].LoadOption = option;
        }
        RunSession("");
        return Log();
    }

    TempDir folder_;
};

TEST_F(StandInRoute, SqlServerIntoANewOracleTableWithBooleansAsLetters) {
    From("MSSQL",
         {"create table [order lines] ([id] int, [ok] bit, [full name] nvarchar(40))",
          "insert into [order lines] values (1,1,'Öl 😀'),(2,0,''),(3,null,null)"});
    To("ORACLE");
    Map("order lines", "orderlines");
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
    Map("emp", "em p");
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
        Map("src", "dst");
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

TEST_F(StandInRoute, RefusedRowsAreToldOneByOneAndAddUp) {
    From("MSSQL",
         {"create table src (id int, name varchar(20))",
          "insert into src values (1,'a'),(2,'b'),(2,'c'),(3,null),(4,'d')"});
    To("MSSQL", {"create table dst (id int primary key, name varchar(20) not null)"});
    Map("src", "dst");
    RunAndLog("APPEND");
    EXPECT_TRUE(LogHas("Error Loading Row:3\n[SQLite]UNIQUE constraint failed: dst.id (19)"))
        << Log();
    EXPECT_TRUE(LogHas("Error Loading Row:4\n[SQLite]NOT NULL constraint failed: dst.name (19)"))
        << Log();
    EXPECT_TRUE(LogHas("3 Rows Loaded")) << Log();
    EXPECT_EQ(Target("select group_concat(id) from dst"), "1,2,4\n");
}

TEST_F(StandInRoute, ASqlServerThatIsntThereFailsTheTableInItsDriversWords) {
    if (const auto missing = PrivateOdbc::Missing("libtdsodbc.so", "tdsodbc"); !missing.empty()) {
        GTEST_SKIP() << missing;
    }
    From("MSSQL", {"create table src (id int)"});
    To("ORACLE");
    Map("src", "dst");
    // The mapped columns stay; the target becomes a server of the real driver.
    Registry().Register({PrivateOdbc::Driver("SQL Server", "libsqlite3odbc.so"),
                         PrivateOdbc::Driver("FreeTDS", "libtdsodbc.so")});
    SourceConnStr = "driver=SQL Server;Server=(local);Trusted_Connection=yes;Database=" +
                    (folder_ / "source").string();
    TargetType = "MSSQL";
    TargetConnStr = "Provider=SQLOLEDB.1;Server=127.0.0.1,1;uid=sa;pwd=s3cret-pass;Database=x";
    RunAndLog();
    EXPECT_TRUE(
        LogHas("Error Creating Table dst\n\n[FreeTDS][SQL Server]Unable to connect: "
               "Adaptive Server is unavailable or does not exist"))
        << Log();
    EXPECT_FALSE(LogHas("s3cret-pass"));
    EXPECT_FALSE(LogHas("About to Insert Rows")) << Log();
}

}  // namespace
}  // namespace vantry::test
