// The statements of the connector pages, character for character, and the string that no page's own
// test connects by.

#include "connectors/foxpro_method.h"
#include "connectors/listing.h"
#include "connectors/odbc_method.h"
#include "connectors/oracle_method.h"
#include "connectors/sql_server_method.h"

#include <gtest/gtest.h>

namespace vantry {
namespace {

TEST(ConnectionMethodsTest, SqlServer) {
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
    const std::string tables = "select owner,table_name from all_tables";
    const std::string views = " union select owner,view_name from all_views";
    const std::string own = " where owner='SCÖTT'";
    EXPECT_EQ(OracleTables(true, true, "scött"), tables + views);
    EXPECT_EQ(OracleTables(true, false, "scött"), tables + own + views + own);
    EXPECT_EQ(OracleTables(false, true, "scött"), tables);
    EXPECT_EQ(OracleTables(false, false, "scött"), tables + own);
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
