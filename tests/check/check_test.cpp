#include "../mapping/mapping_session.h"
#include "check/check_text.h"
#include "check/data_check.h"
#include "core/settings.h"
#include "engine/reject_file.h"
#include "engine/route_fixture.h"
#include "engine/run_report.h"
#include "engine/run_session.h"
#include "engine/session_fixture.h"
#include "engine/verification.h"
#include "mapping/map_match.h"
#include "support/private_mariadb.h"
#include "support/private_odbc.h"
#include "support/tds_server.h"
#include "text/reject_layout.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace vantry {
namespace {

// The target has what the source's rows break: a length, a required column, a unique key. A row
// that is refused for its values leaves its key to the next one.
TEST(DataCheck, FindsWhatAnExistingTableRefusesAndWritesNothing) {
    test::MappingSession session;
    session.InSource({"CREATE TABLE orders (id LONG, name TEXT(40), price DOUBLE, big LONG)",
                      "INSERT INTO orders VALUES (1, 'short', 0.5, 1)",
                      "INSERT INTO orders VALUES (2, 'longer than eight', 1, 40000)",
                      "INSERT INTO orders VALUES (2, 'again', 2, 3)",
                      "INSERT INTO orders VALUES (9, 'there', 2, 4)",
                      "INSERT INTO orders VALUES (5, NULL, 2, NULL)"});
    session.InTarget(
        {"CREATE TABLE orders (id LONG CONSTRAINT pk PRIMARY KEY, name TEXT(8) NOT NULL, "
         "price LONG, big SHORT)",
         "INSERT INTO orders VALUES (9, 'x', 1, 1)"});
    session.ChooseTables({"orders"});
    session.Map();
    const auto check = CheckTable(0, {});
    ASSERT_EQ(check.trouble, "");
    EXPECT_EQ(
        TableText(check),
        "x orders into orders: 3 columns have values that are refused, 1 that are changed; 5 "
        "rows read.\n"
        "    x id, Long into Long: refused, 1 value: the key is there already; the first in "
        "row 4: the unique key pk (id)\n"
        "    x name, Text into Text: refused, 1 value: longer than the target; the first in "
        "row 2: \"longer than eight\"\n"
        "    x name, Text into Text: refused, 1 value: the target takes no null; the first in "
        "row 5: Null\n"
        "    ~ price, Double into Long: changed, 1 value: places behind the point are lost; "
        "the first in row 1: 0.5 arrives as 0\n"
        "    x big, Long into Integer: refused, 1 value: outside the range of the target; "
        "the first in row 2: 40000\n");
    EXPECT_EQ(check.columns[1].extent.longest, 17);
    EXPECT_EQ(check.columns[3].extent.nulls, 1);
    CheckView cancelled;
    cancelled.cancelled = [] { return true; };
    EXPECT_EQ(CheckTable(0, cancelled).rows, 5) << "a look every few thousand rows";
    SrcTables[0].WhereCond = "id = 1 and price = 2";
    EXPECT_EQ(CheckTable(0, {}).Worst(), Grade::Kept);
    SrcTables[0].WhereCond = "nothing = 2";
    EXPECT_NE(CheckTable(0, {}).trouble, "");
}

// A value that ends its field moves those behind it, and a break those before it, too.
TEST(DataCheck, ATextFileOfNoQualifiersIsJudgedByItsLines) {
    test::MappingSession session;
    session.InSource({"CREATE TABLE t (a LONG, b TEXT(9), c LONG)",
                      "INSERT INTO t VALUES (1, 'x,y', 2)",
                      "INSERT INTO t VALUES (3, 'x' & Chr(10) & 'y', 4)"});
    session.ChooseTables({"t"});
    session.Map();
    TargetType = "TEXT";
    TextDestFormat = "DELIMITED";
    TextDestDelim = ",";
    TextDestQual = "";
    const std::string text = TableText(CheckTable(0, {}));
    for (const char* const moved : {"~ a, Long into text file: changed, 1 value: moved out",
                                    "~ c, Long into text file: changed, 2 values: moved out"}) {
        EXPECT_NE(text.find(moved), std::string::npos) << text;
    }
}

// Long files are read in two halves at once, by the check and by the verification; a middle that
// was guessed within a text of several lines must show and change nothing. 100,000 orders, of which
// the fifth has a name that is too long and the last but one such a name and too large a number.
class Halves : public test::RouteTest {
protected:
    static std::string Orders(std::string_view name_begins, std::size_t shift) {
        std::string csv = "id,name,qty\r\n";
        for (int id = 1; id <= kRows; ++id) {
            const bool is_bad = id == 5 || id == kRows - 1;
            csv += std::to_string(id) + ",\"" + std::string(name_begins) + "y" +
                   std::string(is_bad    ? 60
                               : id == 1 ? shift
                                         : 4,
                               'x') +
                   "\"," + (id == kRows - 1 ? "40000" : "5") + "\r\n";
        }
        return csv;
    }
    // Whether a row begins at the source's middle.
    static bool EndsWithRow() {
        Recordset rows;
        rows.Open("SELECT * FROM " + SrcTables[0].Name, SourceConnStr);
        const auto middle = rows.Middle();
        EXPECT_NE(middle, 0);
        for (rows.EndAt(middle); !rows.Eof(); rows.MoveNext()) {
        }
        return rows.EndedWithRow();
    }
    static void ExpectFound(const char* where) {
        SCOPED_TRACE(where);
        const auto check = CheckTable(0, {});
        ASSERT_EQ(check.trouble, "");
        EXPECT_EQ(check.rows, kRows);
        EXPECT_EQ(check.refused, 2);
        const auto& name = check.columns[1].data;
        const auto& qty = check.columns[2].data;
        ASSERT_TRUE(name.size() == 1 && qty.size() == 1);
        EXPECT_EQ(name[0].count, 2);
        EXPECT_EQ(name[0].row, 5);
        EXPECT_EQ(qty[0].row, kRows - 1);
        EXPECT_EQ(check.columns[0].extent.most, kRows);
        EXPECT_EQ(check.columns[0].extent.least, 1);
        std::int64_t told = 0;
        CheckView cancelled;
        cancelled.progress = [&](std::int64_t so_far) { told = so_far; };
        cancelled.cancelled = [&] { return told >= 10'000; };
        const auto cut = CheckTable(0, cancelled);
        EXPECT_FALSE(cut.whole);
        EXPECT_TRUE(cut.rows >= 4096 && cut.rows < kRows) << cut.rows;
        EXPECT_EQ(cut.columns[1].data.size(), 1U);
    }
    void RunVerified(std::int64_t loaded) const {
        CurrentSettings.VerifyRuns = true;
        CurrentRunReport = {};
        const auto log = RunAndLog("DELETE");
        EXPECT_EQ(ReportOf(0).RowsLoaded, loaded) << log;
        EXPECT_EQ(ReportOf(0).Verified.result, Verification::Result::Same)
            << VerificationText(ReportOf(0));
    }
    static constexpr int kRows = 100'000;
};

TEST_F(Halves, GiveWhatOneWalkGives) {
    ToAccess();
    Send(TargetConnStr, {"CREATE TABLE t (id LONG, name TEXT(50), qty SHORT)"});
    int within_texts = 0;
    for (std::size_t shift = 0; shift < 48; shift += 12) {
        FromCsv(Orders("a\r\n1,x,2\r\n3,", shift));
        Map("orders.csv", "t");
        within_texts += EndsWithRow() ? 0 : 1;
        ExpectFound("texts of lines that look like rows");
    }
    EXPECT_GT(within_texts, 0);
    FromCsv(Orders("name of a customer in a town ", 4));
    Map("orders.csv", "t");
    EXPECT_TRUE(EndsWithRow());
    ExpectFound("text");
    RunVerified(kRows - 2);

    // What a run has made of them is the source of the next ones.
    Send(TargetConnStr, {"CREATE TABLE wide (id LONG, name TEXT(100), qty LONG)"});
    Map("orders.csv", "wide");
    RunVerified(kRows);
    SourceType = "ACCESS";
    SourceConnStr = TargetConnStr;
    Map("wide", "t");
    EXPECT_TRUE(EndsWithRow());
    ExpectFound("Access");
    ToFoxProFolder();
    Send(TargetConnStr, {"CREATE TABLE orders (id N(9), name C(100), qty N(9))"});
    Map("wide", "orders");
    RunVerified(kRows);
    SourceType = "FOXPRO";
    SourceConnStr = TargetConnStr;
    TargetType = "ACCESS";
    TargetConnStr =
        "Provider=Microsoft.Jet.OLEDB.4.0;Data Source=" + (folder_ / "target.mdb").string();
    Map("orders", "t");
    EXPECT_TRUE(EndsWithRow());
    ExpectFound("DBF");
}

// Keys are what their columns make of the values: texts of one number repeat.
TEST(DataCheck, ComparesKeysAsTheTargetStoresThem) {
    test::MappingSession session;
    session.InSource({"CREATE TABLE t (code TEXT(10), at DATETIME)",
                      "INSERT INTO t VALUES ('007', #2006-05-01 12:00:00#)",
                      "INSERT INTO t VALUES ('7', #2006-05-01 12:00:00#)",
                      "INSERT INTO t VALUES ('8', #2006-05-01 12:00:01#)",
                      "INSERT INTO t VALUES ('10', #2006-05-01 12:00:02#)"});
    session.InTarget({"CREATE TABLE t (code LONG CONSTRAINT pk PRIMARY KEY, at DATETIME)",
                      "INSERT INTO t VALUES (8, NULL)"});
    session.ChooseTables({"t"});
    session.Map();
    const auto check = CheckTable(0, {});
    ASSERT_EQ(check.trouble, "");
    EXPECT_NE(TableText(check).find("2 values: the key is there already; the first in row 2"),
              std::string::npos)
        << TableText(check);
}

// Each kind is asked for its own keys, and its run refuses the rows that were named.
TEST(DataCheck, KnowsTheKeysOfEveryKindOfTarget) {
    test::MappingSession session;
    test::RecordingView view;
    CurrentRunView = &view;
    const std::string folder = session.Folder().Path().string();
    std::filesystem::create_directory(folder + "/free");
    test::PrivateOdbc::OfProcess().Register(
        {test::PrivateOdbc::Driver("FreeTDS", "libtdsodbc.so"),
         test::PrivateOdbc::Driver("Oracle ODBC Driver", "libsqlite3odbc.so")});
    const auto mariadb = test::PrivateMariaDb::Missing().empty()
                             ? std::make_unique<test::PrivateMariaDb>()
                             : nullptr;
    const auto tds = test::PrivateOdbc::Missing("libtdsodbc.so", "tdsodbc").empty()
                         ? std::make_unique<test::TdsServer>()
                         : nullptr;
    const bool sqlite = test::PrivateOdbc::Missing("libsqlite3odbc.so", "").empty();
    const std::string foxpro = "Driver={Microsoft Visual FoxPro Driver};SourceType=";
    // Rows of `name` that repeat, and the first of them, beside the null of row 6; "ANNA" is in the
    // target. 0: the kind takes them.
    const std::tuple<const char*, const char*, std::string, std::vector<const char*>, int, int>
        cases[] = {
            {"FOXPRO",
             "DIR",
             foxpro + "DBF;SourceDb=" + folder + "/free",
             {"CREATE TABLE t (id I, name C(20) UNIQUE)", "INSERT INTO t VALUES (1, 'ANNA')"},
             3,
             2},
            {"FOXPRO",
             "DBC",
             foxpro + "DBC;SourceDb=" + folder + "/shop.dbc",
             {"CREATE TABLE t (id I, name C(20) PRIMARY KEY)", "INSERT INTO t VALUES (1, 'ANNA')"},
             3,
             2},
            {"MySQL",
             "",
             mariadb ? mariadb->ConnectionText() : "",
             {"CREATE TABLE t (id int, name varchar(20) not null unique)",
              "INSERT INTO t VALUES (1, 'ANNA')"},
             5,
             1},
            {"MSSQL",
             "",
             tds ? tds->ConnectionText() : "",
             {"CREATE TABLE t (id int, name nvarchar(20) not null unique)",
              "INSERT INTO t VALUES (1, 'ANNA')"},
             4,
             1},
            {"ORACLE",
             "",
             sqlite ? "Provider=OraOLEDB.Oracle;Data Source=svc;Database=" + folder +
                          "/ora;User ID=scott;Password=tiger;"
                    : "",
             {"CREATE TABLE user_tables (table_name varchar(30))",
              "INSERT INTO user_tables VALUES ('t')",
              "CREATE TABLE t (id integer, name varchar(20) not null unique)",
              "INSERT INTO t VALUES (1, 'ANNA')"},
             3,
             2},
        };
    session.InSource({"CREATE TABLE t (id LONG, name TEXT(20))",
                      "INSERT INTO t VALUES (1, 'Anna')",
                      "INSERT INTO t VALUES (2, 'Anna')",
                      "INSERT INTO t VALUES (3, 'ANNA')",
                      "INSERT INTO t VALUES (4, 'Änna')",
                      "INSERT INTO t VALUES (5, 'Bo')",
                      "INSERT INTO t VALUES (6, NULL)",
                      "INSERT INTO t VALUES (7, 'Bo')"});
    for (const auto& [kind, mode, target, statements, repeats, first] : cases) {
        if (target.empty()) {
            continue;  // not on this machine
        }
        SCOPED_TRACE(std::string(kind) + mode);
        TargetType = kind;
        TargetConnStr = target;
        FoxDestMode = mode;
        FoxDestPrefix = folder + "/free/";
        if (std::string_view(mode) == "DBC") {
            Catalog().Create(TargetConnStr);
        }
        for (const auto* sql : statements) {
            test::RunStatement(TargetConnStr, sql);
        }
        session.ChooseTables({"t"});
        DstTables.clear();
        session.Map();
        ASSERT_EQ(SrcTables[0].TableExists, kTrue);
        const auto check = CheckTable(0, {});
        ASSERT_EQ(check.trouble, "");
        std::map<Reason, Finding> found;
        for (const auto& finding : check.columns[1].data) {
            found[finding.verdict.reason] = finding;
        }
        EXPECT_EQ(found[Reason::RepeatedKey].count, repeats) << TableText(check);
        EXPECT_EQ(found[Reason::RepeatedKey].row, first);
        // A batch carries the null as an empty text.
        const bool batch = TargetType == "MySQL";
        EXPECT_EQ(found[Reason::NotNull].row, batch ? 0 : 6);
        EXPECT_EQ(check.refused, repeats + (batch ? 0 : 1));
        SrcTables[0].LoadOption = DstTables[0].LoadOption = "APPEND";
        RunSession("");
        // The scripted server's index goes by letter case, as no SQL Server's does by default.
        const std::int64_t by_case = TargetType == "MSSQL" ? 1 : 0;
        EXPECT_EQ(ReportOf(0).RowsRejected, batch ? check.rows : check.refused - by_case)
            << view.log;
    }
    FoxDestMode = FoxDestPrefix = "";
    CurrentRunView = nullptr;
}

// What servers' columns of dates and times make of a value, as the run and its verification find
// it.
TEST(DataCheck, KnowsWhatServersMakeOfDatesAndTimes) {
    using enum Grade;
    struct Case {
        const char* type;
        const char* value;  // of Access: a text, or a moment
        Grade grade;
        Reason reason;
    };
    const std::vector<Case> of_mssql = {
        {"date", "'20240131'", Changed, Reason::Writing},
        {"date", "'2024-01-31 10:00:00 +05:30'", Changed, Reason::TimeOfDay},
        {"datetime", "'240131 10:11:12.123'", Changed, Reason::Writing},
        {"datetime", "'2024-01-31 10:11:12.1234'", Refused, Reason::NotAValue},
        {"datetime", "'2024-01-31 10:11:12 +05:30'", Refused, Reason::NotAValue},
        {"datetime2(3)", "'2024-01-31 10:11:12.125'", Kept, Reason::None},
        {"datetime2(3)", "'2024-01-31 10:11:12.1250'", Changed, Reason::Writing},
        {"time(3)", "'10:11:12.125'", Kept, Reason::None},
        {"time(3)", "'20240131 10:11'", Changed, Reason::Day},
        {"time(3)", "'31 January'", Refused, Reason::NotAValue},
        {"time(0)", "#10:11:12#", Kept, Reason::None},
        {"time(0)", "#2024-01-31 10:11:12#", Changed, Reason::Day},
        {"datetimeoffset(0)", "'2024-01-31 10:11:12 -05:30'", Kept, Reason::None},
        {"datetimeoffset(0)", "'9999-12-31 23:11:12 -05:30'", Refused, Reason::Range},
        {"datetimeoffset(0)", "#2024-01-31 10:11:12#", Changed, Reason::Writing},
    };
    const std::vector<Case> of_mysql = {
        {"timestamp null", "#1970-01-01 00:00:01#", Kept, Reason::None},
        {"timestamp null", "#1970-01-01#", Refused, Reason::Range},
        {"timestamp null", "'2038-01-19 03:14:07'", Kept, Reason::None},
        {"timestamp null", "'2038-01-19 03:14:08'", Refused, Reason::Range},
        {"timestamp null", "'20380120'", Refused, Reason::Range},
        {"datetime", "'20380120'", Changed, Reason::Writing},
    };
    test::RecordingView view;
    CurrentRunView = &view;
    CurrentSettings.VerifyRuns = true;
    const auto try_all = [&](const char* kind, const std::string& target, const auto& cases) {
        test::MappingSession session;
        TargetType = kind;
        TargetConnStr = target;
        std::vector<std::string> names;
        for (const auto& c : cases) {
            const auto& name = names.emplace_back("m" + std::to_string(names.size()));
            session.InSource(
                {"CREATE TABLE " + name + (*c.value == '#' ? " (a DATETIME)" : " (a TEXT(40))"),
                 "INSERT INTO " + name + " VALUES (" + c.value + ")"});
            session.InTarget({"CREATE TABLE " + name + " (a " + c.type + ")"});
        }
        session.ChooseTables(names);
        session.Map();
        std::vector<TableCheck> checks;
        for (std::size_t k = 0; k < names.size(); ++k) {
            SrcTables[k].LoadOption = DstTables[k].LoadOption = "APPEND";
            checks.push_back(CheckTable(k, {}));
        }
        RunSession("");
        for (std::size_t k = 0; k < names.size(); ++k) {
            const auto& c = cases[k];
            SCOPED_TRACE(std::string(c.type) + " " + c.value + TableText(checks[k]) + view.log);
            const auto found = checks[k].columns.at(0).data;
            EXPECT_EQ(checks[k].Worst(), c.grade);
            EXPECT_EQ(found.empty() ? Reason::None : found[0].verdict.reason, c.reason);
            const auto& report = ReportOf(static_cast<i16>(k));
            EXPECT_EQ(report.RowsLoaded, c.grade == Refused ? 0 : 1);
            EXPECT_EQ(
                report.Verified.result,
                c.grade == Changed ? Verification::Result::Differs : Verification::Result::Same);
        }
    };
    if (test::PrivateOdbc::Missing("libtdsodbc.so", "tdsodbc").empty()) {
        test::PrivateOdbc::OfProcess().Register(
            {test::PrivateOdbc::Driver("FreeTDS", "libtdsodbc.so")});
        const test::TdsServer tds;
        try_all("MSSQL", tds.ConnectionText(), of_mssql);
    }
    if (test::PrivateMariaDb::Missing().empty()) {
        const test::PrivateMariaDb mariadb;
        mariadb.Run("set global time_zone = '+00:00'");
        try_all("MySQL", mariadb.ConnectionText(), of_mysql);
    }
    CurrentSettings = {};
    CurrentRunView = nullptr;
}

// Rows that were refused for every kind of badness are loaded from the reject file into a target
// that takes them: both targets together have what the source has. Of a table that was given up
// the rows behind are in neither.
TEST(Rejects, ReloadIntoASecondTargetAndNothingIsMissing) {
    constexpr int kRows = 130;
    const int bad[] = {40, 60};
    const std::string columns =
        "(id LONG, name TEXT(60), price CURRENCY, at DATETIME, big LONG, photo OLEOBJECT)";
    test::MappingSession session;
    test::RecordingView view;
    CurrentRunView = &view;
    const auto second = session.MakeDatabase("second.mdb", {});
    std::vector<std::string> names;
    for (const int count : bad) {
        const auto table = names.emplace_back("t" + std::to_string(names.size() + 1));
        session.InSource({"CREATE TABLE " + table + " " + columns});
        test::RunStatement(second, "CREATE TABLE " + table + " " + columns);
        session.InTarget({"CREATE TABLE " + table +
                          " (id LONG CONSTRAINT pk PRIMARY KEY, name TEXT(20) NOT NULL, price "
                          "CURRENCY, at DATETIME, big SHORT, photo OLEOBJECT)"});
        Connection source;
        source.Open(SourceConnStr);
        source.Execute("INSERT INTO " + table + " VALUES (0, '', NULL, NULL, NULL, NULL)");
        for (int row = 1; row < kRows; ++row) {
            const bool is_bad = row <= 2 * count && row % 2 == 0;
            const int kind = is_bad ? row / 2 % 4 : 4;
            const auto number = std::to_string(row);
            const std::string id = kind == 0 ? std::to_string(row - 1) : number;
            const std::string name = kind == 1
                                         ? "'a \"long\" name,\r\nof two lines " + number + " '"
                                     : kind == 2    ? "NULL"
                                     : row % 3 == 0 ? "'007'"
                                                    : "'Ä''b" + number + "  '";
            Command insert;
            insert.ActiveConnection = SourceConnStr;
            insert.CommandText = "INSERT INTO " + table + " VALUES (" + id + ", " + name + ", -" +
                                 number + ".0625, #2024-02-29 23:59:58#, " +
                                 (kind == 3      ? "70000"
                                  : row % 2 == 0 ? "NULL"
                                                 : number) +
                                 ", ?)";
            Parameter photo;
            photo.Type = adLongVarBinary;
            // With bytes that no text has; of some rows none at all.
            const std::string bytes{'\0', '\xFF', static_cast<char>(row), ' '};
            photo.SetValue(row % 8 == 0 ? Cell::Null()
                                        : Cell::Bytes(std::as_bytes(std::span(bytes))));
            insert.Parameters.Append(photo);
            insert.Execute();
        }
    }
    session.ChooseTables(names);
    session.Map();
    std::vector<TableCheck> checks;
    for (std::size_t k = 0; k < names.size(); ++k) {
        SrcTables[k].LoadOption = DstTables[k].LoadOption = "APPEND";
        checks.push_back(CheckTable(k, {}));
        EXPECT_EQ(checks.back().refused, bad[k]) << TableText(checks.back());
    }
    RejectFile file((session.Folder() / "run.log.rejects.csv").string());
    CurrentRejects = &file;
    RunSession("");
    CurrentRejects = nullptr;
    ASSERT_EQ(file.Fault(), "");
    DescribeRejectFile(file.Path());
    std::vector<std::int64_t> read;
    for (std::size_t k = 0; k < names.size(); ++k) {
        const auto& report = ReportOf(static_cast<i16>(k));
        EXPECT_EQ(report.RowsRejected, std::min(bad[k], 50));
        EXPECT_EQ(report.FirstRowNotReached().has_value(), bad[k] > 50);
        read.push_back(report.RowsRead);
    }
    const auto first = TargetConnStr;
    const auto source = SourceConnStr;
    SourceType = "TEXT";
    SourceConnStr =
        "Provider=Microsoft.Jet.OLEDB.4.0;Data Source=" + session.Folder().Path().string() +
        ";Extended Properties=\"text;FMT=Delimited\"";
    TargetConnStr = second;
    for (std::size_t k = 0; k < names.size(); ++k) {
        SCOPED_TRACE(names[k]);
        session.ChooseTables({"run.log.rejects.csv"});
        DstTables.clear();
        test::MapTables(names[k]);
        MatchColumns(0, MatchBy::Name);
        SrcTables[0].WhereCond = "[Table] = '" + names[k] + "'";
        SrcTables[0].LoadOption = DstTables[0].LoadOption = "APPEND";
        EXPECT_EQ(CheckTable(0, {}).Worst(), Grade::Kept) << TableText(CheckTable(0, {}));
        RunSession("");
        EXPECT_EQ(ReportOf(0).RowsLoaded, std::min(bad[k], 50)) << view.log;
        std::multiset<std::string> all;
        const auto add = [&](const std::string& text, std::int64_t most) {
            Recordset rows;
            rows.Open("SELECT id, name, price, at, big, photo FROM " + names[k],
                      text,
                      adOpenForwardOnly,
                      adLockReadOnly);
            for (; !rows.Eof() && most-- > 0; rows.MoveNext()) {
                test::ValueRow row(rows.Row().begin(), rows.Row().end());
                all.insert(test::Shown(row));
            }
        };
        add(source, read[k]);
        const auto wanted = std::exchange(all, {});
        add(first, kRows);
        add(second, kRows);
        EXPECT_EQ(all, wanted);
    }
    CurrentRunView = nullptr;
}

TEST(MatchColumns, ByNameByPositionAndSkip) {
    test::MappingSession session;
    session.InSource({"CREATE TABLE t (first_name TEXT(9), Town TEXT(9), extra LONG)"});
    session.InTarget({"CREATE TABLE t (town TEXT(9), [First Name] TEXT(9), [T O W N] LONG)"});
    session.ChooseTables({"t"});
    session.Map();
    const auto pairs = [] {
        std::string text;
        for (const auto& row : ColMaps) {
            EXPECT_EQ(row.Pos, &row - ColMaps.data());
            text += row.SCName + ">" + row.DCName + (row.SSelected == 1 ? "+ " : "- ");
        }
        return text;
    };
    EXPECT_FALSE(NamesMatchInAnotherOrder(0));
    const std::string by_position = pairs();
    MatchColumns(0, MatchBy::Name);
    EXPECT_EQ(
        pairs(),
        "Town>town+ first_name>First Name+ " + SkipLabel + ">T O W N- extra>" + SkipLabel + "- ");
    MatchColumns(0, MatchBy::Position);
    EXPECT_EQ(pairs(), by_position);
    MatchColumns(0, MatchBy::Skip);
    EXPECT_EQ(pairs(),
              SkipLabel + ">town- " + SkipLabel + ">First Name- " + SkipLabel + ">T O W N- ");
}

}  // namespace
}  // namespace vantry
