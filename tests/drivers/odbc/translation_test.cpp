// What stored connection strings become for the drivers that are installed here.

#include "drivers/odbc/translation.h"

#include "data/data_error.h"

#include <gtest/gtest.h>

namespace vantry::odbc {
namespace {

const InstalledDriver kFreeTds{"FreeTDS", "libtdsodbc.so"};
const InstalledDriver kMicrosoft18{"ODBC Driver 18 for SQL Server",
                                   "/opt/microsoft/libmsodbcsql-18.3.so.2.1"};
const InstalledDriver kMariaDb{"MariaDB Unicode", "libmaodbc.so"};
const InstalledDriver kOracle{"Oracle 21 ODBC driver", "/opt/oracle/libsqora.so.21.1"};
const InstalledDriver kSqlite{"SQLite3", "libsqlite3odbc.so"};
const InstalledDriver kPostgreSql{"PostgreSQL Unicode", "psqlodbcw.so"};

struct TranslationCase {
    const char* name;
    const char* stored;
    std::vector<InstalledDriver> drivers;
    const char* sent;
};

class TranslationTest : public testing::TestWithParam<TranslationCase> {};

TEST_P(TranslationTest, PutsTheStoredStringInTheDriversForm) {
    const auto& c = GetParam();
    const Machine machine{c.drivers,
                          {{"shop", "MariaDB Unicode"},
                           {"erp", "/usr/lib/odbc/libtdsodbc.so"},
                           {"pg", "PostgreSQL Unicode"}}};
    EXPECT_EQ(Translate(ConnectionString::Parse(c.stored), machine).text, c.sent);
}

const TranslationCase kTranslations[] = {
    {"SqlServerProviderByWindowsLogin",
     "Provider=SQLOLEDB.1;Server=(local)\\SQLExpress;Trusted_Connection=Yes;Database=master",
     {kMicrosoft18, kFreeTds},
     "DRIVER={FreeTDS};SERVER=localhost\\SQLExpress;Trusted_Connection=Yes;DATABASE=master;TDS_"
     "Version=7.4;ClientCharset=UTF-8;"},
    {"SqlServerProviderByItsOwnLogin",
     "Provider=SQLOLEDB.1;Server=.;uid=sa;pwd=p=w@d;Database=shop",
     {kFreeTds},
     "DRIVER={FreeTDS};SERVER=localhost;UID=sa;PWD=p=w@d;DATABASE=shop;TDS_Version=7.4;"
     "ClientCharset=UTF-8;"},
    {"SqlServerProviderWithQuotedPasswordAndSynonyms",
     "Provider=SQLOLEDB.1;Data Source=db.example,1444;User ID=sa;Password=\"p;w}d\";Initial "
     "Catalog=shop;Integrated Security=SSPI;Persist Security Info=True;Packet "
     "Size=4096;Application "
     "Name=x",
     {kFreeTds},
     "DRIVER={FreeTDS};SERVER=db.example,1444;UID=sa;PWD={p;w}}d};DATABASE=shop;APP=x;Trusted_"
     "Connection=Yes;TDS_Version=7.4;ClientCharset=UTF-8;"},
    {"SqlServerProviderOnTheVendorsDriver",
     "Provider=SQLOLEDB.1;Server=h;uid=u;pwd=p;Database=d",
     {kMicrosoft18},
     "DRIVER={ODBC Driver 18 for SQL "
     "Server};SERVER=h;UID=u;PWD=p;DATABASE=d;Encrypt=Optional;TrustServerCertificate=Yes;"},
    {"SqlServerDriverByAlias",
     "driver=SQL Server (FreeTDS);Server=(local);Trusted_Connection=yes;Database=a;Database=b",
     {kFreeTds},
     "DRIVER={FreeTDS};SERVER=localhost;Trusted_Connection=yes;DATABASE=b;TDS_Version=7.4;"
     "ClientCharset=UTF-8;"},
    {"DatabaseTwiceElsewhereIsTheFirst",
     "Driver=SQLite3;Database=a;Database=b",
     {kSqlite},
     "DRIVER={SQLite3};Database=a;StepAPI=1;"},
    {"SqlServerDriverOfAnotherMachine",
     "Driver=SQL Server;Server=h;uid=u;pwd=p;Database=d",
     {kFreeTds},
     "DRIVER={FreeTDS};SERVER=h;UID=u;PWD=p;DATABASE=d;TDS_Version=7.4;ClientCharset=UTF-8;"},
    {"InstalledSqlServerDriverKeepsItsKeys",
     "Driver=ODBC Driver 18 for SQL Server;Server=(local);uid=u;pwd=p;Database=d",
     {kMicrosoft18},
     "DRIVER={ODBC Driver 18 for SQL Server};SERVER=localhost;uid=u;pwd=p;Database=d;"},
    {"FreeTdsByItsOwnNameGetsTheCharacterSetThatWeRead",
     "DRIVER={FreeTDS};SERVER=h;ClientCharset=ISO-8859-1",
     {kFreeTds},
     "DRIVER={FreeTDS};SERVER=h;ClientCharset=UTF-8;"},
    {"OracleProvider",
     "Provider=OraOLEDB.Oracle;Data Source=//h:1521/orcl;User ID=scott;Password=tiger;",
     {kFreeTds, kOracle},
     "DRIVER={Oracle 21 ODBC driver};DBQ=//h:1521/orcl;UID=scott;PWD=tiger;"},
    {"OracleDriverOfAnotherMachine",
     "DRIVER=Oracle in OraHome;SERVER=svc;User ID=scott;Password=;",
     {kOracle},
     "DRIVER={Oracle 21 ODBC driver};DBQ=svc;UID=scott;PWD=;"},
    {"MySqlAliasKeepsItsKeysAndGetsATimeLimit",
     "DRIVER={MySQL (MariaDB Unicode)};SERVER=h;DATABASE=d;USER=root;PASSWORD=;port=3306;Option=3",
     {kMariaDb},
     "DRIVER={MariaDB Unicode};SERVER=h;DATABASE=d;USER=root;PASSWORD=;port=3306;Option=3;CONN_"
     "TIMEOUT=15;"},
    {"SourceWithoutLoginKeepsTheOneInItsFile",
     "Provider=MSDASQL;DSN=shop;UID=;PWD=;",
     {kMariaDb},
     "DSN=shop;CONN_TIMEOUT=15;"},
    {"SourceWithLoginInOleDbWords",
     "DSN=pg;User ID=u;Password=p;",
     {kPostgreSql},
     "DSN=pg;UID=u;PWD=p;"},
    {"SourceThatNamesALibrary",
     "DSN=erp;UID=u;PWD=p",
     {kFreeTds},
     "DSN=erp;UID=u;PWD=p;ClientCharset=UTF-8;"},
    {"AnySourceProviderWithAStringInside",
     "Provider=MSDASQL.1;Persist Security Info=False;Extended Properties=\"DSN=pg;UID=u;PWD=p\"",
     {kPostgreSql},
     "DSN=pg;UID=u;PWD=p;"},
    {"AnySourceProviderWithADriver",
     "Provider=MSDASQL;Driver={SQLite3};Database=/tmp/a b.db;",
     {kSqlite},
     "DRIVER={SQLite3};Database=/tmp/a b.db;StepAPI=1;"},
    {"UnknownDriverIsTheDriverManagersMatter",
     "Driver=Whatever;Server=h;UID=u",
     {kSqlite},
     "DRIVER={Whatever};Server=h;UID=u;"},
};

INSTANTIATE_TEST_SUITE_P(Strings,
                         TranslationTest,
                         testing::ValuesIn(kTranslations),
                         [](const auto& c) { return std::string(c.param.name); });

TEST(TranslationErrorTest, AMissingDriverIsToldWithItsPackageAndNothingElse) {
    const Machine none{{kSqlite, kMariaDb}, {}};
    const auto said = [&](const char* stored) {
        try {
            Translate(ConnectionString::Parse(stored), none);
        } catch (const DataError& error) {
            return error.Description();
        }
        return std::string("no error");
    };
    const auto sql_server = said("Provider=SQLOLEDB.1;Server=h;uid=u;pwd=p");
    EXPECT_NE(sql_server.find("tdsodbc"), std::string::npos) << sql_server;
    EXPECT_NE(sql_server.find("Nothing else is missing"), std::string::npos) << sql_server;
    EXPECT_NE(said("Provider=MSDAORA;Data Source=x").find("Instant Client"), std::string::npos);
    EXPECT_NE(said("DRIVER=Oracle in OraHome;SERVER=x").find("Oracle"), std::string::npos);
}

// A stored string may come from a stranger.
TEST(TranslationErrorTest, AStringLoadsRegisteredDriversAndNothingElse) {
    const Machine machine{{kSqlite, kMicrosoft18}, {{"erp", "/usr/lib/odbc/libtdsodbc.so"}}};
    const struct {
        const char* stored;
        bool refused;
    } cases[] = {
        {"Driver=/tmp/evil.so;Server=h", true},
        {"DRIVER={/tmp/evil.so};Server=h", true},
        {"Driver=../evil/libsqlite3odbc.so", true},
        {"Driver=/tmp/libmsodbcsql-18.so;Server=h", true},
        {"Driver=/tmp/mysql/maodbc.so;Server=h", true},
        {"Driver={SQLite3}};FILEDSN=evil}", true},
        {"Provider=MSDASQL;Extended Properties=\"Driver=/tmp/evil.so\"", true},
        {"Provider=MSDASQL;Driver={/tmp/evil.so}", true},
        {"FILEDSN=/tmp/evil.dsn", true},
        {"Driver={SQLite3};Database=a.db;LoadExt=/tmp/evil.so", true},
        {"DSN=erp;PLUGIN_DIR=/tmp", true},
        {"DSN=erp;savefile=/tmp/erp.dsn", true},
        {"Driver=/opt/microsoft/libmsodbcsql-18.3.so.2.1;Server=h", false},
        {"Driver={SQLite3};Database=/tmp/a.db", false},
        {"DSN=erp", false},
        {"FILEDSN=erp", false},
    };
    for (const auto& one : cases) {
        bool refused = false;
        try {
            Translate(ConnectionString::Parse(one.stored), machine);
        } catch (const DataError&) {
            refused = true;
        }
        EXPECT_EQ(refused, one.refused) << one.stored;
    }
}

TEST(AliasTest, OnlyNamesThatLackTheWordGetOne) {
    EXPECT_EQ(AliasOf("FreeTDS", "libtdsodbc.so"), "SQL Server (FreeTDS)");
    EXPECT_EQ(AliasOf("MariaDB Unicode", "libmaodbc.so"), "MySQL (MariaDB Unicode)");
    EXPECT_EQ(AliasOf("MySQL ODBC 8.0 Unicode Driver", "libmyodbc8w.so"), std::nullopt);
    EXPECT_EQ(AliasOf("ODBC Driver 18 for SQL Server", "libmsodbcsql-18.so"), std::nullopt);
    EXPECT_EQ(AliasOf("SQLite3", "libsqlite3odbc.so"), std::nullopt);
}

}  // namespace
}  // namespace vantry::odbc
