// Two tables and a search. Every uneven cell of the second is in the tables that sessions have made
// so far: a Single becomes an Integer in FoxPro and MySQL, a GUID a number. Evened out, a table
// that is dropped and made anew would get other types than the one before, and programs that read
// it break.

#include "mapping/type_catalogue.h"

#include "core/kinds.h"

#include <algorithm>
#include <iterator>
#include <string_view>

namespace vantry {
namespace {

struct CodeName {
    i32 code;
    std::string_view name;
};

constexpr CodeName kCodeNames[] = {
    {0, "Empty"},
    {2, "SmallInt"},
    {3, "Integer"},
    {4, "Single"},
    {5, "Double"},
    {6, "Currency"},
    {7, "Date"},
    {8, "BSTR"},
    {9, "IDispatch"},
    {10, "Error"},
    {11, "Boolean"},
    {12, "Variant"},
    {13, "IUnknown"},
    {14, "Decimal"},
    {16, "TinyInt"},
    {17, "UnsignedTinyInt"},
    {18, "UnsignedSmallInt"},
    {19, "UnsignedInt"},
    {20, "BigInt"},
    {21, "UnsignedBigInt"},
    {64, "FileTime"},
    {72, "GUID"},
    {128, "Binary"},
    {129, "Char"},
    // Spelt unlike its neighbours: stored maps have the name, and all comparisons are exact.
    {130, "Wchar"},
    {131, "Numeric"},
    {132, "UserDefined"},
    {133, "DBDate"},
    {134, "DBTime"},
    {135, "DBTimeStamp"},
    {136, "Chapter"},
    {138, "PropVariant"},
    {139, "VarNumeric"},
    {200, "Varchar"},
    {201, "LongVarChar"},
    {202, "VarWchar"},
    {203, "LongVarWChar"},
    {204, "VarBinary"},
    {205, "LongVarBinary"},
};

struct Translation {
    std::string_view neutral;
    std::string_view access;
    std::string_view foxpro;
    std::string_view oracle;
    std::string_view mysql;
    std::string_view mssql;
};

// clang-format off
// An empty cell is an answer, too: the column's type text stays empty, and CREATE fails on it.
constexpr Translation kTranslations[] = {
    {"Binary",          "Binary",   "General",   "BLOB",     "BLOB",     "binary"},
    {"Boolean",         "Boolean",  "Logical",   "Varchar2", "TinyInt",  "bit"},
    {"Char",            "Text",     "Character", "Varchar2", "Varchar",  "char"},
    {"Currency",        "Currency", "Currency",  "Number",   "Double",   "money"},
    {"Date",            "DateTime", "DateTime",  "Date",     "DateTime", "datetime"},
    {"DBDate",          "DateTime", "DateTime",  "Date",     "DateTime", "datetime"},
    {"DBTime",          "DateTime", "DateTime",  "Date",     "DateTime", "datetime"},
    {"DBTimeStamp",     "DateTime", "DateTime",  "Date",     "DateTime", "datetime"},
    {"Double",          "Double",   "Double",    "Number",   "Double",   "float"},
    {"GUID",            "Long",     "Double",    "Number",   "Double",   "uniqueidentifier"},
    {"Integer",         "Long",     "Integer",   "Number",   "Integer",  "int"},
    {"LongVarBinary",   "Binary",   "General",   "BLOB",     "LongBLOB", "image"},
    {"LongVarChar",     "Memo",     "Memo",      "CLOB",     "LongText", "text"},
    {"LongVarWChar",    "Memo",     "Memo",      "CLOB",     "LongText", "ntext"},
    {"Numeric",         "Double",   "Numeric",   "Number",   "Decimal",  "decimal"},
    {"Single",          "Single",   "Integer",   "Number",   "Integer",  "real"},
    {"SmallInt",        "Integer",  "Integer",   "Number",   "SmallInt", "smallint"},
    {"TinyInt",         "Single",   "Integer",   "Number",   "TinyInt",  "Bit"},
    {"UnsignedInt",     "Integer",  "Integer",   "Number",   "Integer",  "int"},
    {"UnsignedTinyInt", "Byte",     "Integer",   "Number",   "SmallInt", "tinyint"},
    {"VarBinary",       "Binary",   "General",   "BLOB",     "LongBLOB", "varbinary"},
    {"Varchar",         "Text",     "Character", "Varchar2", "Varchar",  "varchar"},
    {"VarNumeric",      "Double",   "Double",    "Number",   "Decimal",  "numeric"},
    {"VarWchar",        "Text",     "Character", "Varchar2", "Varchar",  "nvarchar"},
    {"Wchar",           "Text",     "Character", "Varchar2", "Varchar",  "nchar"},
    // Spellings that no type code gives; names typed by hand or kept by old sessions still translate.
    {"DBTime'",         "",         "",          "",         "DateTime", "datetime"},
    {"BIT",             "",         "",          "",         "TinyInt",  ""},
};
// clang-format on

std::string Translate(const std::string& name, std::string_view Translation::*column) {
    const auto* const row = std::find_if(std::begin(kTranslations),
                                         std::end(kTranslations),
                                         [&](const Translation& t) { return t.neutral == name; });
    return row == std::end(kTranslations) ? std::string() : std::string(row->*column);
}

}  // namespace

std::string AdoTypeName(i32 code) {
    const auto* const row = std::find_if(std::begin(kCodeNames),
                                         std::end(kCodeNames),
                                         [&](const CodeName& c) { return c.code == code; });
    return row == std::end(kCodeNames) ? std::string() : std::string(row->name);
}

i32 AdoTypeCode(const std::string& name) {
    const auto* const row = std::find_if(std::begin(kCodeNames),
                                         std::end(kCodeNames),
                                         [&](const CodeName& c) { return c.name == name; });
    return row == std::end(kCodeNames) ? 0 : row->code;
}

std::string AccessTypeOf(const std::string& name) {
    return Translate(name, &Translation::access);
}

std::string FoxProTypeOf(const std::string& name) {
    return Translate(name, &Translation::foxpro);
}

std::string OracleTypeOf(const std::string& name) {
    return Translate(name, &Translation::oracle);
}

std::string MySQLTypeOf(const std::string& name) {
    return Translate(name, &Translation::mysql);
}

std::string MSSQLTypeOf(const std::string& name) {
    return Translate(name, &Translation::mssql);
}

std::string TranslateType(const std::string& name, const std::string& direction) {
    const std::string none;
    const std::string& kind = direction == "SOURCE" ? SourceType
                              : direction == "DEST" ? TargetType
                                                    : none;
    // By the kind as it is now: a page may have made an ODBC source a more exact one.
    switch (KindOf(kind).types) {
        case TypeNames::Access:
            return AccessTypeOf(name);
        case TypeNames::FoxPro:
            return FoxProTypeOf(name);
        case TypeNames::Oracle:
            return OracleTypeOf(name);
        case TypeNames::MySQL:
            return MySQLTypeOf(name);
        case TypeNames::MSSQL:
            return MSSQLTypeOf(name);
        case TypeNames::Neutral:
            break;
    }
    return name;
}

}  // namespace vantry
