#include "mapping/type_catalogue.h"

#include <gtest/gtest.h>

#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace vantry {
namespace {

const char kCodes[] =
    "0 Empty 2 SmallInt 3 Integer 4 Single 5 Double 6 Currency 7 Date 8 BSTR 9 IDispatch 10 Error "
    "11 Boolean 12 Variant 13 IUnknown 14 Decimal 16 TinyInt 17 UnsignedTinyInt "
    "18 UnsignedSmallInt 19 UnsignedInt 20 BigInt 21 UnsignedBigInt 64 FileTime 72 GUID 128 Binary "
    "129 Char 130 Wchar 131 Numeric 132 UserDefined 133 DBDate 134 DBTime 135 DBTimeStamp "
    "136 Chapter 138 PropVariant 139 VarNumeric 200 Varchar 201 LongVarChar 202 VarWchar "
    "203 LongVarWChar 204 VarBinary 205 LongVarBinary";

std::map<i32, std::string> Names() {
    std::map<i32, std::string> names;
    std::istringstream in(kCodes);
    for (i32 code = 0; in >> code;) {
        in >> names[code];
    }
    return names;
}

TEST(TypeCatalogueTest, EveryCodeHasItsNameAndAllOthersHaveNone) {
    auto names = Names();
    ASSERT_EQ(names.size(), 39U);
    for (i32 code = -1; code <= 260; ++code) {
        EXPECT_EQ(AdoTypeName(code), names[code]) << code;
    }
}

// Neutral name, then Access, FoxPro, Oracle, MySQL, SQL Server.
const std::vector<std::vector<std::string>> kTranslations = {
    {"Binary", "Binary", "General", "BLOB", "BLOB", "binary"},
    {"Boolean", "Boolean", "Logical", "Varchar2", "TinyInt", "bit"},
    {"Char", "Text", "Character", "Varchar2", "Varchar", "char"},
    {"Currency", "Currency", "Currency", "Number", "Double", "money"},
    {"Date", "DateTime", "DateTime", "Date", "DateTime", "datetime"},
    {"DBDate", "DateTime", "DateTime", "Date", "DateTime", "datetime"},
    {"DBTime", "DateTime", "DateTime", "Date", "DateTime", "datetime"},
    {"DBTimeStamp", "DateTime", "DateTime", "Date", "DateTime", "datetime"},
    {"Double", "Double", "Double", "Number", "Double", "float"},
    {"GUID", "Long", "Double", "Number", "Double", "uniqueidentifier"},
    {"Integer", "Long", "Integer", "Number", "Integer", "int"},
    {"LongVarBinary", "Binary", "General", "BLOB", "LongBLOB", "image"},
    {"LongVarChar", "Memo", "Memo", "CLOB", "LongText", "text"},
    {"LongVarWChar", "Memo", "Memo", "CLOB", "LongText", "ntext"},
    {"Numeric", "Double", "Numeric", "Number", "Decimal", "decimal"},
    {"Single", "Single", "Integer", "Number", "Integer", "real"},
    {"SmallInt", "Integer", "Integer", "Number", "SmallInt", "smallint"},
    {"TinyInt", "Single", "Integer", "Number", "TinyInt", "Bit"},
    {"UnsignedInt", "Integer", "Integer", "Number", "Integer", "int"},
    {"UnsignedTinyInt", "Byte", "Integer", "Number", "SmallInt", "tinyint"},
    {"VarBinary", "Binary", "General", "BLOB", "LongBLOB", "varbinary"},
    {"Varchar", "Text", "Character", "Varchar2", "Varchar", "varchar"},
    {"VarNumeric", "Double", "Double", "Number", "Decimal", "numeric"},
    {"VarWchar", "Text", "Character", "Varchar2", "Varchar", "nvarchar"},
    {"Wchar", "Text", "Character", "Varchar2", "Varchar", "nchar"},
    {"DBTime'", "", "", "", "DateTime", "datetime"},
    {"BIT", "", "", "", "TinyInt", ""},
    {"", "", "", "", "", ""},
    {"integer", "", "", "", "", ""},
};

void ExpectTranslations(const std::vector<std::string>& row) {
    EXPECT_EQ(AccessTypeOf(row[0]), row[1]) << row[0];
    EXPECT_EQ(FoxProTypeOf(row[0]), row[2]) << row[0];
    EXPECT_EQ(OracleTypeOf(row[0]), row[3]) << row[0];
    EXPECT_EQ(MySQLTypeOf(row[0]), row[4]) << row[0];
    EXPECT_EQ(MSSQLTypeOf(row[0]), row[5]) << row[0];
}

TEST(TypeCatalogueTest, EachKindTranslatesTheNamesItHasAndNoOthers) {
    std::set<std::string> translated;
    for (const auto& row : kTranslations) {
        ExpectTranslations(row);
        translated.insert(row[0]);
    }
    for (const auto& [code, name] : Names()) {
        if (!translated.contains(name)) {
            ExpectTranslations({name, "", "", "", "", ""});
        }
    }
}

TEST(TypeCatalogueTest, TheDirectionSaysWhoseKindTranslates) {
    struct {
        const char* source;
        const char* target;
        const char* direction;
        const char* name;
        const char* expected;
    } const cases[] = {
        {"ACCESS", "MySQL", "SOURCE", "Single", "Single"},
        {"ACCESS", "MySQL", "DEST", "Single", "Integer"},
        {"MSSQL", "FOXPRO", "SOURCE", "VarWchar", "nvarchar"},
        {"MSSQL", "FOXPRO", "DEST", "VarWchar", "Character"},
        {"ORACLE", "ORACLE", "DEST", "Boolean", "Varchar2"},
        {"ACCESS", "MySQL", "DEST", "Decimal", ""},
        {"ODBC", "TEXT", "SOURCE", "Decimal", "Decimal"},
        {"ODBC", "TEXT", "DEST", "Varchar", "Varchar"},
        {"TEXTPOLL", "ACCESS", "SOURCE", "Varchar", "Varchar"},
        {"MYSQL", "mysql", "SOURCE", "Varchar2", "Varchar2"},
        {"MYSQL", "mysql", "DEST", "Single", "Single"},
        {"ACCESS", "ACCESS", "dest", "Integer", "Integer"},
    };
    for (const auto& c : cases) {
        SourceType = c.source;
        TargetType = c.target;
        EXPECT_EQ(TranslateType(c.name, c.direction), c.expected)
            << c.source << ' ' << c.target << ' ' << c.direction << ' ' << c.name;
    }
}

}  // namespace
}  // namespace vantry
