// The strings and statements of the connector pages, character for character: saved sessions hold
// them. Fields are joined as they are typed, whatever is in them.

#include "connectors/foxpro_method.h"
#include "connectors/listing.h"
#include "connectors/mysql_method.h"
#include "connectors/odbc_method.h"
#include "connectors/oracle_method.h"
#include "connectors/sql_server_method.h"

#include <gtest/gtest.h>

namespace vantry {
namespace {

TEST(ConnectionMethodsTest, MySql) {
    const MySqlLogin login{"db 1.lan", "3307", "O'Hara;x", "p{w}\"ß ", "MySQL (built in)", "Läden"};
    EXPECT_EQ(MySqlSourceServer(login),
              "DRIVER={MySQL (built in)};SERVER=db 1.lan;DATABASE=information_schema;USER=O'Hara;x;"
              "PASSWORD=p{w}\"ß ;port=3307;Option=3");
    EXPECT_EQ(MySqlSourceDatabase(login, "my shop"),
              "DRIVER={MySQL (built in)};SERVER=db 1.lan;DATABASE=my shop;USER=O'Hara;x;"
              "PASSWORD=p{w}\"ß ;port=3307");
    EXPECT_EQ(MySqlTargetServer(login),
              "DRIVER={MySQL (built in)};SERVER=db 1.lan;USER=O'Hara;x;PASSWORD=p{w}\"ß ;"
              "port=3307;Option=3");
    EXPECT_EQ(MySqlTargetDatabase(login, "my shop"),
              "DRIVER={MySQL (built in)};SERVER=db 1.lan;DATABASE=my shop;USER=O'Hara;x;"
              "PASSWORD=p{w}\"ß ;port=3307;Option=3");
    EXPECT_EQ(MySqlDsn(login), "DSN=Läden;UID=O'Hara;x;PWD=p{w}\"ß ");
    EXPECT_EQ(MySqlSourceServer({}),
              "DRIVER={};SERVER=;DATABASE=information_schema;USER=;PASSWORD=;port=;Option=3");
}

TEST(ConnectionMethodsTest, SqlServer) {
    const auto windows = SqlServerUser::Windows;
    const auto of_server = SqlServerUser::OfServer;
    const auto ole = SqlServerMethod::OleDb;
    const auto odbc = SqlServerMethod::OdbcDriver;
    SqlServerLogin login{"pc\\one,1444", false, "sa ü", "a;b[c]", "SQL Server (FreeTDS)"};
    EXPECT_EQ(SqlServerConnectionString(windows, ole, login),
              "Provider=SQLOLEDB.1;Server=pc\\one,1444;Trusted_Connection=Yes");
    EXPECT_EQ(SqlServerConnectionString(windows, odbc, login),
              "driver=SQL Server (FreeTDS);Server=pc\\one,1444;Trusted_Connection=yes");
    login.express = true;
    EXPECT_EQ(SqlServerConnectionString(of_server, ole, login),
              "Provider=SQLOLEDB.1;Server=pc\\one,1444\\SQLExpress;uid=sa ü;pwd=a;b[c]");
    EXPECT_EQ(SqlServerConnectionString(of_server, odbc, login),
              "Driver=SQL Server (FreeTDS);Server=pc\\one,1444\\SQLExpress;uid=sa ü;pwd=a;b[c]");
    EXPECT_EQ(WithDatabase(WithDatabase("x", "a"), ""), "x;Database=a;Database=");

    const std::string head =
        "select u.name,o.uid,o.name,o.type from sysobjects o,sysusers u where o.type in (";
    const std::string tail = ") and o.uid=u.uid and upper(u.name) <> 'INFORMATION_SCHEMA'";
    EXPECT_EQ(SqlServerTables(true, true), head + "'U','V'" + tail);
    EXPECT_EQ(SqlServerTables(true, false), head + "'U'" + tail);
    EXPECT_EQ(SqlServerTables(false, true), head + "'V'" + tail);
    EXPECT_EQ(SqlServerTables(false, false), "");
}

TEST(ConnectionMethodsTest, Oracle) {
    const OracleLogin login{"//db/or cl", "scött", "t;g{r", "Oracle 21", "Ora DSN"};
    EXPECT_EQ(OracleConnectionString(OracleMethod::MicrosoftOleDb, login),
              "Provider=MSDAORA;Data Source=//db/or cl;User ID=scött;Password=t;g{r;");
    EXPECT_EQ(OracleConnectionString(OracleMethod::OracleOleDb, login),
              "Provider=OraOLEDB.Oracle;Data Source=//db/or cl;User ID=scött;Password=t;g{r;");
    EXPECT_EQ(OracleConnectionString(OracleMethod::OdbcDriver, login),
              "DRIVER=Oracle 21;SERVER=//db/or cl;User ID=scött;Password=t;g{r;");
    EXPECT_EQ(OracleConnectionString(OracleMethod::Dsn, login),
              "DSN=Ora DSN;User ID=scött;Password=t;g{r;");

    const std::string tables = "select owner,table_name from all_tables";
    const std::string views = " union select owner,view_name from all_views";
    const std::string own = " where owner='SCÖTT'";
    EXPECT_EQ(OracleTables(true, true, "scött"), tables + views);
    EXPECT_EQ(OracleTables(true, false, "scött"), tables + own + views + own);
    EXPECT_EQ(OracleTables(false, true, "scött"), tables);
    EXPECT_EQ(OracleTables(false, false, "scött"), tables + own);
}

TEST(ConnectionMethodsTest, FoxPro) {
    const auto folder = FoxProForm::Folder;
    const auto container = FoxProForm::Container;
    const FoxProSource source{"/mnt/old files/", "Microsoft Visual FoxPro Driver", "Fox"};
    const std::string driver = "Driver=Microsoft Visual FoxPro Driver;SourceType=";
    EXPECT_EQ(FoxProSourceString(container, FoxProMethod::OdbcDriver, source),
              driver +
                  "DBC;SourceDb=/mnt/old files/;Collate=Machine;NULL=NO;Deleted=No;"
                  "Persist Security Info=False");
    EXPECT_EQ(FoxProSourceString(folder, FoxProMethod::OdbcDriver, source),
              driver + "DBF;SourceDb=/mnt/old files/;Collate=Machine;Persist Security Info=False");
    EXPECT_EQ(FoxProSourceString(container, FoxProMethod::OleDb, source),
              "Provider=vfpoledb.1;Data Source=/mnt/old files/;Collating Sequence=machine;");
    EXPECT_EQ(FoxProSourceString(folder, FoxProMethod::OleDb, source),
              "Provider=vfpoledb.1;Data Source=/mnt/old files/;Collating Sequence=general;");
    for (const auto form : {folder, container}) {
        EXPECT_EQ(FoxProSourceString(form, FoxProMethod::Dsn, source),
                  "Provider=vfpoledb.1;DSN=Fox");
    }
    EXPECT_EQ(FoxProTargetString(folder, "/o ut"),
              "Driver={Microsoft Visual FoxPro Driver};SourceType=DBF;SourceDb=/o ut;"
              "Persist Security Info=False");
    EXPECT_EQ(FoxProTargetString(container, "/o/ä.dbc"),
              "Driver={Microsoft Visual FoxPro Driver};SourceType=DBC;SourceDb=/o/ä.dbc;"
              "Persist Security Info=False");
    EXPECT_EQ(FoxProPrefix(folder, "/a"), "/a/");
    EXPECT_EQ(FoxProPrefix(folder, "/a/"), "/a/");
    EXPECT_EQ(FoxProPrefix(container, "/a/x.dbc"), "");
}

TEST(ConnectionMethodsTest, AnyOdbcSourceAndItsKind) {
    EXPECT_EQ(OdbcSourceString("my dsn", "ü", ";p"), "Provider=MSDASQL;DSN=my dsn;UID=ü;PWD=;p;");
    const std::pair<const char*, const char*> cases[] = {
        {"MySQL (MariaDB Unicode)", "MySQL"},
        {"sql server text driver", "MSSQL"},
        {"Microsoft Access Text Driver", "ACCESS"},
        {"Microsoft Text Driver (*.txt)", "TEXT"},
        {"Oracle in OraHome", "ORACLE"},
        {"Microsoft Visual FoxPro Driver", "FOXPRO"},
        {"PostgreSQL Unicode", ""},
        {"", ""}};
    for (const auto& [driver, kind] : cases) {
        EXPECT_EQ(KindOfDriver(driver), kind) << driver;
    }
}

TEST(ListingTest, NamesAreSortedAsInAnAlphabetAndSplitAtTheFirstDot) {
    std::vector<std::string> names{"zebra", "Éclair", "apple", "eclipse", "Zoo", "_x", "Apple", ""};
    SortNames(names);
    EXPECT_EQ(names,
              (std::vector<std::string>{
                  "", "_x", "Apple", "apple", "Éclair", "eclipse", "zebra", "Zoo"}));
    const auto [owner, name] = SplitOwner("dbo.a.b");
    EXPECT_EQ(owner + "|" + name, "dbo|a.b");
    EXPECT_EQ(SplitOwner("bare").owner + "|" + SplitOwner("bare").name, "|bare");
    EXPECT_TRUE(HaveSameName({"A.T", "B.U", "C.T"}));
    EXPECT_FALSE(HaveSameName({"A.T", "B.t", "A.T.T"}));
}

}  // namespace
}  // namespace vantry
