#include "../mapping/mapping_session.h"
#include "check/check_text.h"
#include "check/data_check.h"
#include "mapping/map_match.h"

#include <gtest/gtest.h>

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

TEST(MatchColumns, ByNameByPositionAndSkip) {
    test::MappingSession session;
    session.InSource({"CREATE TABLE t (first_name TEXT(9), Town TEXT(9), extra LONG)"});
    session.InTarget({"CREATE TABLE t (town TEXT(9), [First Name] TEXT(9), other LONG)"});
    session.ChooseTables({"t"});
    session.Map();
    const auto pairs = [] {
        std::string text;
        for (const auto& row : ColMaps) {
            text += row.SCName + ">" + row.DCName + (row.SSelected == 1 ? "+ " : "- ");
        }
        return text;
    };
    EXPECT_FALSE(NamesMatchInAnotherOrder(0));
    const std::string by_position = pairs();
    MatchColumns(0, MatchBy::Name);
    EXPECT_EQ(
        pairs(),
        "Town>town+ first_name>First Name+ " + SkipLabel + ">other- extra>" + SkipLabel + "- ");
    MatchColumns(0, MatchBy::Position);
    EXPECT_EQ(pairs(), by_position);
    MatchColumns(0, MatchBy::Skip);
    EXPECT_EQ(pairs(),
              SkipLabel + ">town- " + SkipLabel + ">First Name- " + SkipLabel + ">other- ");
}

}  // namespace
}  // namespace vantry
