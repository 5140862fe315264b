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

}  // namespace
}  // namespace vantry
