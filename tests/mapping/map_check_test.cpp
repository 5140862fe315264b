#include "mapping/map_check.h"

#include "mapping/mapping_session.h"

#include <gtest/gtest.h>

namespace vantry::test {
namespace {

ColMapRec Row(double tab_id,
              const std::string& source,
              const std::string& target,
              const std::string& source_type = "",
              const std::string& target_type = "") {
    ColMapRec row;
    row.TabID = tab_id;
    row.TName = "t";
    row.SCName = source;
    row.DCName = target;
    row.SDtype = source_type;
    row.DDtype = target_type;
    row.SSelected = 1;
    return row;
}

std::string BadPair(const std::string& name) {
    return "\r\nInvalid Datatype Mapping.\r\nSrc Col Name :" + name + "\r\nDest Col Name:" + name +
           "\r\nSource Datatype:Memo\r\nDest. Datatype:BLOB\r\n";
}

class MapCheck : public testing::Test {
protected:
    MapCheck() {
        TargetType = "MySQL";
        MappingSession::ChooseTables({"first", "second"});
        SrcTables[1].TabID = 1;
        for (auto& table : SrcTables) {
            table.LoadOption = "APPEND";
        }
        ColMaps = {Row(1, "b", "b", "Memo", "BLOB"),
                   Row(1, "c", "c", "Memo", "BLOB"),
                   Row(0, "a", "a", "Memo", "BLOB"),
                   Row(0, "fine", "fine", "Memo", "Text")};
    }

    const std::string first_ = "TABLE NAME :first\r\n";
    const std::string second_ = "TABLE NAME :second\r\n";
    MappingSession session_;
};

TEST_F(MapCheck, ErrorsStandInTheOrderOfTheTablesEachUnderItsTable) {
    EXPECT_EQ(MapErrorsOfAllTables(),
              first_ + BadPair("a") + second_ + BadPair("b") + second_ + BadPair("c"));
    EXPECT_EQ(MapErrorsOfRows(0, 2), BadPair("b") + BadPair("c"));
    EXPECT_EQ(MapErrorsOfRows(3, 4), "");
}

TEST_F(MapCheck, RowsOutOfTheLoadAndTablesMadeAnewAreNotJudged) {
    ColMaps[0].SSelected = 0;
    ColMaps[1].SSelected = 2;
    EXPECT_EQ(MapErrorsOfAllTables(), first_ + BadPair("a"));
    EXPECT_EQ(MapErrorsOfRows(0, 3), BadPair("a"));
    SrcTables[0].LoadOption = "DROP";
    EXPECT_EQ(MapErrorsOfAllTables(), "");
    SrcTables[0].FirstTimeLoadOpt = "CREATE";
    EXPECT_EQ(MapErrorsOfAllTables(), first_ + BadPair("a"));
    SrcTables[0].FirstTimeLoadOpt = "";
    SrcTables[0].LoadOption = "DELETE";
    EXPECT_EQ(MapErrorsOfAllTables(), first_ + BadPair("a"));
}

TEST_F(MapCheck, RowsThatLackASideLeaveTheLoadAndNoneComesBack) {
    ColMaps = {Row(0, "a", "a"), Row(0, "<Skip>", "b"), Row(1, "c", "<Skip>"), Row(1, "d", "d")};
    ColMaps[3].SSelected = 0;
    UnselectSkippedRows();
    std::string selected;
    for (const auto& row : ColMaps) {
        selected += std::to_string(row.SSelected);
    }
    EXPECT_EQ(selected, "1000");
}

TEST_F(MapCheck, TheFirstTargetColumnNamedTwiceInItsTableIsTold) {
    struct {
        std::vector<ColMapRec> rows;
        std::string expected;
    } const cases[] = {
        {{}, ""},
        {{Row(0, "a", "x"), Row(1, "b", "x")}, ""},
        {{Row(0, "a", "x"), Row(0, "b", "X")}, ""},
        {{Row(0, "a", "<Skip>"), Row(0, "b", "<Skip>")}, ""},
        {{Row(0, "a", "x"), Row(0, "<Skip>", "x")}, "x"},
        {{Row(0, "a", "y"), Row(0, "b", "x"), Row(0, "c", "x"), Row(0, "d", "y")}, "y"},
        {{Row(1, "a", "x"), Row(0, "b", "y"), Row(1, "c", "x"), Row(0, "d", "y")}, "x"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(FindDuplicateTarget(c.rows), c.expected) << c.rows.size();
    }
}

TEST_F(MapCheck, AFilterIsStoredOnBothSidesOnlyWhenTheSourceTakesIt) {
    MappingSession::InSource({"CREATE TABLE second (id LONG, name TEXT(20))",
                              "INSERT INTO second (id, name) VALUES (1, 'x')"});
    DstTables.resize(2);
    StoreWhereCondition(1, "id > 5 and name='x'");
    EXPECT_EQ(SrcTables[1].WhereCond, "id > 5 and name='x'");
    EXPECT_EQ(DstTables[1].WhereCond, "id > 5 and name='x'");
    for (const char* bad : {"nocolumn = 1", "id >", "where id = 1"}) {
        EXPECT_THROW(StoreWhereCondition(1, bad), DataError) << bad;
        EXPECT_EQ(SrcTables[1].WhereCond, "id > 5 and name='x'");
    }
    TableRec table;
    table.Name = "emp";
    table.Owner = "own";
    for (const auto& [kind, name] : {std::pair("ODBC", "[emp]"), {"ORACLE", "emp"}}) {
        SourceType = kind;
        EXPECT_EQ(WhereTestQuery(table, "a>1"),
                  std::string("select * from ") + name + " Where a>1");
    }
    SourceType = "ACCESS";
    StoreWhereCondition(1, "");
    EXPECT_EQ(SrcTables[1].WhereCond, "");
    EXPECT_EQ(DstTables[1].WhereCond, "id > 5 and name='x'");
    EXPECT_EQ(SrcTables[0].WhereCond, "");
}

}  // namespace
}  // namespace vantry::test
