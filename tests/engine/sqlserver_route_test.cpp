// Whole sessions from and to SQL Server, through the real FreeTDS over the stand-in for the server.

#include "engine/route_fixture.h"
#include "support/private_mariadb.h"
#include "support/private_odbc.h"
#include "support/tds_server.h"
#include "text/text_writer.h"

#include <gtest/gtest.h>

#include <array>
#include <memory>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace vantry::test {
namespace {

class SqlServerRoute : public RouteTest {
protected:
    void SetUp() override {
        if (const auto missing = PrivateOdbc::Missing("libtdsodbc.so", "tdsodbc");
            !missing.empty()) {
            GTEST_SKIP() << missing;
        }
        PrivateOdbc::OfProcess().Register({PrivateOdbc::Driver("FreeTDS", "libtdsodbc.so")});
    }
    void FromSqlServer() const {
        SourceType = "MSSQL";
        SourceConnStr = server_.ConnectionText();
    }
    void ToSqlServer() const {
        TargetType = "MSSQL";
        TargetConnStr = server_.ConnectionText();
    }

    TdsServer server_;
};

// A column of SQL Server's, a value of it, and what each target holds of that: SQL Server, Access,
// FoxPro, MySQL, text. "=": as the one before it; "-": not mapped, as the type tables have no type
// for it, or one that it doesn't fit.
constexpr const char* kShortTypes =
    R"(bit|1|True|=|=|1|True
tinyint|255|255|=|=|=|=
smallint|-32768|-32768|=|=|=|=
int|-2147483648|-2147483648|=|=|=|=
bigint|-9223372036854775808|-|-|-|-|-9223372036854775808
real|1.5|1.5|=|2|=|1.5
float|-0.1|-0.1|=|=|=|=
smallmoney|-214748.3648|-214748.3648|=|=|=|=
money|-922337203685477.5807|-922337203685477.5807|=|=|-922337203685477.6|-922337203685477.5807
numeric(11,2)|-1234567.89|-1234568|-1234567.89|=|-1234568|-1234567.89
decimal(38,10)|-123456789012345678.0123456789|-123456789012345678|-1.2345678901234568E+17|-|-|-123456789012345678.0123456789
char(5)|'ab'|ab   |=|ab|ab   |"ab"
varchar(20)|'Öl € ''x'''|Öl € 'x'|=|=|=|"Öl € 'x'"
nvarchar(20)|N'日本😀'|日本😀|=|-|日本😀|"日本😀"
uniqueidentifier|'6f9619ff-8b86-d011-b42d-00c04fc964ff'|{6F9619FF-8B86-D011-B42D-00C04FC964FF}|-|-|-|{6F9619FF-8B86-D011-B42D-00C04FC964FF}
date|'1600-01-01'|1600-01-01|=|=|=|"1600-01-01"
time(7)|'23:59:59.9999999'|23:59:59.9999999|=|=|=|"23:59:59.9999999"
datetime|'2001-02-03 04:05:06.997'|2001-02-03 04:05:06.997|=|2001-02-03 04:05:07|2001-02-03 04:05:06|2001-02-03 04:05:06.997
smalldatetime|'2079-06-06 23:59:00'|2079-06-06 23:59:00|=|=|=|=
datetime2(7)|'9999-12-31 23:59:59.9999999'|9999-12-31 23:59:59.9999999|=|=|=|"9999-12-31 23:59:59.9999999"
datetimeoffset(7)|'2001-02-03 04:05:06.1234567 +05:30'|2001-02-03 04:05:06.1234567 +05:30|=|=|=|"2001-02-03 04:05:06.1234567 +05:30")";

constexpr const char* kLongTypes =
    R"(int|7|7|=|=|=|=
nchar(4)|N'é'|é   |=|é|é   |"é"
varchar(max)|'max €'|max €|=|=|=|"max €"
nvarchar(max)|N'max 😀'|max 😀|=|-|max 😀|"max 😀"
text|'text €'|text €|=|=|=|"text €"
ntext|N'ntext ö'|ntext ö|=|=|=|"ntext ö"
binary(3)|0x4142|414200|=|=|=|-
varbinary(8)|0x00FF|00FF|=|=|=|-
varbinary(max)|0xFF|FF|=|=|=|-
image|0x4142|4142|=|=|=|AB
timestamp|-|00000000000007D1|=|=|=|-)";

// Declaration, value, and the five targets' values.
using TypeRow = std::array<std::string, 7>;

std::vector<TypeRow> TypeRows(const char* table) {
    std::vector<TypeRow> rows;
    std::istringstream lines(table);
    for (std::string line; std::getline(lines, line);) {
        std::istringstream fields(line);
        auto& row = rows.emplace_back();
        for (std::size_t k = 0; k < row.size(); ++k) {
            std::getline(fields, row[k], '|');
            row[k] = row[k] == "=" ? row[k - 1] : row[k];
        }
    }
    return rows;
}

