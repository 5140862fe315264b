#include "engine/source_statements.h"

#include "data/letter_case.h"

namespace vantry {
namespace {

std::string ColumnPiece(const std::string& name, const ReadingStyle& style) {
    if (SourceType == "ORACLE") {
        return QuoteChar + name + QuoteChar + ",";
    }
    if (SourceType == "FOXPRO" || (SourceType == "ODBC" && !style.odbc_columns_bracketed)) {
        return name + ",";
    }
    if (SourceType == "MySQL") {
        return "`" + name + "`,";
    }
    return "[" + name + "],";
}

std::string FromPiece(const TableRec& source, const ReadingStyle& style) {
    const std::string& table = source.Name;
    if (SourceType == "ORACLE") {
        const bool with_owner = style.oracle_owner_always || HasText(source.Owner);
        return " FROM " + (with_owner ? source.Owner + "." + table : table);
    }
    if (SourceType == "MySQL") {
        return " FROM " + (style.mysql_owner ? source.Owner + "." : std::string()) + "`" + table +
               "`";
    }
    if (SourceType == "FOXPRO" && FoxSrcMode == "DIR") {
        return " FROM " + QuoteChar + FoxSrcPrefix + table + QuoteChar;
    }
    if (SourceType == "MSSQL" && HasText(source.*style.mssql_owner_sign)) {
        return " FROM [" + source.Owner + "].[" + table + "]";
    }
    if (SourceType == "ODBC") {
        return " FROM " + table;
    }
    return " FROM [" + table + "]";
}

}  // namespace

MappedColumns MappedColumnsOf(i16 tab_id) {
    MappedColumns columns;
    for (const auto& row : ColMaps) {
        if (row.TabID == tab_id && row.SSelected == 1) {
            columns.push_back(&row);
        }
    }
    return columns;
}

SourceStatements ReadingStatements(const TableRec& source,
                                   const MappedColumns& columns,
                                   const ReadingStyle& style) {
    SourceStatements statements{"SELECT ", std::string(style.count_head)};
    for (const auto* column : columns) {
        statements.select += ColumnPiece(column->SCName, style);
    }
    CutLast(statements.select);
    std::string rows = FromPiece(source, style);
    if (!source.WhereCond.empty()) {
        rows += " WHERE " + source.WhereCond;
    }
    statements.select += rows;
    statements.count += rows;
    return statements;
}

bool HasText(const std::string& text) {
    return !Trimmed(text).empty();
}

void CutLast(std::string& text) {
    if (!text.empty()) {
        text.pop_back();
    }
}

}  // namespace vantry
