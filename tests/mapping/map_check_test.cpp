// How a map is made of the columns of both sides, and what is asked of it before it goes on.

#include "mapping/map_check.h"

#include "mapping/column_discovery.h"
#include "mapping/mapping_session.h"

#include <gtest/gtest.h>

#include <array>
#include <utility>

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

TEST_F(MapCheck, RowsOutOfTheLoadAndTablesMadeAnewAreNotJudged) {
    EXPECT_EQ(MapErrorsOfAllTables(),
              first_ + BadPair("a") + second_ + BadPair("b") + second_ + BadPair("c"));
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

TEST_F(MapCheck, TheFirstTargetColumnNamedTwiceInItsTableIsTold) {
    const std::pair<std::vector<ColMapRec>, std::string> cases[] = {
        {std::vector<ColMapRec>(), ""},
        {{Row(0, "a", "x"), Row(1, "b", "x")}, ""},
        {{Row(0, "a", "x"), Row(0, "b", "X")}, ""},
        {{Row(0, "a", "<Skip>"), Row(0, "b", "<Skip>")}, ""},
        {{Row(0, "a", "x"), Row(0, "<Skip>", "x")}, "x"},
        {{Row(0, "a", "y"), Row(0, "b", "x"), Row(0, "c", "x"), Row(0, "d", "y")}, "y"},
        {{Row(1, "a", "x"), Row(0, "b", "y"), Row(1, "c", "x"), Row(0, "d", "y")}, "x"},
    };
    for (const auto& [rows, expected] : cases) {
        EXPECT_EQ(FindDuplicateTarget(rows), expected) << rows.size();
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

class ColumnDiscovery : public testing::Test {
protected:
    // What a renamed target brings about.
    static void Rename(std::size_t index, const std::string& name) {
        std::vector<std::string> names;
        ASSERT_TRUE(NameTargetTable(index, name));
        const auto tab_id = static_cast<i16>(index);
        ReloadSourceColumns(tab_id);
        CheckTargetTable(tab_id, names);
        ReloadTargetColumns(tab_id);
        RebuildTableMap(tab_id);
        for (std::size_t row = 0; row < ColMaps.size(); ++row) {
            EXPECT_EQ(ColMaps[row].Pos, static_cast<i16>(row));
        }
    }
    static std::string StateOf(std::size_t index) {
        const auto& source = SrcTables[index];
        const auto& target = DstTables[index];
        EXPECT_EQ(source.TableExists, target.TableExists);
        EXPECT_EQ(source.LoadOption, target.LoadOption);
        EXPECT_EQ(source.FirstTimeLoadOpt, target.FirstTimeLoadOpt);
        return std::to_string(target.TableExists) + " " + target.LoadOption + " " +
               target.FirstTimeLoadOpt;
    }

    MappingSession session_;
};

TEST_F(ColumnDiscovery, TargetNamesFollowFromTheKinds) {
    // Source, target, the source's name, the folder of texts, the target's name.
    const std::array<const char*, 5> cases[] = {
        {"ACCESS", "MySQL", "Order Lines", "", "Order Lines"},
        {"TEXT", "ACCESS", "orders.csv", "", "orders"},
        {"TEXTPOLL", "ACCESS", "orders.old.csv", "", "orders"},
        {"TEXT", "TEXT", "orders.csv", "/out", "/out/orders.txt"},
        {"TEXT", "TEXT", "orders.csv", "/out/", "/out/orders.txt"},
        {"TEXTPOLL", "TEXT", "orders.csv", "/out", "/out/orders.csv.txt"},
        {"MySQL", "TEXT", "a.b", "/out/", "/out/a.b.txt"},
    };
    TextDestExt = ".txt";
    TextDestDelim = ";";
    TextDestHeader = kTrue;
    for (const auto& [source, target, name, folder, expected] : cases) {
        SourceType = source;
        TargetType = target;
        TextDestDir = folder;
        MappingSession::ChooseTables({"first", name});
        DstTables.clear();
        FillTargetTables();
        ASSERT_EQ(DstTables.size(), 2U);
        EXPECT_EQ(DstTables[1].Name, expected) << source << ' ' << target << ' ' << name;
        EXPECT_EQ(DstTables[1].TabID, 1);
        EXPECT_EQ(SrcTables[1].TabID, 1);
        const bool to_text = TargetType == "TEXT";
        EXPECT_EQ(DstTables[1].SFormat, to_text ? ";" : "");
        EXPECT_EQ(DstTables[1].SFirstColLine, to_text ? 1 : 0);
    }
}

TEST_F(ColumnDiscovery, ANewTargetTakesTheColumnsOfItsSource) {
    session_.InSource({"CREATE TABLE items (id LONG, name TEXT(40), price DOUBLE, note MEMO)"});
    MappingSession::ChooseTables({"items"});
    MappingSession::Map();
    EXPECT_EQ(StateOf(0), "0 APPEND CREATE");
    EXPECT_EQ(MappingSession::MapText(),
              "0 id>id 1\n0 name>name 1\n0 price>price 1\n0 note>note 1\n");
    const auto& name = ColMaps[1];
    EXPECT_EQ(name.SDtype + "/" + name.DDtype + "/" + name.SOrgDtype, "Text/Text/VarWchar");
    EXPECT_EQ(name.SWidth, 40);
    EXPECT_EQ(name.DWidth, 40);
    EXPECT_EQ(name.SCCount, 4);
    EXPECT_EQ(name.CPos, 1);
    EXPECT_EQ(ColMaps[3].SWidth, 0);
}

TEST_F(ColumnDiscovery, AnExistingTargetIsMatchedByPositionAndSkipsWhatIsLeft) {
    session_.InSource({"CREATE TABLE five (a LONG, b LONG, c LONG, d LONG, e LONG)",
                       "CREATE TABLE three (a LONG, b LONG, c LONG)"});
    session_.InTarget({"CREATE TABLE [Five] (x LONG, y LONG, z TEXT(5))",
                       "CREATE TABLE [THREE] (v LONG, w LONG, x LONG, y LONG, z LONG)"});
    MappingSession::ChooseTables({"five", "three"});
    const auto names = MappingSession::Map();
    EXPECT_NE(std::find(names.begin(), names.end(), "Five"), names.end());
    EXPECT_EQ(StateOf(0), "-1 APPEND ");
    EXPECT_EQ(StateOf(1), "-1 APPEND ");
    EXPECT_EQ(MappingSession::MapText(),
              "0 a>x 1\n0 b>y 1\n0 c>z 1\n0 d><Skip> 0\n0 e><Skip> 0\n"
              "1 a>v 1\n1 b>w 1\n1 c>x 1\n1 <Skip>>y 0\n1 <Skip>>z 0\n");
    EXPECT_EQ(std::to_string(ColMaps[4].DCCount) + ColMaps[4].DDtype, "0");
    EXPECT_EQ(std::to_string(ColMaps[9].SCCount) + ColMaps[9].SDtype, "0");
    EXPECT_EQ(ColMaps[9].TName, "three");
}

TEST_F(ColumnDiscovery, ATextTargetIsNeverLookedFor) {
    session_.InSource({"CREATE TABLE items (id LONG)"});
    MappingSession::ChooseTables({"items"});
    TargetType = "TEXT";
    TargetConnStr = "";
    TextDestDir = session_.Folder().Path().string();
    EXPECT_TRUE(MappingSession::Map().empty());
    EXPECT_EQ(StateOf(0), "0 APPEND ");
    EXPECT_EQ(ColMaps[0].DDtype, "Integer");
}

TEST_F(ColumnDiscovery, ATableThatCouldNotBeReadSpoilsNoOther) {
    session_.InSource({"CREATE TABLE a (p LONG, q LONG)", "CREATE TABLE b (r LONG, s LONG)"});
    MappingSession::ChooseTables({"a", "b"});
    MappingSession::Map();
    NameTargetTable(1, "gone");
    ReloadSourceColumns(1);
    DstTables[1].TableExists = kTrue;  // it was there a moment ago
    EXPECT_THROW(ReloadTargetColumns(1), DataError);
    RebuildTableMap(1);
    EXPECT_EQ(MappingSession::MapText(), "0 p>p 1\n0 q>q 1\n1 r> 1\n1 s><Skip> 0\n");
}

TEST_F(ColumnDiscovery, ASingleRowOfAnotherTableGivesUpItsPlace) {
    session_.InSource({"CREATE TABLE a (p LONG, q LONG)", "CREATE TABLE b (r LONG)"});
    for (const auto& tables : {std::vector<std::string>{"a"}, {"a", "b"}}) {
        MappingSession::ChooseTables(tables);
        MappingSession::Map();
        Rename(0, "other");
        EXPECT_EQ(MappingSession::MapText(), "0 p>p 1\n0 q>q 1\n");
        EXPECT_EQ(SrcCols.size(), DstCols.size());
    }
}

TEST_F(ColumnDiscovery, AnOracleTargetIsAskedForItsUsersTables) {
    session_.InSource({"CREATE TABLE a (id LONG)", "CREATE TABLE b (id LONG)"});
    session_.InTarget({"CREATE TABLE user_tables (table_name TEXT(30))",
                       "INSERT INTO user_tables (table_name) VALUES ('A')",
                       "INSERT INTO user_tables (table_name) VALUES (' B ')",
                       "INSERT INTO user_tables (table_name) VALUES (NULL)",
                       "CREATE TABLE A (x LONG)",
                       "CREATE TABLE B (y LONG)",
                       "CREATE TABLE c (z LONG)"});
    TargetType = "ORACLE";
    MappingSession::ChooseTables({"a", "b"});
    auto names = MappingSession::Map();
    EXPECT_EQ(names, (std::vector<std::string>{"A", " B "})) << "tables of others don't count";
    EXPECT_EQ(StateOf(1), "-1 APPEND ");
    SrcTables[0].LoadOption = DstTables[0].LoadOption = "DROP";
    NameTargetTable(1, "c");
    CheckTargetTable(1, names);
    EXPECT_EQ(StateOf(1), "0 APPEND CREATE");
    EXPECT_EQ(StateOf(0), "-1 APPEND ") << "looking for one table sets the others back";
    EXPECT_EQ(names.size(), 4U);
}

}  // namespace
}  // namespace vantry::test
