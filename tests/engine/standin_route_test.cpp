// Whole sessions in the dialects of SQL Server and Oracle, through the driver manager. A real ODBC
// driver of another source is registered under names of those kinds: what the statements say, which
// way values take, and what the log tells is the same; the types are those that the sessions'
// providers report.

#include "core/data_access.h"
#include "engine/run_session.h"
#include "engine/session_fixture.h"
#include "mapping/column_discovery.h"
#include "support/private_odbc.h"

#include <memory>

namespace vantry::test {
namespace {

std::unique_ptr<PrivateOdbc> registry;

class RegistryEnvironment : public testing::Environment {
public:
    void SetUp() override { registry = std::make_unique<PrivateOdbc>(); }
    void TearDown() override { registry.reset(); }
};
const auto* const kEnvironment = testing::AddGlobalTestEnvironment(new RegistryEnvironment);

class StandInRoute : public testing::Test {
protected:
    void SetUp() override {
        if (const auto missing = PrivateOdbc::Missing("libsqlite3odbc.so", "libsqliteodbc");
            !missing.empty()) {
            GTEST_SKIP() << missing;
        }
        registry->Register({PrivateOdbc::Driver("SQL Server", "libsqlite3odbc.so"),
                            PrivateOdbc::Driver("Oracle ODBC Driver", "libsqlite3odbc.so")});
        CurrentRunView = &view_;
        CurrentSessionID = 0;
        SetLocalDateForm(DateForm());
        FoxSrcMode = FoxSrcPrefix = FoxDestMode = FoxDestPrefix = "";
    }
    void TearDown() override {
        SrcRS.reset();
        SrcConn.reset();
        DstRS.reset();
        DstConn.reset();
        CurrentRunView = nullptr;
    }

    std::string SqlServer(const std::string& database) const {
        return "Provider=SQLOLEDB.1;Server=(local);Trusted_Connection=Yes;Database=" +
               (folder_ / database).string();
    }
    std::string Oracle(const std::string& service) const {
        return "Provider=OraOLEDB.Oracle;Data Source=svc;Database=" + (folder_ / service).string() +
               ";User ID=scott;Password=tiger;";
    }

    void From(const std::string& kind, const std::string& text) {
        SourceType = kind;
        SourceConnStr = text;
    }
    void To(const std::string& kind, const std::string& text) {
        TargetType = kind;
        TargetConnStr = text;
        if (kind == "ORACLE") {
            Run(text, "create table if not exists user_tables (table_name varchar(30))");
        }
    }
    static void Run(const std::string& text, const std::string& sql) {
        Connection connection;
        connection.Open(text);
        connection.Execute(sql);
    }
    // All rows of a query as text, one line each. Whether an expression is a number is the source's
    // whim, so kinds don't show.
    static std::string Rows(const std::string& text, const std::string& sql) {
        Recordset rows;
        rows.Open(sql, text, adOpenForwardOnly, adLockReadOnly);
        std::string shown;
        for (; !rows.Eof(); rows.MoveNext()) {
            for (std::int32_t k = 0; k < rows.Fields().Count(); ++k) {
                const Cell& value = rows.Fields()[k].Value();
                shown += (value.IsNull() ? "null" : ToText(value)) + "|";
            }
            shown += "\n";
        }
        return shown;
    }

    // The table of the session, and its columns mapped as the mapping page does when it opens.
    static void Map(const std::string& owner, const std::string& table, const std::string& target) {
        SrcTables.assign(1, TableRec());
        SrcTables[0].Name = table;
        SrcTables[0].Owner = owner;
        DstTables.clear();
        std::vector<std::string> names;
        FillTargetTables();
        DstTables[0].Name = target;
        LoadSourceColumns();
        CheckTargetTables(names);
        LoadTargetColumns();
        BuildColMaps();
    }
    std::string RunAndLog(const std::string& option = {}) {
        if (!option.empty()) {
            SrcTables[0].LoadOption = DstTables[0].LoadOption = option;
        }
        RunSession("");
        return ReadableLog(view_.log);
    }
    static std::string Ended(const std::string& lines) {
        return "Started loading at :T\n" + lines +
               "\nEnd Time is :T\nTotal Time Elapsed for Session:E\n"
               "*******( F.I.N.I.S.H )*********";
    }

