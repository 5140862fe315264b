// The parts that need no data source: lengths that a driver reports, the pieces of a SELECT, column
// types, the forms of single values, the choice among diagnostic records, and what stored
// connection strings become for the drivers that are installed here.

#include "data/data_error.h"
#include "data/value_text.h"
#include "drivers/odbc/decode.h"
#include "drivers/odbc/errors.h"
#include "drivers/odbc/fetch_length.h"
#include "drivers/odbc/odbc_fixture.h"
#include "drivers/odbc/select_parts.h"
#include "drivers/odbc/translation.h"
#include "drivers/odbc/types.h"
#include "support/has.h"

#include <gtest/gtest.h>

#include <limits>

namespace vantry::odbc {
namespace {

TEST(FetchLengthTest, NeverReachesBeyondTheBufferWhateverTheDriverSays) {
    const struct {
        SQLLEN indicator;
        bool cut_off;
        Fill fill;
        std::size_t bytes;
    } cases[] = {
        {SQL_NULL_DATA, false, Fill::Null, 0},
        {100, false, Fill::Whole, 100},
        {100, true, Fill::CutOff, 100},
        {std::numeric_limits<SQLLEN>::max(), true, Fill::CutOff, 100},
        {SQL_NO_TOTAL, true, Fill::CutOff, 100},
        {SQL_NO_TOTAL, false, Fill::Impossible, 0},
        {std::numeric_limits<SQLLEN>::min(), true, Fill::Impossible, 0},
    };
    for (const auto& c : cases) {
        const auto filled = FilledBytes(c.indicator, 100, c.cut_off);
        EXPECT_EQ(filled.fill, c.fill) << c.indicator << c.cut_off;
        EXPECT_EQ(filled.bytes, c.bytes) << c.indicator;
        EXPECT_LE(filled.bytes, 100U);
    }
}

TEST(SelectPartsTest, KeepsTheQuotesOfTheDialectAndSeesNoWordsInsideThem) {
    // Columns, then the table, with "/" between; empty: refused.
    const std::pair<const char*, const char*> cases[] = {
        {"Select  [a], [b c] FROM [t] ", "[a]/[b c]/[t]"},
        {"Select [from],[a,b] FROM [dbo].[my from]", "[from]/[a,b]/[dbo].[my from]"},
        {"select `a from`,\"x,y\" from `d`.`t`", "`a from`/\"x,y\"/`d`.`t`"},
        {"select a , [f(x)]\rfrom\rt", "a/[f(x)]/t"},
        // No row can be added to an expression.
        {"select coalesce(a,'from ,'), b from t", ""},
        {"select [a]from[t]", "[a]/[t]"},
        {"select fromage, afrom from t", "fromage/afrom/t"},
        {"select a,,b from t", ""},
        {"select [a from t", ""},
        {"update t set a=1", ""},
        {"", ""},
    };
    for (const auto& [sql, expected] : cases) {
        const auto parts = SplitSelect(sql);
        std::string shown;
        if (parts) {
            for (const auto column : parts->columns) {
                shown.append(column).append("/");
            }
            shown.append(parts->table);
        }
        EXPECT_EQ(shown, expected) << sql;
    }
    EXPECT_FALSE(SplitSelect("select " + std::string(1'000'000, '(') + " from t"));
}

Described Like(const char* type_name, int sql_type, std::uint64_t size, int digits) {
    Described described;
    described.type_name = type_name;
    described.sql_type = sql_type;
    described.size = size;
    described.digits = digits;
    return described;
}

TEST(TypesTest, ASessionsProviderDecidesWhatAServersTypeIsCalled) {
    using enum Provider;
    const struct {
        Provider provider;
        Described described;
        const char* shown;
    } cases[] = {
        // The same column by the plain driver and by the provider that a session names.
        {Odbc, Like("money", SQL_DECIMAL, 19, 4), "131 19 p19 s4"},
        {SqlOleDb, Like("money", SQL_DECIMAL, 19, 4), "6 8 p19"},
        {SqlOleDb, Like("numeric() identity", SQL_NUMERIC, 12, 2), "131 19 p12 s2"},
        {SqlOleDb, Like("datetime2", SQL_TYPE_TIMESTAMP, 27, 7), "202 27"},
        {SqlOleDb, Like("nvarchar", SQL_WVARCHAR, 0, 0), "203 1073741823"},
        {SqlOleDb, Like("timestamp", SQL_BINARY, 8, 0), "128 8"},
        {OraOleDb, Like("NUMBER", SQL_DECIMAL, 10, 2), "139 19 p10 s2"},
        {OraOleDb, Like("NUMBER", SQL_DOUBLE, 15, 0), "139 19 p38"},
        {MsdaOra, Like("NUMBER", SQL_DECIMAL, 10, 2), "131 19 p10 s2"},
        {MsdaOra, Like("NUMBER", SQL_DECIMAL, 10, -2), "139 19 p38"},
        {OraOleDb, Like("TIMESTAMP(6) WITH TIME ZONE", SQL_TYPE_TIMESTAMP, 26, 6), "135 16 p26 s6"},
        {OraOleDb, Like("LONG RAW", SQL_LONGVARBINARY, 0, 0), "205 2147483647"},
        // A size that no 32 bits hold, and none at all.
        {Odbc, Like("", SQL_LONGVARBINARY, 4294967295U, 0), "205 2147483647"},
        {Odbc, Like("", 111, 0, 0), "129 2147483647"},
    };
    for (const auto& c : cases) {
        Traits traits;
        traits.provider = c.provider;
        traits.dialect = Dialect::SqlServer;
        EXPECT_EQ(test::Shown(ColumnOf(c.described, traits, Tuning{}).info), c.shown)
            << c.described.type_name;
    }
}

TEST(DecodeTest, AValueThatIsntOfItsColumnsTypeComesAsText) {
    const struct {
        Form form;
        const char* fetched;
        const char* shown;
    } cases[] = {
        {Form::IntegerText, "18446744073709551615", "number:18446744073709551615"},
        {Form::IntegerText, "-007", "number:-7"},
        {Form::IntegerText, "abc", "text:abc"},
        {Form::NumberText, "1e400", "text:1e400"},
        {Form::DecimalText, "-.5", "number:-0.5"},
        {Form::DecimalText, "-0.00", "number:0"},
        {Form::DecimalText,
         "12345678901234567890123456789012345678",
         "number:12345678901234567890123456789012345678"},
        {Form::DecimalText,
         "123456789012345678901234567890123456789",
         "text:123456789012345678901234567890123456789"},
        {Form::FlagText, "0", "bool:False"},
        {Form::FlagText, "t e", "text:t e"},
        {Form::MomentIso, "2020-02-03 04:05:06.123456", "moment:2020-02-03 04:05:06.123456"},
        {Form::MomentIso, "0000-00-00", "text:0000-00-00"},
        {Form::GuidText,
         "6f9619ff-8b86-d011-b42d-00c04fc964ff",
         "text:{6F9619FF-8B86-D011-B42D-00C04FC964FF}"},
        {Form::Text, "gr\xfc\xdf", "text:grüß"},
    };
    for (const auto& c : cases) {
        Column column;
        column.form = c.form;
        std::string scratch;
        const std::string_view text(c.fetched);
        const auto cell = DecodeField(column, std::as_bytes(std::span(text)), scratch);
        EXPECT_EQ(test::Shown(Value(cell)), c.shown) << c.fetched;
    }
}

TEST(ErrorsTest, TheUsefulRecordIsChosenAndNumbered) {
    const std::vector<DiagnosticRecord> connecting = {
        {"08S01", 20009, "[FreeTDS][SQL Server]Unable to connect: Adaptive Server is unavailable"},
        {"08S01", 20009, "[FreeTDS][SQL Server]Unable to connect: Adaptive Server is unavailable"},
        {"08001", 0, "[FreeTDS][SQL Server]Unable to connect to data source"},
        {"01000", 20013, "[FreeTDS][SQL Server]Unknown host machine name."}};
    EXPECT_EQ(ConnectError(connecting, "s").Description(),
              "[FreeTDS][SQL Server]Unable to connect: Adaptive Server is unavailable\n"
              "[FreeTDS][SQL Server]Unknown host machine name.");
    EXPECT_EQ(ConnectError({connecting[2]}, "s").Description(), connecting[2].text);
    EXPECT_FALSE(ConnectError({}, "s").Description().empty());

    const struct {
        std::vector<DiagnosticRecord> records;
        const char* description;
        int number;
    } cases[] = {
        {{{"01000", 0, "a remark"}, {"23000", 547, "a rule"}}, "a rule", kErrConstraint},
        {{{"37000", 0, "what?"}}, "what?", kErrSyntax},
        {{{"22003", 0, "too big"}}, "too big", kErrConversion},
        {{{"08S01", 0, "gone"}}, "gone", kErrUnspecified},
        {{{"HY000", 1, "[SQLite]no such table: x (1)"}},
         "[SQLite]no such table: x (1)",
         kErrNoSuchTable},
        {{{"HY000", 1, "no such table: somebody else"}},
         "no such table: somebody else",
         kErrUnspecified},
    };
    for (const auto& c : cases) {
        const auto error = StatementError(c.records, "s");
        EXPECT_EQ(error.Description(), c.description);
        EXPECT_EQ(error.Number(), c.number) << c.description;
    }
}

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
