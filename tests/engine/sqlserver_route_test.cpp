// Whole sessions from and to SQL Server, through the real FreeTDS over the stand-in for the server.

#include "engine/run_report.h"
#include "engine/run_session.h"
#include "engine/session_fixture.h"
#include "support/private_mariadb.h"
#include "support/private_odbc.h"
#include "support/session_steps.h"
#include "support/tds_server.h"
#include "text/text_writer.h"

#include <filesystem>
#include <memory>
#include <span>
#include <utility>

namespace vantry::test {
namespace {

class SqlServerRoute : public RunTest {
protected:
    void SetUp() override {
        if (const auto missing = PrivateOdbc::Missing("libtdsodbc.so", "tdsodbc");
            !missing.empty()) {
            GTEST_SKIP() << missing;
        }
        PrivateOdbc::OfProcess().Register({PrivateOdbc::Driver("FreeTDS", "libtdsodbc.so")});
    }

    static void OneTable(const std::string& name, const std::string& owner = {}) {
        SrcTables.assign(1, TableRec());
        SrcTables[0].Name = name;
        SrcTables[0].Owner = owner;
        DstTables.clear();
    }
    void FromCsv(const std::string& content) {
        folder_.Write("orders.csv", content);
        SourceType = "TEXT";
        SourceConnStr = "Provider=Microsoft.Jet.OLEDB.4.0;Data Source=" + folder_.Path().string() +
                        ";Extended Properties=\"text;FMT=Delimited\";\"";
        OneTable("orders.csv");
    }
    void FromAccess(const std::string& table, const std::string& statements) {
        SourceType = "ACCESS";
        SourceConnStr = AccessText("source.mdb");
        NewAccessFile(SourceConnStr);
        for (std::size_t at = 0; at < statements.size();) {
            const auto end = std::min(statements.find(';', at), statements.size());
            RunStatement(SourceConnStr, statements.substr(at, end - at));
            at = end + 1;
        }
        OneTable(table);
    }
    void FromSqlServer(const std::string& table, const std::string& owner = "dbo") {
        SourceType = "MSSQL";
        SourceConnStr = server_.ConnectionText();
        OneTable(table, owner);
    }
    void To(const std::string& kind, const PrivateMariaDb* mysql = nullptr) {
        TargetType = kind;
        if (kind == "MSSQL") {
            TargetConnStr = server_.ConnectionText();
        } else if (kind == "ACCESS") {
            TargetConnStr = AccessText("target.mdb");
            NewAccessFile(TargetConnStr);
        } else if (kind == "FOXPRO") {
            FoxDestMode = "DIR";
            FoxDestPrefix = folder_.Path().string() + "/";
            TargetConnStr = "Driver={Microsoft Visual FoxPro Driver};SourceType=DBF;SourceDb=" +
                            folder_.Path().string();
        } else if (kind == "MySQL") {
            TargetConnStr = mysql->ConnectionText();
        } else {
            TextDestFormat = "DELIMITED";
            TextDestDir = folder_.Path().string();
            TextDestExt = ".out";
            TextDestDelim = ",";
            TextDestQual = "\"";
            TextDestHeader = kTrue;
        }
    }
    std::string AccessText(const std::string& name) const {
        return "Provider=Microsoft.ACE.OLEDB.12.0;Data Source=" + (folder_ / name).string();
    }
    static void NewAccessFile(const std::string& text) {
        std::filesystem::remove(text.substr(text.rfind('=') + 1));
        Catalog catalog;
        catalog.Create(text);
    }

