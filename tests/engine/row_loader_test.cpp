#include "engine/row_loader.h"

#include "engine/row_loader_mysql.h"
#include "engine/run_report.h"
#include "engine/session_fixture.h"

#include <gtest/gtest.h>

#include <numeric>
#include <tuple>

namespace vantry::test {
namespace {

class RowLoaderTest : public SessionTest {};

TEST_F(RowLoaderTest, TheSelectedColumnsOfTheTableAreCountedReadAndInserted) {
    AddColumn("a", adInteger);
    source->rows = {{Int(1)}};
    AddTable("other", "other");
    MapColumn("elsewhere");
    ColMaps[1].TabID = 1;
    MapColumn("skipped").TabID = 0;
    ColMaps[2].SSelected = 0;
    SrcTables[0].Owner = "own";
    SrcTables[0].WhereCond = "s_a > 1";
    for (const auto& [kind, head, rows] :
         {std::tuple("ODBC", "SELECT [s_a]", " FROM src WHERE s_a > 1"),
          {"MySQL", "SELECT `s_a`", " FROM own.`src` WHERE s_a > 1"},
          {"MSSQL", "SELECT [s_a]", " FROM [own].[src] WHERE s_a > 1"}}) {
        SourceType = kind;
        source->queries.clear();
        ASSERT_EQ(LoadRowsGeneric(0), kTrue);
        EXPECT_EQ(source->queries,
                  (std::vector{std::string("Select count(*) ") + rows, std::string(head) + rows}));
        EXPECT_EQ(target->prepared.back(), "INSERT INTO [dst] ( [d_a]) VALUES (?)");
    }
    // A rebuilt table has the source's names.
    SrcTables[0].LoadOption = "DROP";
    LoadRowsGeneric(0);
    EXPECT_EQ(target->prepared.back(), "INSERT INTO [dst] ( [s_a]) VALUES (?)");
}

TEST_F(RowLoaderTest, ParametersForFoxProHaveItsSizes) {
    TargetType = "FOXPRO";
    AddColumn("small", adNumeric, 19);
    AddColumn("large", adNumeric, 19);
    source->columns[0].precision = 20;
    source->columns[0].scale = 2;
    source->columns[1].precision = 21;
    source->columns[1].scale = 3;
    source->rows = {{Int(1), Int(2)}};
    LoadRowsGeneric(0);
    ASSERT_EQ(target->parameters.size(), 2u);
    const auto expect = [this](std::size_t column, std::int64_t size, int precision, int scale) {
        const auto& parameter = target->parameters[column];
        EXPECT_EQ(std::tuple(parameter.size, int{parameter.precision}, int{parameter.scale}),
                  std::tuple(size, precision, scale));
    };
    expect(0, 19, 20, 2);
    expect(1, 20, 20, 19);
}

TEST_F(RowLoaderTest, LongAndBinaryColumnsTakeTheRecordsetPath) {
    const std::tuple<const char*, int, bool> cases[] = {
        {"ACCESS", adBinary, true},
        {"ACCESS", adLongVarChar, true},
        {"ACCESS", adLongVarWChar, true},
        {"ACCESS", adVarBinary, true},
        {"ACCESS", adLongVarBinary, true},
        {"ACCESS", adWChar, false},
        {"FOXPRO", adWChar, true},
        {"FOXPRO", adVarWChar, false},
    };
    FillSource(3);
    for (const auto& [kind, type, recordset] : cases) {
        TargetType = kind;
        source->columns[1].type = type;
        target->calls.clear();
        EXPECT_EQ(LoadRowsGeneric(0), kTrue);
        EXPECT_EQ(target->calls[recordset ? "Append" : "ExecutePrepared"], 3) << type;
        EXPECT_EQ(target->calls[recordset ? "ExecutePrepared" : "Append"], 0) << type;
    }
    // Some drivers give numbers for such a column; each goes as its own text.
    source->columns[1].type = adLongVarWChar;
    source->rows = {{Int(1), Int(12345)}, {Int(2), Int(7)}};
    target->taken.clear();
    LoadRowsGeneric(0);
    ASSERT_EQ(target->taken.size(), 2U);
    EXPECT_EQ(Shown(target->taken[1]), "2|bytes:7|");
}

TEST_F(RowLoaderTest, BooleansTakeTheTargetsForm) {
    const std::tuple<const char*, const char*, bool, const char*> cases[] = {
        {"ODBC", "ORACLE", false, "'T'|'F'|'F'|"},
        {"ODBC", "ORACLE", true, "'T'|'F'|'F'|"},
        {"ACCESS", "ACCESS", false, "-1|0|0|"},
        {"MSSQL", "ACCESS", false, "-1|0|0|"},
        {"ODBC", "ACCESS", false, "True|False|null|"},
        {"ACCESS", "ACCESS", true, "True|False|null|"},
        {"ACCESS", "MSSQL", false, "True|False|null|"},
    };
    AddColumn("flag", adBoolean, 2);
    AddColumn("other", adInteger, 4);
    for (const auto& [from, to, recordset, expected] : cases) {
        SourceType = from;
        TargetType = to;
        source->columns[1].type = recordset ? adLongVarBinary : adInteger;
        source->rows = {{Bool(true), Null()}, {Bool(false), Null()}, {Null(), Null()}};
        target->taken.clear();
        LoadRowsGeneric(0);
        std::string flags;
        for (auto& row : target->taken) {
            row.resize(1);
            flags += Shown(row);
        }
        EXPECT_EQ(flags, expected) << from << " to " << to << ' ' << recordset;
    }
}

TEST_F(RowLoaderTest, ProgressIsShownPerRowAndEventsComeInEveryTenLoadedRows) {
    for (const int type : {adVarWChar, adLongVarWChar}) {
        for (const int rows : {0, 1, 25}) {
            ClearTable();
            FillSource(rows, type);
            view = RecordingView();
            EXPECT_EQ(LoadRowsGeneric(0), kTrue);
            const auto number = std::to_string(rows);
            EXPECT_EQ(Log(), "\nAbout to Insert Rows from src to dst\n" + number + " Rows Loaded");
            EXPECT_EQ(view.events, rows / 10);
            EXPECT_EQ(view.counter, rows == 0 ? "" : number + " of " + number);
            EXPECT_EQ(view.counter_changes, rows);
            EXPECT_EQ(view.bar_max, rows > 1 ? rows : 100);
            EXPECT_EQ(view.bar_value, rows);
            EXPECT_EQ(view.caret, view.log.size());
        }
    }
}

TEST_F(RowLoaderTest, ARefusedRowIsToldWithItsNumberAndTheWalkGoesOnUntilTheFiftieth) {
    std::vector<int> first50(50);
    std::iota(first50.begin(), first50.end(), 1);
    const std::vector<int> first49(first50.begin(), first50.end() - 1);
    // The rows that the target refuses, and what comes of it.
    const struct {
        std::vector<int> bad;
        i16 result;
        std::size_t loaded;
    } cases[] = {
        {{1, 60}, kTrue, 58},
        {first49, kTrue, 11},
        {first50, kFalse, 0},
    };
    for (const auto& [type, operation] :
         {std::pair{adVarWChar, "ExecutePrepared"}, std::pair{adLongVarWChar, "Append"}}) {
        FillSource(60, type);
        for (const auto& c : cases) {
            view = RecordingView();
            target->taken.clear();
            target->calls.clear();
            target->FailAt(operation, c.bad, "refused");
            EXPECT_EQ(LoadRowsGeneric(0), c.result);
            EXPECT_EQ(target->taken.size(), c.loaded) << c.bad.size();
            EXPECT_EQ(LoggedErrors(), static_cast<int>(c.bad.size()));
            for (const int row : c.bad) {
                EXPECT_NE(view.log.find("\r\nError Loading Row:" + std::to_string(row) +
                                        "\r\nrefused\r\n"),
                          std::string::npos);
            }
            const std::string end =
                c.result == kTrue
                    ? "\r\n" + std::to_string(c.loaded) + " Rows Loaded"
                    : "\r\nAborting Loading Rows for Table :src As Errors Exceeded 50 Allowed";
            EXPECT_TRUE(view.log.ends_with(end)) << view.log;
            EXPECT_EQ(view.caret == view.log.size(), c.result == kTrue);
        }
        ClearTable();
    }
}

// Rows that were sent before the last error are flushed; those that can't be come off the count.
TEST_F(RowLoaderTest, ATableThatIsGivenUpIsSettledByBothLoaders) {
    struct Case {
        const char* kind;
        i16 (*load)(i16);
        int type;
        const char* operation;
    };
    const Case cases[] = {{"ACCESS", LoadRowsGeneric, adVarWChar, "ExecutePrepared"},
                          {"ACCESS", LoadRowsGeneric, adLongVarWChar, "Append"},
                          {"MySQL", LoadRowsMySQL, adLongVarWChar, "Append"}};
    for (const auto& c : cases) {
        for (const std::int64_t lost : {0, 3}) {
            ClearTable();
            StartRunReport();
            view = RecordingView();
            TargetType = c.kind;
            FillSource(60, c.type);
            target->calls.clear();
            target->before = [&](std::string_view name, int number) {
                DataError error(kErrUnspecified, name == "Settle" ? "lost at last" : "refused");
                error.SetLostRows(name == "Settle" ? lost : 0);
                if ((name == c.operation && number > 5) || (name == "Settle" && lost > 0)) {
                    throw DataError(error);
                }
            };
            EXPECT_EQ(c.load(0), kFalse);
            EXPECT_EQ(target->calls["Settle"], 1) << c.kind << c.operation;
            EXPECT_EQ(ReportOf(0).RowsLoaded, 5 - lost);
            EXPECT_EQ(ReportOf(0).Outcome, TableOutcome::GivenUp);
            EXPECT_EQ(Count(view.log, "lost at last"), lost > 0 ? 1 : 0) << view.log;
            if (lost == 0 || c.load != LoadRowsGeneric) {
                continue;
            }
            // The walk goes well, and only at its end it turns out that rows didn't last: log and
            // report say what the target has.
            StartRunReport();
            target->calls.clear();
            target->before = [lost](std::string_view name, int) {
                DataError error(kErrUnspecified, "lost at last");
                error.SetLostRows(lost);
                if (name == "Settle") {
                    throw DataError(error);
                }
            };
            EXPECT_EQ(LoadRowsGeneric(0), kTrue);
            EXPECT_TRUE(view.log.ends_with("\r\n57 Rows Loaded")) << view.log;
            EXPECT_EQ(ReportOf(0).RowsLoaded, 57);
            EXPECT_EQ(ReportOf(0).Outcome, TableOutcome::Loaded);
        }
    }
}

// A server may lock the table until its last row is read: rows that go back into it are all read
// first. A file engine lets its own reader and writer pass each other, and needs no memory for
// them.
TEST_F(RowLoaderTest, RowsThatAreAppendedToTheirOwnTableAreReadBeforeTheFirstIsWritten) {
    const std::tuple<const char*, const char*, int> cases[] = {
        {"MSSQL", "SRC", 7}, {"MSSQL", "dst", 2}, {"ACCESS", "src", 2}};
    SourceConnStr += ";Data Source=s;Database=d";
    TargetConnStr += ";Data Source=s;Database=d";
    FillSource(5);
    for (const auto& [kind, table, read_before] : cases) {
        SourceType = TargetType = kind;
        DstTables[0].Name = table;
        source->calls.clear();
        target->calls.clear();
        int reads = 0;  // the count's one, and the one that finds the end of the rows, among them
        target->before = [&](std::string_view operation, int number) {
            reads = operation == "ExecutePrepared" && number == 1 ? source->calls["Next"] : reads;
        };
        EXPECT_EQ(LoadRowsGeneric(0), kTrue);
        EXPECT_EQ(reads, read_before) << kind << ' ' << table;
        EXPECT_EQ(source->calls["Next"], 7);
    }
}

TEST_F(RowLoaderTest, AnUnreadableFieldCostsItsRowAloneAndNeverBecomesAnotherValue) {
    for (const int type : {adVarWChar, adLongVarWChar}) {
        FillSource(5, type);
        source->rows[2][0] = Unreadable();
        target->taken.clear();
        view = RecordingView();
        EXPECT_EQ(LoadRowsGeneric(0), kTrue);
        ASSERT_EQ(target->taken.size(), 4u);
        EXPECT_EQ(Shown(target->taken[2]).substr(0, 2), "4|");
        // The field is told with the number of the row before it; that its row isn't sent needs no
        // line.
        EXPECT_NE(view.log.find("Error Loading Row:2\r\nrow 3, field 0 can't be read"),
                  std::string::npos);
        EXPECT_EQ(LoggedErrors(), 1);
        EXPECT_TRUE(view.log.ends_with("\r\n4 Rows Loaded"));
        ClearTable();
    }
}

TEST_F(RowLoaderTest, WhatDiesGivesTheTableUpWithWhatArrivedBefore) {
    for (const int type : {adVarWChar, adLongVarWChar}) {
        const bool statement = type == adVarWChar;
        struct {
            ScriptedDriver& driver;
            const char* operation;
            int first;  // of the calls that fail
            std::size_t arrived;
            std::string told;
        } const cases[] = {
            {*source, "Connect", 1, 0, "dst\nError Loading Row:0\ngone\nError Loading Row:0\ngone"},
            {*source, "Next", 32, 30, "\nError Loading Row:30\ngone"},  // the step to row 31
            {*target, "Connect", 1, 0, "\ngone\n"},
            {*target, statement ? "Prepare" : "OpenAppender", 1, 0, "\ngone\n"},
            {*target,
             statement ? "ExecutePrepared" : "Append",
             11,
             10,
             "\nError Loading Row:60\ngone\nAborting"},
        };
        for (const auto& c : cases) {
            ClearTable();
            FillSource(80, type);
            source->before = target->before = nullptr;
            source->calls.clear();
            target->calls.clear();
            c.driver.FailFrom(c.operation, c.first, "gone");
            view = RecordingView();
            EXPECT_EQ(LoadRowsGeneric(0), kFalse) << c.operation;
            EXPECT_EQ(target->taken.size(), c.arrived) << c.operation;
            EXPECT_EQ(LoggedErrors(), 50) << c.operation;
            EXPECT_TRUE(LogHas(c.told)) << c.operation << Log();
        }
    }
}

}  // namespace
}  // namespace vantry::test
