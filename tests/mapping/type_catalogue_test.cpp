#include "mapping/type_catalogue.h"

#include "mapping/map_edit.h"

#include <gtest/gtest.h>

#include <array>
#include <iterator>
#include <map>
#include <sstream>
#include <string>
#include <vector>

namespace vantry {
namespace {

std::vector<std::string> Words(const std::string& text) {
    std::istringstream in(text);
    return {std::istream_iterator<std::string>(in), {}};
}

// The names of the interface's codes, with less capitals in four of them: stored maps hold these.
const char kCodes[] =
    "0 Empty 2 SmallInt 3 Integer 4 Single 5 Double 6 Currency 7 Date 8 BSTR 9 IDispatch 10 Error "
    "11 Boolean 12 Variant 13 IUnknown 14 Decimal 16 TinyInt 17 UnsignedTinyInt "
    "18 UnsignedSmallInt 19 UnsignedInt 20 BigInt 21 UnsignedBigInt 64 FileTime 72 GUID 128 Binary "
    "129 Char 130 Wchar 131 Numeric 132 UserDefined 133 DBDate 134 DBTime 135 DBTimeStamp "
    "136 Chapter 138 PropVariant 139 VarNumeric 200 Varchar 201 LongVarChar 202 VarWchar "
    "203 LongVarWChar 204 VarBinary 205 LongVarBinary";

TEST(TypeCatalogueTest, EveryCodeHasItsNameAndAllOthersHaveNone) {
    std::map<i32, std::string> names;
    std::istringstream in(kCodes);
    for (i32 code = 0; in >> code;) {
        in >> names[code];
    }
    for (i32 code = -1; code <= 260; ++code) {
        EXPECT_EQ(AdoTypeName(code), names[code]) << code;
    }
}

// Access, FoxPro, Oracle, MySQL, SQL Server; "-": none.
std::string TypesOf(const std::string& name) {
    std::string types;
    for (const auto& type : {AccessTypeOf(name),
                             FoxProTypeOf(name),
                             OracleTypeOf(name),
                             MySQLTypeOf(name),
                             MSSQLTypeOf(name)}) {
        types += (types.empty() ? "" : " ") + (type.empty() ? "-" : type);
    }
    return types;
}

TEST(TypeCatalogueTest, TextsDatesAndBinariesGoByLengthAndForm) {
    for (const std::string name :
         {"Char", "Wchar", "Varchar", "VarWchar", "LongVarChar", "LongVarWChar"}) {
        const bool is_long = name.starts_with("Long");
        const std::string national = name.find('W') != std::string::npos ? "n" : "";
        const std::string form = is_long ? "text" : name.starts_with("Var") ? "varchar" : "char";
        EXPECT_EQ(TypesOf(name),
                  (is_long ? "Memo Memo CLOB LongText " : "Text Character Varchar2 Varchar ") +
                      national + form)
            << name;
    }
    for (const char* name : {"Date", "DBDate", "DBTime", "DBTimeStamp"}) {
        EXPECT_EQ(TypesOf(name), "DateTime DateTime Date DateTime datetime") << name;
    }
    EXPECT_EQ(TypesOf("Binary"), "Binary General BLOB BLOB binary");
    EXPECT_EQ(TypesOf("VarBinary"), "Binary General BLOB LongBLOB varbinary");
    EXPECT_EQ(TypesOf("LongVarBinary"), "Binary General BLOB LongBLOB image");
}

// Oracle has one type for them; the others are uneven, and tables that were made so must be made so
// again. A name without a type in a kind leaves the column without one, and CREATE fails on it.
TEST(TypeCatalogueTest, NumbersKeepTheirUnevenTypesAndOtherNamesHaveNone) {
    const std::pair<const char*, const char*> cases[] = {
        {"Boolean", "Boolean Logical Varchar2 TinyInt bit"},
        {"UnsignedTinyInt", "Byte Integer Number SmallInt tinyint"},
        {"TinyInt", "Single Integer Number TinyInt Bit"},
        {"SmallInt", "Integer Integer Number SmallInt smallint"},
        {"Integer", "Long Integer Number Integer int"},
        {"UnsignedInt", "Integer Integer Number Integer int"},
        {"Single", "Single Integer Number Integer real"},
        {"Double", "Double Double Number Double float"},
        {"Currency", "Currency Currency Number Double money"},
        {"Numeric", "Double Numeric Number Decimal decimal"},
        {"VarNumeric", "Double Double Number Decimal numeric"},
        {"GUID", "Long Double Number Double uniqueidentifier"},
        {"DBTime'", "- - - DateTime datetime"},
        {"BIT", "- - - TinyInt -"},
        {"", "- - - - -"},
    };
    for (const auto& [name, types] : cases) {
        EXPECT_EQ(TypesOf(name), types);
    }
    for (const auto& name :
         Words("integer Empty BSTR IDispatch Error Variant IUnknown Decimal UnsignedSmallInt "
               "BigInt UnsignedBigInt FileTime UserDefined Chapter PropVariant")) {
        EXPECT_EQ(TypesOf(name), "- - - - -") << name;
    }
}

TEST(TypeCatalogueTest, TheDirectionSaysWhoseKindTranslates) {
    // Source, target, direction, name, its translation.
    const std::array<const char*, 5> cases[] = {
        {"ACCESS", "MySQL", "SOURCE", "Single", "Single"},
        {"ACCESS", "MySQL", "DEST", "Single", "Integer"},
        {"MSSQL", "FOXPRO", "SOURCE", "VarWchar", "nvarchar"},
        {"MSSQL", "FOXPRO", "DEST", "VarWchar", "Character"},
        {"ORACLE", "ORACLE", "DEST", "Boolean", "Varchar2"},
        {"ODBC", "TEXT", "SOURCE", "Decimal", "Decimal"},
        {"ODBC", "TEXT", "DEST", "Varchar", "Varchar"},
        {"TEXTPOLL", "ACCESS", "SOURCE", "Varchar", "Varchar"},
        {"MYSQL", "mysql", "SOURCE", "Varchar2", "Varchar2"},
        {"MYSQL", "mysql", "DEST", "Single", "Single"},
        {"ACCESS", "ACCESS", "dest", "Integer", "Integer"},
    };
    for (const auto& [source, target, direction, name, expected] : cases) {
        SourceType = source;
        TargetType = target;
        EXPECT_EQ(TranslateType(name, direction), expected)
            << source << ' ' << target << ' ' << direction << ' ' << name;
    }
}

TEST(MapEditTest, SizesAndDecimalsBelongToSomeTypesOnly) {
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