    TempDir folder_;
    RecordingView view_;
};

TEST_F(StandInRoute, SqlServerIntoANewOracleTableWithBooleansAsLetters) {
    From("MSSQL", SqlServer("shop"));
    Run(SourceConnStr, "create table [order lines] ([id] int, [ok] bit, [full name] nvarchar(40))");
    Run(SourceConnStr, "insert into [order lines] values (1,1,'Öl 😀'),(2,0,''),(3,null,null)");
    To("ORACLE", Oracle("target"));
    Map("main", "order lines", "orderlines");
    ColMaps[2].DCName = "fullname";
    EXPECT_EQ(RunAndLog(),
              Ended("About To Create Table order lines\n\norderlines Table Created Successfully\n\n"
                    "About to Insert Rows from order lines to orderlines\n"
                    "3 Rows Loaded Time Elapsed :E"));
    EXPECT_EQ(Rows(TargetConnStr, "select id, ok, fullname from orderlines order by id"),
              "1|T|Öl 😀|\n2|F||\n3|F|null|\n");
    EXPECT_EQ(Rows(TargetConnStr, "select sql from sqlite_master where name='orderlines'"),
              "CREATE TABLE orderlines(\rid Number,\rok Varchar2(2),\rfullname Varchar2(40)\r)|\n");
}

TEST_F(StandInRoute, OracleWithItsOwnerIntoBracketsKeepsLongValues) {
    From("ORACLE", Oracle("source"));
    Run(SourceConnStr, "create table emp (empno Number, note CLOB, photo BLOB, hired Date)");
    std::string note = "first\r\n";
    while (note.size() < 300'000) {
        note += "Zeile äöü 😀 ";
    }
    Run(SourceConnStr,
        "insert into emp values (7, '" + note + "', x'00ff10', '2001-02-03 04:05:06')");
    Run(SourceConnStr, "insert into emp values (8, null, null, null)");
    To("MSSQL", SqlServer("target"));
    Map("main", "emp", "em p");
    const auto log = RunAndLog();
    EXPECT_NE(log.find("2 Rows Loaded"), std::string::npos) << log;
    EXPECT_EQ(Rows(TargetConnStr,
                   "select [empno],hex([photo]),[hired],[note] is null from [em p] order by 1"),
              "7|00FF10|2001-02-03 04:05:06|0|\n8||null|1|\n");
    EXPECT_TRUE(Rows(TargetConnStr, "select [note] from [em p] where [empno]=7") == note + "|\n");
}

TEST_F(StandInRoute, AnExistingTableIsEmptiedAppendedToOrRebuilt) {
    From("MSSQL", SqlServer("shop"));
    Run(SourceConnStr, "create table src (id int, name varchar(20))");
    Run(SourceConnStr, "insert into src values (1,'one'),(2,'two')");
    for (const std::string& kind : {std::string("MSSQL"), std::string("ORACLE")}) {
        To(kind, kind == "MSSQL" ? SqlServer("target") : Oracle("target_o"));
        Run(TargetConnStr, "create table dst (key int, label varchar(20))");
        Run(TargetConnStr, "insert into dst values (9,'old')");
        if (kind == "ORACLE") {
            Run(TargetConnStr, "insert into user_tables values ('DST')");
        }
        Map("main", "src", "dst");
        ASSERT_EQ(SrcTables[0].TableExists, kTrue) << kind;
        RunAndLog("APPEND");
        EXPECT_EQ(Rows(TargetConnStr, "select count(*) from dst"), "3|\n") << kind;
        const auto emptied = RunAndLog("DELETE");
        EXPECT_NE(emptied.find("Existing Rows deleted succesfully from table dst"),
                  std::string::npos);
        EXPECT_EQ(Rows(TargetConnStr, "select key,label from dst order by 1"), "1|one|\n2|two|\n")
            << kind;
        const auto rebuilt = RunAndLog("DROP");
        EXPECT_NE(rebuilt.find("dst Table dropped"), std::string::npos) << rebuilt;
        // A rebuilt table has the source's column names.
        EXPECT_EQ(Rows(TargetConnStr, "select id,name from dst order by 1"), "1|one|\n2|two|\n")
            << kind;
    }
}

TEST_F(StandInRoute, RefusedRowsAreToldOneByOneAndAddUp) {
    From("MSSQL", SqlServer("shop"));
    Run(SourceConnStr, "create table src (id int, name varchar(20))");
    Run(SourceConnStr, "insert into src values (1,'a'),(2,'b'),(2,'c'),(3,null),(4,'d')");
    To("MSSQL", SqlServer("target"));
    Run(TargetConnStr, "create table dst (id int primary key, name varchar(20) not null)");
    Map("main", "src", "dst");
    const auto log = RunAndLog("APPEND");
    EXPECT_NE(log.find("Error Loading Row:3\n[SQLite]UNIQUE constraint failed: dst.id (19)"),
              std::string::npos)
        << log;
    EXPECT_NE(log.find("Error Loading Row:4\n[SQLite]NOT NULL constraint failed: dst.name (19)"),
              std::string::npos)
        << log;
    EXPECT_NE(log.find("3 Rows Loaded"), std::string::npos) << log;
    EXPECT_EQ(Rows(TargetConnStr, "select group_concat(id) from dst"), "1,2,4|\n");
}

TEST_F(StandInRoute, FiftyRefusedRowsGiveTheTableUp) {
    From("MSSQL", SqlServer("shop"));
    Run(SourceConnStr, "create table src (id int, name varchar(20))");
    Run(SourceConnStr,
        "insert into src with recursive q(n) as (select 1 union all select n+1 from q where n<80) "
        "select n, case when n<4 then 'x' end from q");
    To("MSSQL", SqlServer("target"));
    Run(TargetConnStr, "create table dst (id int, name varchar(20) not null)");
    Map("main", "src", "dst");
    const auto log = RunAndLog("APPEND");
    EXPECT_EQ(Count(log, "Error Loading Row:"), 50);
    EXPECT_NE(log.find("Aborting Loading Rows for Table :src As Errors Exceeded 50 Allowed"),
              std::string::npos)
        << log;
    EXPECT_EQ(Rows(TargetConnStr, "select count(*) from dst"), "3|\n");
}

TEST_F(StandInRoute, ASqlServerThatIsntThereFailsTheTableInItsDriversWords) {
    if (const auto missing = PrivateOdbc::Missing("libtdsodbc.so", "tdsodbc"); !missing.empty()) {
        GTEST_SKIP() << missing;
    }
    From("MSSQL", SqlServer("shop"));
    Run(SourceConnStr, "create table src (id int)");
    To("ORACLE", Oracle("unused"));
    Map("main", "src", "dst");
    // The mapped columns stay; the target becomes a server of the real driver.
    registry->Register({PrivateOdbc::Driver("SQL Server", "libsqlite3odbc.so"),
                        PrivateOdbc::Driver("FreeTDS", "libtdsodbc.so")});
    From("MSSQL",
         "driver=SQL Server;Server=(local);Trusted_Connection=yes;Database=" +
             (folder_ / "shop").string());
    To("MSSQL", "Provider=SQLOLEDB.1;Server=127.0.0.1,1;uid=sa;pwd=s3cret-pass;Database=x");
    const auto log = RunAndLog();
    EXPECT_NE(log.find("Error Creating Table dst\n\n[FreeTDS][SQL Server]Unable to connect: "
                       "Adaptive Server is unavailable or does not exist"),
              std::string::npos)
        << log;
    EXPECT_EQ(log.find("s3cret-pass"), std::string::npos);
    EXPECT_EQ(log.find("About to Insert Rows"), std::string::npos) << log;
}

}  // namespace
}  // namespace vantry::test
