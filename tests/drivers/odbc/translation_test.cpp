// What stored connection strings become for the drivers that are installed here.

#include "drivers/odbc/translation.h"

#include "data/data_error.h"
#include "support/has.h"

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

TEST(TranslationTest, PutsTheStoredStringInTheDriversForm) {
    const struct {
        InstalledDriver driver;
        const char* stored;
        const char* sent;
    } cases[] = {
        // SQL Server's provider, by the login of Windows and by its own, with synonyms.
        {kFreeTds,
         "Provider=SQLOLEDB.1;Server=(local)\\SQLExpress;Trusted_Connection=Yes;Database=master",
         "DRIVER={FreeTDS};SERVER=localhost\\SQLExpress;Trusted_Connection=Yes;DATABASE=master;"
         "TDS_Version=7.4;ClientCharset=UTF-8;"},
        {kFreeTds,
         "Provider=SQLOLEDB.1;Data Source=db.example,1444;User ID=sa;Password=\"p;w}d=\";Initial "
         "Catalog=shop;Integrated Security=SSPI;Persist Security Info=True;Packet "
         "Size=4096;Application Name=x",
         "DRIVER={FreeTDS};SERVER=db.example,1444;UID=sa;PWD={p;w}}d=};DATABASE=shop;APP=x;"
         "Trusted_Connection=Yes;TDS_Version=7.4;ClientCharset=UTF-8;"},
        {kMicrosoft18,
         "Provider=SQLOLEDB.1;Server=h;uid=u;pwd=p;Database=d",
         "DRIVER={ODBC Driver 18 for SQL Server};SERVER=h;UID=u;PWD=p;DATABASE=d;"
         "Encrypt=Optional;TrustServerCertificate=Yes;"},
        // Its drivers: by an alias, of another machine, with keys of their own.
        {kFreeTds,
         "driver=SQL Server (FreeTDS);Server=(local);Trusted_Connection=yes;Database=a;Database=b",
         "DRIVER={FreeTDS};SERVER=localhost;Trusted_Connection=yes;DATABASE=b;TDS_Version=7.4;"
         "ClientCharset=UTF-8;"},
        {kFreeTds,
         "Driver=SQL Server;Server=.;uid=u;pwd=p;Database=d",
         "DRIVER={FreeTDS};SERVER=localhost;UID=u;PWD=p;DATABASE=d;TDS_Version=7.4;"
         "ClientCharset=UTF-8;"},
        {kMicrosoft18,
         "Driver=ODBC Driver 18 for SQL Server;Server=(local);uid=u;pwd=p;Database=d",
         "DRIVER={ODBC Driver 18 for SQL Server};SERVER=localhost;uid=u;pwd=p;Database=d;"},
        {kFreeTds,  // the character set that we read
         "DRIVER={FreeTDS};SERVER=h;ClientCharset=ISO-8859-1",
         "DRIVER={FreeTDS};SERVER=h;ClientCharset=UTF-8;"},
        {kOracle,
         "Provider=OraOLEDB.Oracle;Data Source=//h:1521/orcl;User ID=scott;Password=tiger;",
         "DRIVER={Oracle 21 ODBC driver};DBQ=//h:1521/orcl;UID=scott;PWD=tiger;"},
        {kOracle,
         "DRIVER=Oracle in OraHome;SERVER=svc;User ID=scott;Password=;",
         "DRIVER={Oracle 21 ODBC driver};DBQ=svc;UID=scott;PWD=;"},
        {kMariaDb,  // gets a time limit
         "DRIVER={MySQL (MariaDB Unicode)};SERVER=h;DATABASE=d;USER=root;PASSWORD=;port=3306",
         "DRIVER={MariaDB Unicode};SERVER=h;DATABASE=d;USER=root;PASSWORD=;port=3306;"
         "CONN_TIMEOUT=15;"},
        // Sources: with the login of the file, in words of another interface, by a library.
        {kMariaDb, "Provider=MSDASQL;DSN=shop;UID=;PWD=;", "DSN=shop;CONN_TIMEOUT=15;"},
        {kPostgreSql, "DSN=pg;User ID=u;Password=p;", "DSN=pg;UID=u;PWD=p;"},
        {kFreeTds, "DSN=erp;UID=u;PWD=p", "DSN=erp;UID=u;PWD=p;ClientCharset=UTF-8;"},
        {kPostgreSql,
         "Provider=MSDASQL.1;Persist Security Info=False;Extended "
         "Properties=\"DSN=pg;UID=u;PWD=p\"",
         "DSN=pg;UID=u;PWD=p;"},
        {kSqlite,
         "Provider=MSDASQL;Driver={SQLite3};Database=/tmp/a b.db;",
         "DRIVER={SQLite3};Database=/tmp/a b.db;StepAPI=1;"},
        {kSqlite, "Driver=SQLite3;Database=a;Database=b", "DRIVER={SQLite3};Database=a;StepAPI=1;"},
        // The driver manager's matter.
        {kSqlite, "Driver=Whatever;Server=h;UID=u", "DRIVER={Whatever};Server=h;UID=u;"},
    };
    for (const auto& c : cases) {
        const Machine machine{{c.driver},
                              {{"shop", "MariaDB Unicode"},
                               {"erp", "/usr/lib/odbc/libtdsodbc.so"},
                               {"pg", "PostgreSQL Unicode"}}};
        EXPECT_EQ(Translate(ConnectionString::Parse(c.stored), machine).text, c.sent) << c.stored;
    }
    // The first one that speaks the dialect as the session's provider does.
    const Machine two{{kMicrosoft18, kFreeTds}, {}};
    EXPECT_TRUE(Translate(ConnectionString::Parse("Provider=SQLOLEDB.1;Server=h"), two)
                    .text.starts_with("DRIVER={FreeTDS};"));
}

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
    EXPECT_TRUE(vantry::test::Has(sql_server, "tdsodbc"));
    EXPECT_TRUE(vantry::test::Has(sql_server, "Nothing else is missing"));
    EXPECT_TRUE(vantry::test::Has(said("Provider=MSDAORA;Data Source=x"), "Instant Client"));
    EXPECT_TRUE(vantry::test::Has(said("DRIVER=Oracle in OraHome;SERVER=x"), "Oracle"));
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

}  // namespace
}  // namespace vantry::odbc
