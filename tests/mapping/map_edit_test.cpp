#include "mapping/map_edit.h"

#include "mapping/mapping_session.h"

#include <gtest/gtest.h>

namespace vantry::test {
namespace {

class MapEdit : public testing::Test {
protected:
    MapEdit() {
        MappingSession::InSource({"CREATE TABLE items (id LONG, name TEXT(40), note MEMO)"});
        MappingSession::ChooseTables({"items"});
        TargetType = "MySQL";
        FillTargetTables();
        LoadSourceColumns();
        LoadTargetColumns();
        BuildColMaps();
    }
    static std::string Source(const ColMapRec& row) {
        return row.SCName + " " + row.SDtype + " " + std::to_string(row.SWidth) + " " +
               row.SOrgDtype + " " + std::to_string(row.SSelected);
    }
    static std::string Target(const ColMapRec& row) {
        return row.DCName + " " + row.DDtype + " " + std::to_string(row.DWidth) + " " +
               row.SOrgDtype + " " + std::to_string(row.SSelected);
    }

    MappingSession session_;
};

TEST_F(MapEdit, AnotherColumnBringsItsTypeInTheTermsOfItsSide) {
    auto& row = ColMaps[0];
    PutSourceColumn(row, 1);
    EXPECT_EQ(Source(row), "name Text 40 Integer 1");
    PutTargetColumn(row, 2);
    EXPECT_EQ(Target(row), "note LongText 0 Integer 1");
    PutTargetColumn(row, 1);
    EXPECT_EQ(Target(row), "name Varchar 40 Integer 1");
}

TEST_F(MapEdit, SkippingEmptiesTheTargetAtOnceAndTheSourceWhenItsCellIsLeft) {
    auto& row = ColMaps[1];
    PickSourceSkip(row);
    EXPECT_EQ(Source(row), "<Skip> Text 40 VarWchar 1");
    LeaveSourceSkip(row);
    EXPECT_EQ(Source(row), "<Skip>  0 VarWchar 1");
    PutTargetSkip(row);
    EXPECT_EQ(Target(row), "<Skip>  0 VarWchar 1");
}

TEST_F(MapEdit, SizesAndDecimalsBelongToSomeTypesOnly) {
    const std::string kinds[] = {"FOXPRO", "ACCESS", "ORACLE", " mysql ", "MSSQL", "TEXT"};
    std::string sized;
    std::string decimals;
    std::size_t count = 0;
    for (const auto& kind : kinds) {
        for (const auto type : TargetTypeChoices(kind)) {
            ++count;
            sized += HasTargetSize(std::string(type)) ? std::string(type) + " " : "";
            decimals += HasTargetDecimals(std::string(type)) ? std::string(type) + " " : "";
        }
    }
    EXPECT_EQ(count, 12U + 11U + 9U + 13U + 23U + 3U);
    EXPECT_EQ(sized,
              "Numeric Character Text Char Varchar2 Number Varchar Char Numeric Text Varchar "
              "Char ");
    EXPECT_EQ(decimals, "Numeric Double Double Double Numeric ");
    EXPECT_TRUE(HasTargetSize(" varchar2 "));
    EXPECT_TRUE(TargetTypeChoices("ODBC").empty());
}

TEST_F(MapEdit, NumbersOfSizesAreReadWholeOrNotAtAll) {
    struct {
        const char* text;
        std::optional<i32> size;
        std::optional<i16> decimals;
    } const cases[] = {
        {"12", 12, i16{12}},
        {" 12 ", 12, i16{12}},
        {"2.5", 2, i16{2}},
        {"3.5", 4, i16{4}},
        {"-1", -1, i16{-1}},
        {"40000", 40000, std::nullopt},
        {"3000000000", std::nullopt, std::nullopt},
        {"", std::nullopt, std::nullopt},
        {"abc", std::nullopt, std::nullopt},
        {"1 2", std::nullopt, std::nullopt},
        {"nan", std::nullopt, std::nullopt},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(SizeOf(c.text), c.size) << c.text;
        EXPECT_EQ(DecimalsOf(c.text), c.decimals) << c.text;
    }
    EXPECT_TRUE(AreDecimalsBelowSize("4.9", 5));
    EXPECT_FALSE(AreDecimalsBelowSize("5", 5));
    EXPECT_FALSE(AreDecimalsBelowSize("x", 5));
}

}  // namespace
}  // namespace vantry::test
