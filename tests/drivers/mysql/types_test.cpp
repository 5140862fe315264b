// Every column type of the server: how it is described, and that each of its values comes out and
// goes in again unchanged.

#include "drivers/mysql/mysql_fixture.h"
#include "support/shown_columns.h"

#include <cstdint>
#include <tuple>

namespace vantry::test {
namespace {

class MySqlTypes : public MySqlTest {};

TEST_F(MySqlTypes, ColumnsAreDescribedByTypeSizePrecisionAndScale) {
    Server().Run(
        "create table described (b1 bit(1), b20 bit(20), bo bool, tu tinyint unsigned, si "
        "smallint, ye year, mi mediumint, i int, zf int(8) unsigned zerofill, bi bigint, bu bigint "
        "unsigned, de decimal(10,3), nu numeric(30,6) unsigned, fl float, do double, da date, tm "
        "time(3), dt datetime, d6 datetime(6), ch char(10), vc varchar(50), vl varchar(50) "
        "character set latin1, tx text, lt longtext, js json, bn binary(16), vb varbinary(20), bl "
        "blob, lb longblob, en enum('a','bcd'), se set('a','bcd'), uu uuid, ge geometry)");
    const std::string described =
        "b1 11 2, b20 128 3, bo 16 1 p3, tu 17 1 p3, si 2 2 p5, ye 2 2 p5, mi 3 4 p10, i 3 4 p10, "
        "zf 19 4 p10, bi 20 8 p19, bu 21 8 p20, de 131 19 p10 s3, nu 131 19 p30 s6, fl 4 4 p7, "
        "do 5 8 p15, da 133 6 p10 s0, tm 134 6 p8 s0, dt 135 16 p19 s0, d6 135 16 p26 s6, "
        "ch 130 10, vc 202 50, vl 202 50, tx 203 65535, lt 203 1073741823, js 203 1073741823, "
        "bn 128 16, vb 204 20, bl 205 65535, lb 205 2147483647, en 130 3, se 130 5, uu 130 36, "
        "ge 205 2147483647";
    const auto connection = Connect();
    const auto cursor = connection->OpenCursor("select * from described where 1=2");
    EXPECT_FALSE(cursor->Next());
    EXPECT_EQ(Shown(cursor->Columns()), described);
    EXPECT_EQ(Shown(connection->OpenAppender("Select * FROM described")->Columns()), described);
}

struct ColumnValues {
    const char* declared;
    // As the server is told, and as the cell shows.
    std::vector<std::pair<std::string, std::string>> values;
};

const std::vector<ColumnValues>& AllValues() {
    static const std::string big_decimal = "12345678901234567890123456789012345.123456789012345678";
    static const std::vector<ColumnValues> values = {
        {"bit(1)", {{"b'0'", "b False"}, {"b'1'", "b True"}}},
        {"bit(20)", {{"b'10000000000000000001'", "B 080001"}, {"0", "B 000000"}}},
        {"bool", {{"true", "N 1"}, {"-128", "N -128"}}},
        {"tinyint unsigned", {{"255", "N 255"}}},
        {"year", {{"2006", "N 2006"}, {"0", "N 0"}}},
        {"int", {{"-2147483648", "N -2147483648"}, {"0", "N 0"}}},
        {"int(8) zerofill", {{"42", "N 42"}}},
        {"bigint",
         {{"-9223372036854775808", "N -9223372036854775808"},
          {"-999999999999999", "N -999999999999999"}}},
        {"bigint unsigned", {{"18446744073709551615", "N 18446744073709551615"}}},
        {"decimal(10,2)", {{"12.5", "N 12.5"}, {"-0.05", "N -0.05"}, {"0", "N 0"}}},
        {"decimal(65,18)", {{big_decimal, "T " + big_decimal}, {"1", "N 1"}}},
        {"float",
         {{"16777216", "N 16777216"}, {"-1.5", "N -1.5"}, {"3.4028235e38", "N 3.4028235E+38"}}},
        {"double",
         {{"0.1", "N 0.1"},
          {"1e300", "N 1E+300"},
          {"-2.2250738585072014e-308", "N -2.2250738585072014E-308"}}},
        {"date",
         {{"'2006-05-01'", "D 2006-05-01"},
          {"'0001-01-01'", "D 0001-01-01"},
          {"'9999-12-31'", "D 9999-12-31"},
          {"'0000-00-00'", "T 0000-00-00"},
          {"'2006-05-00'", "T 2006-05-00"}}},
        {"time",
         {{"'14:30:15'", "D 14:30:15"},
          {"'-12:00:00'", "T -12:00:00"},
          {"'838:59:59'", "T 838:59:59"}}},
        {"time(3)", {{"'00:00:00.001'", "D 00:00:00.001"}, {"'24:00:00'", "T 24:00:00.000"}}},
        {"datetime",
         {{"'2006-05-01 14:30:15'", "D 2006-05-01 14:30:15"},
          {"'1899-12-31 00:00:00'", "D 1899-12-31"},
          {"'0000-00-00 00:00:00'", "T 0000-00-00 00:00:00"}}},
        {"datetime(6)", {{"'9999-12-31 23:59:59.999999'", "D 9999-12-31 23:59:59.999999"}}},
        {"char(10)", {{"'ab  '", "T ab"}, {"''", "T "}}},
        {"varchar(50)",
         {{"'O\\'Brien'", "T O'Brien"},
          {"'back\\\\slash \"quoted\"'", "T back\\slash \"quoted\""},
          {"'zwölf 😀 日本 é'", "T zwölf 😀 日本 é"},
          {"'trailing  '", "T trailing  "},
          {"'line\\r\\nbreak\\t'", "T line\r\nbreak\t"},
          {"''", "T "}}},
        {"varchar(50) character set latin1", {{"'Ünïcödé'", "T Ünïcödé"}}},
        {"json", {{"'{\"a\": [1, null]}'", "T {\"a\": [1, null]}"}}},
        {"binary(4)", {{"x'0102'", "B 01020000"}}},
        {"varbinary(20)", {{"x'00ff27225c0d0a1a00'", "B 00ff27225c0d0a1a00"}, {"''", "B "}}},
        {"enum('a','bcd')", {{"'bcd'", "T bcd"}}},
        {"set('a','bcd')", {{"'bcd,a'", "T a,bcd"}}},
        {"uuid",
         {{"'123e4567-e89b-12d3-a456-426655440000'", "T 123e4567-e89b-12d3-a456-426655440000"}}},
        {"point", {{"point(1,2)", "B 000000000101000000000000000000f03f0000000000000040"}}},
    };
    return values;
}

// Rows of a result with a FLOAT come in another form: each value must be the same in both.
TEST_F(MySqlTypes, ValuesComeOutAndGoInAgainUnchanged) {
    const auto connection = Connect();
    connection->Execute("set sql_mode=''");  // zero dates are allowed: old tables are full of them
    for (const auto& column : AllValues()) {
        SCOPED_TRACE(column.declared);
        connection->Execute(std::string("create or replace table kept (id int primary key, v ") +
                            column.declared + " null, f float)");
        connection->Execute("create or replace table again like kept");
        std::vector<std::string> expected;
        for (const auto& [literal, shown] : column.values) {
            Server().Run("set sql_mode=''; insert into kept values (" +
                         std::to_string(expected.size()) + "," + literal + ",0.5)");
            expected.push_back(shown);
        }
        connection->Execute("insert into kept (id) values (99)");
        expected.emplace_back("null");

        EXPECT_EQ(ReadColumn(*connection, "select v from kept order by id"), expected);
        EXPECT_EQ(ReadColumn(*connection, "select v, f from kept order by id"), expected);

        const auto appender = connection->OpenAppender("Select `id`, `v` FROM `again` ");
        const auto source = Connect();
        const auto cursor = source->OpenCursor("select id, v from kept");
        while (cursor->Next()) {
            appender->Append(cursor->Row());
        }
        EXPECT_EQ(Server().QueryOne("select count(*) from kept join again using (id) "
                                    "where kept.v <=> again.v"),
                  std::to_string(expected.size()));
    }
}

TEST_F(MySqlTypes, AppenderBringsOtherKindsIntoTheColumnsType) {
    const DateTime moment{38838, (14 * 3600 + 30 * 60 + 15) * kNanosPerSecond};
    const std::string latin = "Zürich";
    const std::tuple<const char*, Cell, const char*> cases[] = {
        {"varchar(30)", Cell::FromDateTime(moment), "2006-05-01 14:30:15"},
        {"varchar(30)", Cell::Boolean(true), "True"},
        {"varchar(30) character set latin1",
         Cell::Bytes(std::as_bytes(std::span(latin.data(), latin.size()))),
         "Zürich"},
        {"bit(1)", Cell::Text("True"), "1"},
        {"bit(1)", Cell::NumberText("0"), "0"},
        {"int", Cell::Text("42"), "42"},
        {"decimal(40,2)", Cell::FromDecimal({-1, 2}), "-0.01"},
        {"datetime", Cell::Text("1 May 2006 14:30:15"), "2006-05-01 14:30:15"},
        {"date", Cell::FromDateTime({38838, 0}), "2006-05-01"},
        {"time", Cell::FromDateTime({0, moment.nanos}), "14:30:15"},
        {"bigint unsigned", Cell::UInt64(UINT64_MAX), "18446744073709551615"},
        {"float", Cell::Single(1.5F), "1.5"},
    };
    const auto connection = Connect();
    for (const auto& [declared, value, stored] : cases) {
        SCOPED_TRACE(std::string(declared) + " <- " + ToText(value));
        connection->Execute(std::string("create or replace table target (v ") + declared + ")");
        const auto appender = connection->OpenAppender("Select v FROM target");
        appender->Append(std::span(&value, 1));
        const std::string shown = std::string(declared).starts_with("bit") ? "v+0" : "v";
        EXPECT_EQ(Server().QueryOne("select " + shown + " from target"), stored);
    }
}

}  // namespace
}  // namespace vantry::test