    TempDir folder_;
    TdsServer server_;
};

// Rows with bytes as hexadecimal digits.
std::string HexRowsOf(const std::string& connection_text, const std::string& sql) {
    Recordset rows;
    rows.Open(sql, connection_text, adOpenForwardOnly, adLockReadOnly);
    std::string text;
    for (; !rows.Eof(); rows.MoveNext()) {
        for (std::int32_t k = 0; k < rows.Fields().Count(); ++k) {
            const Cell value = rows.Fields()[k].Value();
            text += (k == 0 ? "" : "|");
            if (value.Kind() == ValueKind::Bytes) {
                for (const auto byte : value.AsBytes()) {
                    constexpr std::string_view kDigits = "0123456789ABCDEF";
                    text += kDigits[static_cast<unsigned>(byte) >> 4];
                    text += kDigits[static_cast<unsigned>(byte) & 15];
                }
            } else {
                text += value.IsNull() ? "Null" : ToText(value);
            }
        }
        text += "\n";
    }
    return text;
}

// A column of SQL Server's, and what each target holds of its value; null: not mapped, as the type
// tables have no type for it, or one that it doesn't fit.
struct TypeCase {
    const char* declared;
    const char* literal;
    const char* sql_server;
    const char* access;
    const char* foxpro;
    const char* mysql;
    const char* text;
};

constexpr const char* kStamp = "2001-02-03 04:05:06.1234567 +05:30";
constexpr const char* kStampLiteral = "'2001-02-03 04:05:06.1234567 +05:30'";
constexpr const char* kLast = "9999-12-31 23:59:59.9999999";
constexpr const char* kGuid = "{6F9619FF-8B86-D011-B42D-00C04FC964FF}";

constexpr TypeCase kShortTypes[] = {
    {"bit", "1", "True", "True", "True", "1", "True"},
    {"tinyint", "255", "255", "255", "255", "255", "255"},
    {"smallint", "-32768", "-32768", "-32768", "-32768", "-32768", "-32768"},
    {"int",
     "-2147483648",
     "-2147483648",
     "-2147483648",
     "-2147483648",
     "-2147483648",
     "-2147483648"},
    {"bigint", "-9223372036854775808", nullptr, nullptr, nullptr, nullptr, "-9223372036854775808"},
    {"real", "1.5", "1.5", "1.5", "2", "2", "1.5"},
    {"float", "-0.1", "-0.1", "-0.1", "-0.1", "-0.1", "-0.1"},
    {"smallmoney",
     "-214748.3648",
     "-214748.3648",
     "-214748.3648",
     "-214748.3648",
     "-214748.3648",
     "-214748.3648"},
    {"money",
     "-922337203685477.5807",
     "-922337203685477.5807",
     "-922337203685477.5807",
     "-922337203685477.5807",
     "-922337203685477.6",
     "-922337203685477.5807"},
    {"numeric(11,2)",
     "-1234567.89",
     "-1234568",
     "-1234567.89",
     "-1234567.89",
     "-1234568",
     "-1234567.89"},
    {"decimal(38,10)",
     "-123456789012345678.0123456789",
     "-123456789012345678",
     "-1.2345678901234568E+17",
     nullptr,
     nullptr,
     "-123456789012345678.0123456789"},
    {"char(5)", "'ab'", "ab   ", "ab   ", "ab", "ab   ", "\"ab\""},
    {"varchar(20)", "'Öl € ''x'''", "Öl € 'x'", "Öl € 'x'", "Öl € 'x'", "Öl € 'x'", "\"Öl € 'x'\""},
    {"nvarchar(20)", "N'日本😀'", "日本😀", "日本😀", nullptr, "日本😀", "\"日本😀\""},
    {"uniqueidentifier",
     "'6f9619ff-8b86-d011-b42d-00c04fc964ff'",
     kGuid,
     nullptr,
     nullptr,
     nullptr,
     kGuid},
    {"date",
     "'1600-01-01'",
     "1600-01-01",
     "1600-01-01",
     "1600-01-01",
     "1600-01-01",
     "\"1600-01-01\""},
    {"time(7)",
     "'23:59:59.9999999'",
     "23:59:59.9999999",
     "23:59:59.9999999",
     "23:59:59.9999999",
     "23:59:59.9999999",
     "\"23:59:59.9999999\""},
    {"datetime",
     "'2001-02-03 04:05:06.997'",
     "2001-02-03 04:05:06.997",
     "2001-02-03 04:05:06.997",
     "2001-02-03 04:05:07",
     "2001-02-03 04:05:06",
     "2001-02-03 04:05:06.997"},
    {"smalldatetime",
     "'2079-06-06 23:59:00'",
     "2079-06-06 23:59:00",
     "2079-06-06 23:59:00",
     "2079-06-06 23:59:00",
     "2079-06-06 23:59:00",
     "2079-06-06 23:59:00"},
    {"datetime2(7)",
     "'9999-12-31 23:59:59.9999999'",
     kLast,
     kLast,
     kLast,
     kLast,
     "\"9999-12-31 23:59:59.9999999\""},
    {"datetimeoffset(7)",
     kStampLiteral,
     kStamp,
     kStamp,
     kStamp,
     kStamp,
     "\"2001-02-03 04:05:06.1234567 +05:30\""},
};

constexpr TypeCase kLongTypes[] = {
    {"int", "7", "7", "7", "7", "7", "7"},
    {"nchar(4)", "N'é'", "é   ", "é   ", "é", "é   ", "\"é\""},
    {"varchar(max)", "'max €'", "max €", "max €", "max €", "max €", "\"max €\""},
    {"nvarchar(max)", "N'max 😀'", "max 😀", "max 😀", nullptr, "max 😀", "\"max 😀\""},
    {"text", "'text €'", "text €", "text €", "text €", "text €", "\"text €\""},
    {"ntext", "N'ntext ö'", "ntext ö", "ntext ö", "ntext ö", "ntext ö", "\"ntext ö\""},
    {"binary(3)", "0x4142", "414200", "414200", "414200", "414200", nullptr},
    {"varbinary(8)", "0x00FF", "00FF", "00FF", "00FF", "00FF", nullptr},
    {"varbinary(max)", "0xFF", "FF", "FF", "FF", "FF", nullptr},
    {"image", "0x4142", "4142", "4142", "4142", "4142", "AB"},
    {"timestamp",
     nullptr,
     "00000000000007D1",
     "00000000000007D1",
     "00000000000007D1",
     "00000000000007D1",
     nullptr},
};

TEST_F(SqlServerRoute, EveryTypeReachesEveryTargetAsTheTablesSay) {
    std::unique_ptr<PrivateMariaDb> mysql;
    if (PrivateMariaDb::Missing().empty()) {
        mysql = std::make_unique<PrivateMariaDb>();
    }
    const std::pair<std::string, const char * TypeCase::*> targets[] = {
        {"MSSQL", &TypeCase::sql_server},
        {"ACCESS", &TypeCase::access},
        {"FOXPRO", &TypeCase::foxpro},
        {"MySQL", &TypeCase::mysql},
        {"TEXT", &TypeCase::text},
    };
    const std::pair<std::string, std::span<const TypeCase>> tables[] = {{"short", kShortTypes},
                                                                        {"long", kLongTypes}};
    for (const auto& [table, types] : tables) {
        std::string declared;
        std::string names;
        std::string literals;
        for (std::size_t k = 0; k < types.size(); ++k) {
            const std::string comma = k == 0 ? "" : ",";
            const auto name = "c" + std::to_string(k);
            declared += comma + name + " " + types[k].declared;
            if (types[k].literal != nullptr) {
                names += comma + name;
                literals += comma + types[k].literal;
            }
        }
        server_.Run("create table " + table + " (" + declared + "); insert into " + table + " (" +
                    names + ") values (" + literals + ")");
        for (const auto& [kind, expected] : targets) {
            if (kind == "MySQL" && !mysql) {
                continue;
            }
            FromSqlServer(table);
            To(kind, mysql.get());
            const bool to_text = kind == "TEXT";
            MapTables(to_text ? "" : "copied_" + table);
            std::string wanted;
            for (std::size_t k = 0; k < types.size(); ++k) {
                const char* value = types[k].*expected;
                ColMaps[k].SSelected = value != nullptr ? 1 : 0;
                if (value != nullptr) {
                    wanted += (k == 0 ? "" : to_text ? "," : "|") + std::string(value);
                }
            }
            to_text ? RunSessionToText("") : RunSession("");
            EXPECT_TRUE(LogHas("1 Rows Loaded")) << kind << Log();
            const auto name = "copied_" + table + (kind == "FOXPRO" ? ".dbf" : "");
            const auto all = to_text ? folder_.Read(table + ".out")
                                     : HexRowsOf(TargetConnStr, "select * from " + name);
            const auto start = to_text ? all.find('\n') + 1 : 0;
            EXPECT_EQ(all.substr(start, all.find_first_of("\r\n", start) - start), wanted)
                << kind << " " << table;
        }
    }
}

TEST_F(SqlServerRoute, TextReachesANewTableAndComesBackByteForByte) {
    std::string orders = "id,customer,price,ordered\r\n";
    for (int id = 1; id <= 120; ++id) {
        orders += std::to_string(id) + ",\"O'Brien & Söhne [😀] " + std::to_string(id) + "\"," +
                  std::to_string(id) + ".25,2006-05-01 14:30:15\r\n";
    }
    FromCsv(orders);
    To("MSSQL");
    MapTables();
    RunSession("");
    EXPECT_EQ(Log(),
              RunLog("About To Create Table orders.csv\n\norders Table Created Successfully\n\n"
                     "About to Insert Rows from orders.csv to orders\n"
                     "120 Rows Loaded Time Elapsed :E"));
    EXPECT_EQ(server_.Rows("select sql from sqlite_master where name='orders'"),
              "CREATE TABLE [orders] (\r[id] int,\r[customer] nvarchar(255),\r[price] float,\r"
              "[ordered] datetime\r)\n");
    FromSqlServer("orders");
    To("TEXT");
    MapTables();
    RunSessionToText("");
    EXPECT_TRUE(folder_.Read("orders.out") == orders) << folder_.Read("orders.out").substr(0, 300);
    EXPECT_EQ(Log(),
              "Started Loading at T\nAbout to Start Loading Rows in :" +
                  (folder_ / "orders.out").string() +
                  "\n120 Rows Loaded\nEnd Time is :T\n******( FINISH )*******");
}

TEST_F(SqlServerRoute, EachRefusedRowIsToldWithItsNumberInTheServersWords) {
    FromAccess("src",
               "create table src (id Long, name Text(50), born DateTime);"
               "insert into src values (1,'one',#2001-02-03#);"
               "insert into src values (2,'much too long',null);"
               "insert into src values (1,'twice',null);"
               "insert into src values (null,'no key',null);"
               "insert into src values (5,'old',#1600-01-01#);"
               "insert into src values (6,'dead',null);"
               "insert into src values (7,'last',#1899-12-30 04:05:06#)");
    server_.Run("create table dst (id int not null primary key, name nvarchar(6), born datetime)");
    To("MSSQL");
    MapTables("dst");
    SrcTables[0].LoadOption = DstTables[0].LoadOption = "APPEND";
    server_.AddFault({"INSERT INTO [dst]", 5});
    RunSession("");
    const std::string head = "\n[FreeTDS][SQL Server]";
    EXPECT_EQ(
        Log(),
        RunLog("About to Insert Rows from src to dst\n"
               "Error Loading Row:2" +
               head +
               "String or binary data would be truncated.\n"
               "Error Loading Row:3" +
               head +
               "Violation of PRIMARY KEY constraint 'PK_dst'. Cannot "
               "insert duplicate key in object 'dbo.dst'.\n"
               "Error Loading Row:4" +
               head +
               "Cannot insert the value NULL into column 'id', table "
               "'shop.dbo.dst'; column does not allow nulls. INSERT fails.\n"
               "Error Loading Row:5" +
               head +
               "The conversion of a nvarchar data type to a datetime "
               "data type resulted in an out-of-range value.\n"
               "Error Loading Row:6" +
               head +
               "Transaction (Process ID 51) was deadlocked on lock "
               "resources with another process and has been chosen as the deadlock victim. Rerun "
               "the transaction.\n"
               "2 Rows Loaded Time Elapsed :E"));
    EXPECT_EQ(server_.Rows("select * from dst"),
              "1|one|2001-02-03 00:00:00\n7|last|1899-12-30 04:05:06\n");
    EXPECT_EQ(CurrentRunReport.Tables[0].RowsLoaded, 2);
    EXPECT_EQ(CurrentRunReport.Tables[0].Errors, 5);
}

TEST_F(SqlServerRoute, AConnectionThatBreaksOffLeavesItsBlockUnknownAndNoRowTwice) {
    for (const auto then : {TdsFault::Then::BreakOff, TdsFault::Then::RunAndBreakOff}) {
        std::string rows = "id\r\n";
        for (int id = 1; id <= 200; ++id) {
            rows += std::to_string(id) + "\r\n";
        }
        FromCsv(rows);
        server_.Run("create table dst (id int not null)");
        To("MSSQL");
        MapTables("dst");
        SrcTables[0].LoadOption = DstTables[0].LoadOption = "APPEND";
        server_.AddFault({"INSERT INTO [dst]", 70, then});
        RunSession("");
        EXPECT_TRUE(LogHas("Aborting")) << Log();
        const auto& report = CurrentRunReport.Tables[0];
        EXPECT_EQ(report.RowsLoaded, 50) << Log().substr(0, 500);
        EXPECT_EQ(report.RowsUnknown, 50);
        EXPECT_EQ(report.Errors, 50);
        EXPECT_EQ(server_.Rows("select count(*), count(distinct id) from dst"),
                  then == TdsFault::Then::BreakOff ? "70|70\n" : "71|71\n");
        server_.Run("drop table dst");
    }
}

}  // namespace
}  // namespace vantry::test
