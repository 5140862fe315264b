// The parts that need no data source: lengths that a driver reports, the pieces of a SELECT, column
// types, the forms of single values, the choice among diagnostic records.

#include "data/value_text.h"
#include "drivers/odbc/decode.h"
#include "drivers/odbc/errors.h"
#include "drivers/odbc/fetch_length.h"
#include "drivers/odbc/odbc_fixture.h"
#include "drivers/odbc/select_parts.h"
#include "drivers/odbc/types.h"

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

}  // namespace
}  // namespace vantry::odbc
