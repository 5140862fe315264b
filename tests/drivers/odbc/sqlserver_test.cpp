// SQL Server through the real FreeTDS, over the stand-in for the server.

#include "drivers/odbc/odbc_fixture.h"
#include "support/tds_server.h"

#include <array>
#include <cstdint>

namespace vantry::test {
namespace {

class SqlServerTest : public DriverTest {
protected:
    SqlServerTest() : DriverTest(kFreeTdsLibrary, "tdsodbc") {
        Registry().Register({PrivateOdbc::Driver("FreeTDS", kFreeTdsLibrary)});
    }
    std::unique_ptr<DriverConnection> Open(const std::string& more = {}) const {
        return Connect(server_.ConnectionText() + more);
    }

    TdsServer server_;
};

constexpr const char* kEveryType =
    "create table kinds (b bit, ti tinyint, si smallint, i int, bi bigint, r real, f float, "
    "sm smallmoney, m money, d decimal(38,10), n numeric(9,2), c char(5), vc varchar(20), "
    "nc nchar(4), nv nvarchar(20), vm varchar(max), nm nvarchar(max), t text, nt ntext, "
    "bn binary(4), vb varbinary(8), vbm varbinary(max), im image, g uniqueidentifier, da date, "
    "tm time(7), dt datetime, sd smalldatetime, d2 datetime2(7), dto datetimeoffset(7), "
    "rv timestamp);"
    "insert into kinds (b,ti,si,i,bi,r,f,sm,m,d,n,c,vc,nc,nv,vm,nm,t,nt,bn,vb,vbm,im,g,da,tm,dt,"
    "sd,d2,dto) values (1,255,-32768,-2147483648,-9223372036854775808,1.5,-2.25,-214748.3648,"
    "-922337203685477.5807,-1234567890123456789012345678.0123456789,-1234567.89,'ab','Öl €',"
    "N'é',N'日本😀','max €',N'max 😀','text €',N'ntext 😀',0x01,0x0102,0xFF,0x00FF10,"
    "'6f9619ff-8b86-d011-b42d-00c04fc964ff','0001-01-01','23:59:59.9999999',"
    "'1753-01-01 00:00:00.007','2079-06-06 23:59:00','9999-12-31 23:59:59.9999999',"
    "'2001-02-03 04:05:06.1234567 +05:30');"
    "insert into kinds (b,vc,nv,t,vb) values (0,'','','',0x);"
    "insert into kinds (b) values (null)";

TEST_F(SqlServerTest, EveryTypeIsTheProvidersAndItsValueWhole) {
    server_.Run(kEveryType);
    const auto connection = Open();
    const auto cursor = connection->OpenCursor("select * from kinds");
    // Types newer than the provider are texts to it; "(max)" ones are the long types.
    EXPECT_EQ(Shown(cursor->Columns()),
              "b 11 2, ti 17 1 p3, si 2 2 p5, i 3 4 p10, bi 20 8 p19, r 4 4 p7, f 5 8 p15, "
              "sm 6 8 p19, m 6 8 p19, d 131 19 p38 s10, n 131 19 p9 s2, c 129 5, vc 200 20, "
              "nc 130 4, nv 202 20, vm 201 2147483647, nm 203 1073741823, t 201 2147483647, "
              "nt 203 1073741823, bn 128 4, vb 204 8, vbm 205 2147483647, im 205 2147483647, "
              "g 72 16, da 202 10, tm 202 16, dt 135 16 p23 s3, sd 135 16 p23 s3, d2 202 27, "
              "dto 202 34, rv 128 8");
    const auto rows = RowsOf(*cursor);
    ASSERT_EQ(rows.size(), 3U);
    EXPECT_EQ(Shown(rows[0]),
              "bool:True | number:255 | number:-32768 | number:-2147483648 | "
              "number:-9223372036854775808 | number:1.5 | number:-2.25 | number:-214748.3648 | "
              "number:-922337203685477.5807 | number:-1234567890123456789012345678.0123456789 | "
              "number:-1234567.89 | text:ab    | text:Öl € | text:é    | text:日本😀 | text:max € | "
              "text:max 😀 | text:text € | text:ntext 😀 | bytes:4 | bytes:2 | bytes:1 | bytes:3 | "
              "text:{6F9619FF-8B86-D011-B42D-00C04FC964FF} | text:0001-01-01 | "
              "text:23:59:59.9999999 | moment:1753-01-01 00:00:00.007 | "
              "moment:2079-06-06 23:59:00 | text:9999-12-31 23:59:59.9999999 | "
              "text:2001-02-03 04:05:06.1234567 +05:30 | bytes:8");
    EXPECT_EQ(Shown(rows[1][12]) + Shown(rows[1][14]) + Shown(rows[1][17]) + Shown(rows[1][20]),
              "text:text:text:bytes:0");
    for (std::size_t k = 0; k + 1 < rows[2].size(); ++k) {
        EXPECT_TRUE(rows[2][k].IsNull()) << k;
    }
}

TEST_F(SqlServerTest, ErrorsAreTheServersOwnAndTheConnectionGoesOn) {
    server_.Run(
        "create table t (id int not null primary key, v varchar(3), d datetime, b tinyint)");
    const auto connection = Open();
    const auto said = [&](const std::string& sql) {
        const auto error = ErrorOf([&] { connection->Execute(sql); });
        return std::to_string(error.Number()) + " " + error.Description();
    };
    const std::string head = " [FreeTDS][SQL Server]";
    const struct {
        const char* sql;
        int number;
        const char* text;
    } cases[] = {
        {"insert into t (id) values (1)", kErrConstraint, "Violation of PRIMARY KEY constraint"},
        {"insert into t (v) values ('x')", kErrConstraint, "Cannot insert the value NULL into"},
        {"insert into t (id,v) values (2,'long')", kErrConversion, "String or binary data would"},
        {"insert into t (id,b) values (2,256)", kErrUnspecified, "Arithmetic overflow error for"},
        {"delete from nosuch", kErrNoSuchTable, "Invalid object name 'nosuch'."},
        {"Create Table t (id int)", kErrSyntax, "There is already an object named 't' in the"},
        {"selec 1", kErrSyntax, "Incorrect syntax near 'selec'."},
    };
    EXPECT_EQ(connection->Execute("insert into t (id) values (1)"), 1);
    for (const auto& one : cases) {
        EXPECT_TRUE(said(one.sql).starts_with(std::to_string(one.number) + head + one.text))
            << said(one.sql);
    }
    const auto prepared = ErrorOf([&] {
        connection
            ->Prepare("insert into nosuch values (?)", std::vector<ParameterInfo>{{adInteger}})
            ->Execute(std::vector{Cell::Int64(1)});
    });
    EXPECT_EQ(prepared.Number(), kErrNoSuchTable) << prepared.Description();
    server_.AddFault({"delete"});
    const auto deadlock = ErrorOf([&] { connection->Execute("delete from t"); });
    EXPECT_TRUE(Has(deadlock.Description(), "deadlock"));
    EXPECT_EQ(deadlock.ArrivedRows(), 0);
    EXPECT_EQ(server_.Rows("select * from t"), "1|Null|Null|Null\n");
}

// What a column of each type makes of a parameter of each type that loaders bind.
TEST_F(SqlServerTest, ParametersArriveWholeOrAreRefused) {
    constexpr std::array kBytes{std::byte{0}, std::byte{0xFF}, std::byte{0x41}};
    const auto decimal = Cell::NumberText("-1234567890123456789012345678.0123456789");
    const auto guid = Cell::Text("{6f9619ff-8b86-d011-b42d-00c04fc964ff}");
    const auto first_day = Cell::FromDateTime({kMinDay, 100});
    const auto half_minute = Cell::FromDateTime({36526, 31 * kNanosPerSecond});
    const struct {
        const char* column;
        int parameter;
        Cell value;
        std::string stored;  // or how the server's words begin
    } cases[] = {
        {"bigint", adBigInt, Cell::Int64(INT64_MIN), "-9223372036854775808"},
        {"tinyint", adUnsignedTinyInt, Cell::Int64(255), "255"},
        {"bit", adBoolean, Cell::Boolean(true), "1"},
        {"bit", adBoolean, Cell::Null(), "Null"},
        {"float", adDouble, Cell::Double(0.1), "0.1"},
        {"real", adSingle, Cell::Single(1.5), "1.5"},
        {"money", adCurrency, Cell::FromDecimal({-INT64_MAX, 4}), "-922337203685477.5807"},
        {"decimal(38,10)", adNumeric, decimal, "-1234567890123456789012345678.0123456789"},
        {"numeric", adNumeric, Cell::FromDecimal({1250, 2}), "13"},  // no decimals are stated
        {"nvarchar(20)", adVarChar, Cell::Text("O'Brien 日本😀"), "O'Brien 日本😀"},
        {"varchar(20)", adVarChar, Cell::Text("Öl € 日"), "Öl € ?"},
        {"varchar(3)", adVarChar, Cell::Text("long"), "String or binary data would be truncated."},
        {"ntext", adLongVarWChar, Cell::Text("x😀"), "x😀"},
        {"varbinary(8)", adVarBinary, Cell::Bytes(kBytes), {"\0\xFF\x41", 3}},
        // A number in bytes, which is no long text on its way to a number.
        {"varbinary(8)", adInteger, Cell::Bytes(std::span(kBytes).first(1)), {"\0", 1}},
        {"uniqueidentifier", adGUID, guid, "6F9619FF-8B86-D011-B42D-00C04FC964FF"},
        {"datetime", adDBTimeStamp, Cell::FromDateTime({2, 7'000'000}), "1900-01-01 00:00:00.007"},
        {"datetime",
         adDBTimeStamp,
         Cell::FromDateTime({-110'000, 0}),
         "The conversion of a value to"},
        {"smalldatetime", adDBTimeStamp, half_minute, "2000-01-01 00:01:00"},
        {"datetime2(7)", adDBTimeStamp, first_day, "0001-01-01 00:00:00.0000001"},
        // Days that the driver itself counts wrong.
        {"date", adDBDate, Cell::FromDateTime({-110'000, 0}), "1598-10-29 00:00:00"},
        {"date", adDBDate, Cell::FromDateTime({kMaxDay, 0}), "9999-12-31 00:00:00"},
        {"time", adDBTime, Cell::FromDateTime({0, 123'456'700}), "1899-12-30 00:00:00.1234567"},
        {"int", adVarChar, Cell::Text("abc"), "Conversion failed when converting the nvarchar"},
    };
    const auto connection = Open();
    for (const auto& one : cases) {
        server_.Run(std::string("create table one (v ") + one.column + ")");
        const auto insert = connection->Prepare("INSERT INTO [one] ( [v]) VALUES (?)",
                                                std::vector<ParameterInfo>{{one.parameter, 20}});
        const auto error = ErrorOf([&] { insert->Execute(std::vector{one.value}); });
        if (error.Number() == 0) {
            EXPECT_EQ(server_.Rows("select v from one"), one.stored + "\n") << one.column;
        } else {
            EXPECT_TRUE(error.Description().substr(21).starts_with(one.stored))
                << one.column << ": " << error.Description();
        }
        server_.Run("drop table one");
    }
}

TEST_F(SqlServerTest, LongValuesTravelInPiecesBothWays) {
    server_.Run("create table long (id int, a varchar(max), b ntext, c image, d nvarchar(max))");
    const auto text = LongText(300'000);
    std::string bytes(2'000'000, '\xFE');
    bytes[100] = '\0';
    const auto connection = Open();
    const auto appender = connection->OpenAppender("Select [id], [c], [b], [d] FROM [long] ");
    // Long texts may come as bytes from the loader.
    appender->Append(std::vector{Cell::Int64(1), BytesOf(bytes), Cell::Text(text), BytesOf(text)});
    appender->Append(std::vector{Cell::Int64(2), Cell::Null(), Cell::Null(), Cell::Null()});
    const auto rows = Query(*connection, "select id,b,c,d from long order by id");
    ASSERT_EQ(rows.size(), 2U);
    EXPECT_TRUE(rows[0][1].AsCell().AsText() == text);
    EXPECT_TRUE(rows[0][2].AsCell().AsText() == bytes);
    EXPECT_TRUE(rows[0][3].AsCell().AsText() == text);
    EXPECT_EQ(Shown(rows[1]), "number:2 | null | null | null");
}

TEST_F(SqlServerTest, AServerThatRefusesBreaksOffOrHangsIsToldAsSuch) {
    const auto refused = [&](const std::string& text) {
        return ErrorOf([&] { Connect(text); }).Description();
    };
    auto wrong = server_.ConnectionText();
    wrong.replace(wrong.find("s3cret-pass"), 11, "wr0ng-pass");
    EXPECT_EQ(refused(wrong), "[FreeTDS][SQL Server]Login failed for user 'sa'.");
    EXPECT_EQ(refused(server_.ConnectionText("nosuch")),
              "[FreeTDS][SQL Server]Login failed for user 'sa'.\n[FreeTDS][SQL Server]Cannot open "
              "database \"nosuch\" requested by the login. The login failed.");

    server_.Run("create table t (id int)");
    using Then = TdsFault::Then;
    for (const auto then : {Then::BreakOff, Then::RunAndBreakOff, Then::Hang}) {
        const auto connection = Open(";ANSWER_TIMEOUT=1");
        const auto insert = connection->Prepare("INSERT INTO [t] ( [id]) VALUES (?)",
                                                std::vector<ParameterInfo>{{adInteger, 4}});
        insert->Execute(std::vector{Cell::Int64(1)});
        server_.AddFault({"INSERT", 0, then});
        const auto lost = ErrorOf([&] { insert->Execute(std::vector{Cell::Int64(2)}); });
        EXPECT_NE(lost.Number(), 0);
        EXPECT_EQ(lost.ArrivedRows(), std::nullopt) << lost.Description();
        EXPECT_EQ(lost.Description().find("ANSWER_TIMEOUT") != std::string::npos,
                  then == Then::Hang)
            << lost.Description();
        const auto later = ErrorOf([&] { insert->Execute(std::vector{Cell::Int64(3)}); });
        EXPECT_NE(later.Number(), 0);
        EXPECT_EQ(later.ArrivedRows(), 0) << later.Description();
    }
    EXPECT_EQ(server_.Rows("select count(*), sum(id) from t"), "4|5\n");
}

}  // namespace
}  // namespace vantry::test