TEST_F(SqlServerRoute, EveryTypeReachesEveryTargetAsTheTablesSay) {
    std::unique_ptr<PrivateMariaDb> mysql;
    if (PrivateMariaDb::Missing().empty()) {
        mysql = std::make_unique<PrivateMariaDb>();
    }
    for (const auto& [table, types] :
         {std::pair<std::string, std::vector<TypeRow>>{"short", TypeRows(kShortTypes)},
          {"long", TypeRows(kLongTypes)}}) {
        std::string declared;
        std::string names;
        std::string literals;
        for (std::size_t k = 0; k < types.size(); ++k) {
            const std::string comma = k == 0 ? "" : ",";
            const auto name = "c" + std::to_string(k);
            declared += comma + name + " " + types[k][0];
            if (types[k][1] != "-") {
                names += comma + name;
                literals += comma + types[k][1];
            }
        }
        server_.Run("create table " + table + " (" + declared + "); insert into " + table + " (" +
                    names + ") values (" + literals + ")");
        for (std::size_t target = 2; target < types[0].size(); ++target) {
            constexpr std::array kKinds = {"MSSQL", "ACCESS", "FOXPRO", "MySQL", "TEXT"};
            const std::string kind = kKinds[target - 2];
            SCOPED_TRACE(kind + " " + table);
            const bool to_text = kind == "TEXT";
            FromSqlServer();
            if (kind == "MSSQL") {
                ToSqlServer();
            } else if (kind == "ACCESS") {
                ToAccess();
            } else if (kind == "FOXPRO") {
                ToFoxProFolder();
            } else if (to_text) {
                ToText();
            } else if (mysql) {
                TargetType = kind;
                TargetConnStr = mysql->ConnectionText();
            } else {
                continue;
            }
            Map(table, to_text ? "" : "copied_" + table, "dbo");
            std::string wanted;
            for (std::size_t k = 0; k < types.size(); ++k) {
                const auto& value = types[k][target];
                ColMaps[k].SSelected = value != "-" ? 1 : 0;
                if (value != "-") {
                    wanted += (k == 0 ? "" : to_text ? "," : "|") + value;
                }
            }
            to_text ? RunSessionToText("") : RunSession("");
            EXPECT_TRUE(LogHas("1 Rows Loaded")) << Log();
            const auto name = "copied_" + table + (kind == "FOXPRO" ? ".dbf" : "");
            const auto all = to_text ? folder_.Read(table + ".out")
                                     : RowsOf(TargetConnStr, "select * from " + name, ValueInHex);
            const auto start = to_text ? all.find('\n') + 1 : 0;
            EXPECT_EQ(all.substr(start, all.find_first_of("\r\n", start) - start), wanted);
        }
    }
}

TEST_F(SqlServerRoute, TextReachesANewTableAndComesBackByteForByte) {
    FromCsv(Orders(120));
    ToSqlServer();
    Map("orders.csv");
    EXPECT_EQ(RunAndLog(),
              RunLog("About To Create Table orders.csv\n\norders Table Created Successfully\n\n"
                     "About to Insert Rows from orders.csv to orders\n"
                     "120 Rows Loaded Time Elapsed :E"));
    EXPECT_EQ(server_.Rows("select sql from sqlite_master where name='orders'"),
              "CREATE TABLE [orders] (\r[id] int,\r[customer] nvarchar(255),\r[price] float,\r"
              "[ordered] datetime\r)\n");
    FromSqlServer();
    ToText();
    Map("orders", "", "dbo");
    RunSessionToText("");
    EXPECT_TRUE(folder_.Read("orders.out") == Orders(120)) << folder_.Read("orders.out");
    EXPECT_EQ(Log(),
              "Started Loading at T\nAbout to Start Loading Rows in :" +
                  (folder_ / "orders.out").string() +
                  "\n120 Rows Loaded\nEnd Time is :T\n******( FINISH )*******");
}

TEST_F(SqlServerRoute, EachRefusedRowIsToldWithItsNumberInTheServersWords) {
    FromAccess({"create table src (id Long, name Text(50), born DateTime)",
                "insert into src values (1,'one',#2001-02-03#)",
                "insert into src values (2,'much too long',null)",
                "insert into src values (1,'twice',null)",
                "insert into src values (null,'no key',null)",
                "insert into src values (5,'old',#1600-01-01#)",
                "insert into src values (6,'dead',null)",
                "insert into src values (7,'last',#1899-12-30 04:05:06#)"});
    server_.Run("create table dst (id int not null primary key, name nvarchar(6), born datetime)");
    ToSqlServer();
    Map("src", "dst");
    server_.AddFault({"INSERT INTO [dst]", 5});
    const char* const said[] = {
        "String or binary data would be truncated.",
        "Violation of PRIMARY KEY constraint 'PK_dst'. Cannot insert duplicate key in object "
        "'dbo.dst'.",
        "Cannot insert the value NULL into column 'id', table 'shop.dbo.dst'; column does not "
        "allow nulls. INSERT fails.",
        "The conversion of a value to a datetime data type resulted in an "
        "out-of-range value.",
        "Transaction (Process ID 51) was deadlocked on lock resources with another process and "
        "has been chosen as the deadlock victim. Rerun the transaction.",
    };
    std::string errors;
    for (int row = 2; row <= 6; ++row) {
        errors += "Error Loading Row:" + std::to_string(row) + "\n[FreeTDS][SQL Server]" +
                  said[row - 2] + "\n";
    }
    EXPECT_EQ(RunAndLog("APPEND"),
              RunLog("About to Insert Rows from src to dst\n" + errors +
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
        ToSqlServer();
        Map("orders.csv", "dst");
        server_.AddFault({"INSERT INTO [dst]", 70, then});
        RunAndLog("APPEND");
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
