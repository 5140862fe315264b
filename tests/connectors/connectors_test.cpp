// The statements of the connector pages, character for character, the string that no page's own
// test connects by, and the lists of drivers and data sources.

#include "connectors/listing.h"
#include "connectors/odbc_enumeration.h"
#include "connectors/odbc_method.h"
#include "connectors/oracle_method.h"
#include "connectors/sql_server_method.h"
#include "support/private_odbc.h"

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

TEST(OdbcEnumerationTest, RegisteredNamesComeFirstAndEachKindsWordIsThere) {
    const odbc::Machine machine{{{"FreeTDS", "libtdsodbc.so"},
                                 {"MariaDB Unicode", "libmaodbc.so"},
                                 {"ODBC Driver 18 for SQL Server", "libmsodbcsql-18.so"},
                                 {"SQLite3", "libsqlite3odbc.so"}},
                                {}};
    const auto names = [](const odbc::Machine& of) {
        std::string text;
        for (const auto& name : OdbcDriverNames(of)) {
            text += name + "; ";
        }
        return text;
    };
    EXPECT_EQ(names(machine),
              "FreeTDS; MariaDB Unicode; ODBC Driver 18 for SQL Server; SQLite3; MySQL (built in); "
              "SQL Server (FreeTDS); MySQL (MariaDB Unicode); Microsoft Access Driver (*.mdb, "
              "*.accdb); Microsoft Visual FoxPro Driver; ");
    // One that is registered by a built-in name stands once.
    EXPECT_EQ(names({{{"Microsoft Access Driver (*.mdb, *.accdb)", "libother.so"}}, {}}),
              "Microsoft Access Driver (*.mdb, *.accdb); MySQL (built in); Microsoft Visual FoxPro "
              "Driver; ");
}

TEST(OdbcEnumerationTest, SourcesAreDescribedByADriverThatHoldsTheirKindsWord) {
    const odbc::Machine machine{{{"FreeTDS", "libtdsodbc.so"}},
                                {{"erp", "FreeTDS"},
                                 {"old", "/usr/lib/odbc/libtdsodbc.so"},
                                 {"files", "SQLite3"},
                                 {"gone", "/opt/libmaodbc.so"}}};
    std::string shown;
    for (const auto& record : OdbcDsnRecords(machine)) {
        shown += record.DsnName + "=" + record.DsnDriver + ";";
    }
    EXPECT_EQ(shown,
              "erp=SQL Server (FreeTDS);old=SQL Server (FreeTDS);files=SQLite3;"
              "gone=MySQL (/opt/libmaodbc.so);");
    const auto none = OdbcDsnRecords({});
    ASSERT_EQ(none.size(), 1U);
    EXPECT_EQ(none[0].DsnName + none[0].DsnDriver, "");
}

TEST(OdbcEnumerationTest, TheListsAreReadFromTheDriverManagerEachTime) {
    test::PrivateOdbc registry;
    const auto lists = [] {
        EnumerateOdbcDrivers();
        EnumerateOdbcDsns();
        return OdbcDrivers.front() + "|" + OdbcDsns.front().DsnName + "=" +
               OdbcDsns.front().DsnDriver;
    };
    registry.Register({test::PrivateOdbc::Driver("FreeTDS", "libtdsodbc.so")},
                      {{"erp", "Driver=FreeTDS\n"}});
    EXPECT_EQ(lists(), "FreeTDS|erp=SQL Server (FreeTDS)");
    registry.Register({});
    EXPECT_EQ(lists(), "MySQL (built in)|=");
}

}  // namespace
}  // namespace vantry
