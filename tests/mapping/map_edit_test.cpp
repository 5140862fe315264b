#include "mapping/map_edit.h"

#include <gtest/gtest.h>

namespace vantry {
namespace {

TEST(MapEdit, SizesAndDecimalsBelongToSomeTypesOnly) {
    std::string sized;
    std::string decimals;
    std::size_t count = 0;
    for (const char* kind : {"FOXPRO", "ACCESS", "ORACLE", " mysql ", "MSSQL", "TEXT"}) {
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

TEST(MapEdit, NumbersOfSizesAreReadWholeOrNotAtAll) {
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
        {"nan", std::nullopt, std::nullopt},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(SizeOf(c.text), c.size) << c.text;
        EXPECT_EQ(DecimalsOf(c.text), c.decimals) << c.text;
    }
    EXPECT_EQ(AreDecimalsBelowSize("4.9", 5), true);
    EXPECT_EQ(AreDecimalsBelowSize("5", 5), false);
    EXPECT_EQ(AreDecimalsBelowSize("40000", 5), false);
    EXPECT_EQ(AreDecimalsBelowSize("x", 5), std::nullopt);
}

}  // namespace
}  // namespace vantry
