#include "engine/row_loader_mysql.h"

#include "engine/run_report.h"
#include "engine/run_session.h"
#include "engine/session_fixture.h"

#include <gtest/gtest.h>

#include <limits>
#include <numeric>
#include <optional>
#include <random>

namespace vantry::test {
namespace {

class MySQLLoaderTest : public SessionTest {
protected:
    MySQLLoaderTest() { TargetType = "MySQL"; }
    // The rows of a batch, counted by their opening bracket.
    static int RowsIn(const std::string& statement) {
        return Count(statement.substr(statement.find(" VALUES ")), "(");
    }
};

TEST_F(MySQLLoaderTest, RowsAreReadByTheNamesOfABatchLoad) {
    AddColumn("a", adInteger);
    for (const auto& [kind, head, rows] : {std::tuple("ODBC", "SELECT s_a", " FROM src"),
                                           {"MSSQL", "SELECT [s_a]", " FROM [src]"},
                                           {"ORACLE", "SELECT \"s_a\"", " FROM .src"}}) {
        SourceType = kind;
        source->queries.clear();
        LoadRowsMySQL(0);
        EXPECT_EQ(source->queries,
                  (std::vector{std::string("Select Count(*) ") + rows, std::string(head) + rows}));
    }
}

TEST_F(MySQLLoaderTest, AHundredRowsGoInOneStatement) {
    const std::pair<int, std::vector<int>> cases[] = {
        {0, {}}, {99, {99}}, {100, {100}}, {250, {100, 100, 50}}};
    for (const auto& [rows, batches] : cases) {
        ClearTable();
        FillSource(rows);
        target->statements.clear();
        view = RecordingView();
        EXPECT_EQ(LoadRowsMySQL(0), kTrue);
        ASSERT_EQ(target->statements.size(), batches.size()) << rows;
        for (std::size_t k = 0; k < batches.size(); ++k) {
            EXPECT_EQ(RowsIn(target->statements[k]), batches[k]);
            EXPECT_EQ(target->statements[k].ends_with(");"), batches[k] == 100);
        }
        EXPECT_EQ(view.events, rows + rows / 100);
        EXPECT_TRUE(view.log.ends_with("\r\n" + std::to_string(rows) + " Rows Loaded"));
        if (rows > 0) {
            EXPECT_EQ(view.counter, std::to_string(rows) + " of " + std::to_string(rows));
        }
    }
}

TEST_F(MySQLLoaderTest, ValuesStandInTheStatementByTheirType) {
    const std::tuple<int, Value, std::string> cases[] = {
        {adDate, Moment(2006, 5, 1, 14, 30, 15), "'2006-05-01-14-30-15'"},
        {adDBTimeStamp, Moment(805, 12, 31), "'0805-12-31-00-00-00'"},
        {adDBTime, Moment(1899, 12, 30, 7, 5, 9), "'1899-12-30-07-05-09'"},
        {adDBDate, Null(), "NULL"},
        // A day that no calendar has: old tables are full of them.
        {adDBDate, Text("0000-00-00"), "'0000-00-00'"},
        {adDBTimeStamp, Text("2006-05-00 10:00:00"), "'2006-05-00 10:00:00'"},
        // Its shortest form, 3.4028235E+38, is above it, and the server looks at that.
        {adSingle,
         Value(Cell::Single(-std::numeric_limits<float>::max())),
         "-3.4028234663852886E+38"},
        {adSingle, Value(Cell::Single(0.1F)), "0.1"},
        {adVarChar, Text("''"), "''''''"},
        {adChar, Text("back\\slash 'q"), "'back\\slash ''q'"},
        {adBSTR, Text("Ærø"), "'Ærø'"},
        {adVarWChar, Null(), "''"},
        {adVarWChar, Int(5), "'5'"},
        {adBoolean, Bool(true), "True"},
        {adBoolean, Null(), "NULL"},
        {adInteger, Int(-42), "-42"},
        {adCurrency, Value(Cell::FromDecimal({125000, 4})), "12.5"},
        {adDouble, Value(Cell::Double(0.5)), "0.5"},
        {adNumeric, Value(Cell::NumberText("3.25")), "3.25"},
        {adGUID, Text("  {abc}  "), "{abc}"},
        // Sources without strict columns: what isn't a number never becomes part of the statement.
        {adNumeric,
         Text(" 98765432109876543210987654321098765432109876543210 "),
         "98765432109876543210987654321098765432109876543210"},
        {adDouble, Text("-1.5e+10"), "-1.5e+10"},
        {adInteger, Text(" 1),(2 "), "'1),(2'"},
        {adInteger, Text("user()"), "'user()'"},
        {adVariant, Text("O'Brien"), "'O''Brien'"},
        {adVariant, Bytes("1),('2"), "'1),(''2'"},
    };
    for (const auto& [type, value, text] : cases) {
        ClearTable();
        AddColumn("a", type);
        source->rows = {{value}};
        target->statements.clear();
        LoadRowsMySQL(0);
        EXPECT_EQ(target->statements,
                  std::vector<std::string>{"INSERT INTO `dst` ( `d_a`) VALUES (" + text + ")"});
    }
}

TEST_F(MySQLLoaderTest, ALongColumnSendsTheTableThroughNewRows) {
    AddColumn("memo", adLongVarWChar);
    AddColumn("day", adDBTimeStamp);
    AddColumn("flag", adBoolean);
    AddColumn("wide", adWChar);
    source->rows = {{Text("text"), Moment(2006, 5, 1, 14, 30, 15), Bool(true), Text("w")},
                    {Null(), Null(), Null(), Null()}};
    EXPECT_EQ(LoadRowsMySQL(0), kTrue);
    EXPECT_EQ(target->queries[0], "Select  `d_memo`, `d_day`, `d_flag`, `d_wide` FROM `dst` ");
    ASSERT_EQ(target->taken.size(), 2u);
    EXPECT_EQ(Shown(target->taken[0]), "'text'|'2006-05-01'|True|'w'|");
    EXPECT_EQ(Shown(target->taken[1]), "null|'NULL'|null|null|");
    EXPECT_EQ(view.events, 2);

    for (int k = 0; k < 20; ++k) {
        source->rows.push_back(source->rows[0]);
    }
    view = RecordingView();
    LoadRowsMySQL(0);
    EXPECT_EQ(view.events, 22 + 2);  // every row, and again at 10 and 20
    EXPECT_EQ(view.bar_value, 22);
}

// The server refuses a batch whose rows don't have one value for each column.
TEST_F(MySQLLoaderTest, AnUnreadableFieldLeavesItsBatchMalformed) {
    FillSource(3);
    source->rows[1][1] = Unreadable();
    LoadRowsMySQL(0);
    EXPECT_EQ(target->statements[0],
              "INSERT INTO `dst` ( `d_id`, `d_name`) VALUES (1,'row 1'),(2),(3,'row 3')");
    EXPECT_EQ(LoggedErrors(), 1);

    source->rows[1] = {Unreadable(), Unreadable()};
    target->statements.clear();
    LoadRowsMySQL(0);
    EXPECT_EQ(target->statements[0],
              "INSERT INTO `dst` ( `d_id`, `d_name`) VALUES (1,'row 1'),),(3,'row 3')");
}

TEST_F(MySQLLoaderTest, TheFiftyFirstErrorGivesTheTableUp) {
    FillSource(5200);
    std::vector<int> bad(50);
    std::iota(bad.begin(), bad.end(), 1);
    for (const char* end : {"\r\n5200 Rows Loaded",
                            "\r\nAborting Loading Rows for Table :src As Errors Exceeded 50 "
                            "Allowed"}) {
        target->calls.clear();
        target->FailAt("Execute", bad, "refused");
        view = RecordingView();
        EXPECT_EQ(LoadRowsMySQL(0), bad.size() == 50 ? kTrue : kFalse);
        EXPECT_EQ(LoggedErrors(), static_cast<int>(bad.size()));
        EXPECT_TRUE(view.log.ends_with(end)) << bad.size();
        EXPECT_EQ(view.caret, view.log.size());
        bad.push_back(51);
    }
}

TEST_F(MySQLLoaderTest, ACancelIsSeenAfterABatchAndThrowsTheUnfinishedOneAway) {
    const std::tuple<int, std::size_t, int> cases[] = {
        {50, 1, 100},   // within the first batch
        {100, 1, 100},  // just after it
        {102, 2, 200},  // row 101's own hand-over
        {205, 2, 250},  // within the last, incomplete batch
    };
    FillSource(250);
    for (const auto& [at_event, batches, counted] : cases) {
        SessionCancelled = TableCancelled = kFalse;
        view = RecordingView();
        view.cancel_at_event = at_event;
        target->statements.clear();
        StartRunReport();
        EXPECT_EQ(LoadRowsMySQL(0), kTrue);
        EXPECT_EQ(target->statements.size(), batches) << at_event;
        // The log counts the rows of the batch that was thrown away; the report doesn't, and no row
        // of it has failed.
        EXPECT_EQ(ReportOf(0).RowsRead, static_cast<std::int64_t>(batches * 100)) << at_event;
        EXPECT_EQ(ReportOf(0).RowsFailed(), 0) << at_event;
        EXPECT_EQ(ReportOf(0).Outcome, TableOutcome::Cancelled);
        EXPECT_TRUE(view.log.ends_with("\r\n" + std::to_string(counted) +
                                       " Rows Loaded\r\nUser Requested to cancel loading"));
    }
    SessionCancelled = TableCancelled = kFalse;
}

// While the server works on a batch the next is built: what users see of a load must not tell.
TEST_F(MySQLLoaderTest, AnAnswerThatComesLateChangesNothing) {
    std::mt19937 random(7);
    const auto one_in = [&](int n) { return random() % static_cast<unsigned>(n) == 0; };
    for (int round = 0; round < 400; ++round) {
        ClearTable();
        FillSource(static_cast<int>(one_in(4) ? 5100 + random() % 300 : random() % 700));
        const int bad_rows = one_in(2) ? 40 + static_cast<int>(random() % 1000) : 1'000'000;
        for (auto& row : source->rows) {
            if (one_in(bad_rows)) {
                row[1] = Unreadable();
            }
        }
        std::vector<int> refused;
        const int share = 1 + static_cast<int>(random() % 4);
        for (int batch = 1; batch <= 54; ++batch) {
            if (!one_in(share)) {
                refused.push_back(batch);
            }
        }
        const int cancel = one_in(3) ? 1 + static_cast<int>(random() % 800) : 0;
        const int broken = one_in(5) ? static_cast<int>(random() % 700) : 0;  // the source's row
        std::string shown[2];
        for (const bool late : {false, true}) {
            SessionCancelled = TableCancelled = kFalse;
            target->answers_later = late;
            target->statements.clear();
            target->calls.clear();
            target->FailAt("Execute", refused, "refused");
            source->calls.clear();
            source->FailAt("Next", {broken}, "broken off");
            view = RecordingView();
            view.cancel_at_event = cancel;
            StartRunReport();
            const auto whole = LoadRowsMySQL(0);
            const auto& report = ReportOf(0);
            shown[late] = view.log + "\n" + view.counter;
            // A load that is given up has gone on until the answer was there.
            const bool ended = report.Outcome != TableOutcome::GivenUp;
            for (const auto number : {std::int64_t{whole},
                                      std::int64_t{ended ? view.events : 0},
                                      std::int64_t{ended ? view.bar_value : 0},
                                      std::int64_t{report.Errors},
                                      report.RowsRead,
                                      report.RowsLoaded,
                                      report.RowsUnknown,
                                      std::int64_t{static_cast<int>(report.Outcome)}}) {
                shown[late] += " " + std::to_string(number);
            }
            for (const auto& statement : target->statements) {
                shown[late] += "\n" + statement;
            }
        }
        ASSERT_EQ(shown[0], shown[1]) << "round " << round;
    }
    SessionCancelled = TableCancelled = kFalse;
}

// A batch that failed isn't always gone: the driver says what it knows. And a server that takes a
// batch says how many rows it has added.
TEST_F(MySQLLoaderTest, TheReportSaysWhatBecameOfTheRowsOfAFailedBatch) {
    const struct {
        std::optional<std::int64_t> arrived;
        std::int64_t loaded;
        std::int64_t unknown;
        std::int64_t failed;
        std::int64_t says = -1;
    } cases[] = {
        {0, 150, 0, 100},
        {56, 206, 0, 44},
        {100, 250, 0, 0},  // taken with changed values
        {std::nullopt, 150, 100, 0},
        {100, 249, 0, 1, 99},
        {100, 150, 100, 0, 200},
    };
    FillSource(250);
    for (const auto& one : cases) {
        StartRunReport();
        target->calls.clear();
        target->before = [&](std::string_view operation, int number) {
            target->affected = number == 1 ? one.says : -1;
            if (operation == "Execute" && number == 1 && one.says < 0) {
                DataError error(kErrUnspecified, "broken off");
                error.SetArrivedRows(one.arrived);
                throw DataError(error);
            }
        };
        view = RecordingView();
        RunSession("");
        const auto& report = ReportOf(0);
        EXPECT_EQ(report.RowsLoaded, one.loaded);
        EXPECT_EQ(report.RowsUnknown, one.unknown);
        EXPECT_EQ(report.RowsFailed(), one.failed);
        EXPECT_EQ(report.Errors, 1);
        EXPECT_EQ(view.log.find("100 rows may have arrived in dst") != std::string::npos,
                  one.unknown > 0);
    }
}

}  // namespace
}  // namespace vantry::test
