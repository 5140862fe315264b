#include "engine/target_creation.h"

#include "data/letter_case.h"
#include "engine/run_log.h"
#include "engine/source_statements.h"
#include "mapping/type_catalogue.h"

#include <initializer_list>
#include <string_view>

namespace vantry {
namespace {

bool IsOneOf(std::string_view word, std::initializer_list<std::string_view> words) {
    return std::find(words.begin(), words.end(), word) != words.end();
}

std::string CleanUpper(const std::string& text) {
    return UpperCased(Trimmed(text));
}

bool IsNew(std::size_t table) {
    return SrcTables.at(table).TableExists == kFalse;
}

std::string Head(std::size_t table) {
    const std::string& name = DstTables.at(table).Name;
    // Which name is searched for a blank differs on purpose: a new table is decided by the
    // source's.
    const std::string& judged = IsNew(table) ? SrcTables.at(table).Name : name;
    const bool blank = judged.find(' ') != std::string::npos;
    if (TargetType == "FOXPRO" && FoxDestMode == "DIR") {
        const std::string file = FoxDestPrefix + name + ".dbf";
        return blank ? "Create Table [" + file + "] (" : "Create Table " + file + " (";
    }
    if (TargetType == "FOXPRO" && FoxDestMode == "DBC" && blank) {
        return "Create Table [" + name + "] (";
    }
    if (TargetType == "ACCESS" || TargetType == "MSSQL") {
        return "Create Table [" + name + "] (";
    }
    if (TargetType == "MySQL") {
        return "Create Table `" + name + "` (";
    }
    return "Create Table " + name + "(";
}

// A column as the statement states it.
struct Column {
    const std::string& name;
    std::string type;
    std::string upper_type;
    std::string size;
};

std::string AccessPiece(const Column& column, const char* binary_type) {
    const std::string name = " [" + column.name + "] ";
    if (column.upper_type == "BINARY") {
        return name + " " + binary_type + ",";
    }
    if (column.upper_type == "BOOLEAN") {
        return name + " yesno,";
    }
    return name + column.type + column.size + ",";
}

// The dialects that both modes write alike.
std::string PlainPiece(const Column& column) {
    const std::string typed = " " + column.type + column.size + ",";
    if (TargetType == "MySQL") {
        return "`" + column.name + "`" + typed;
    }
    if (TargetType == "MSSQL") {
        return "[" + column.name + "]" + typed;
    }
    return column.name + typed;
}

std::string OracleSize(const ColMapRec& row,
                       const std::string& type,
                       const std::string& width,
                       const std::string& width_and_scale,
                       bool is_new) {
    if (SourceType == "ORACLE" && CleanUpper(row.SOrgDtype) == "VARNUMERIC") {
        return {};
    }
    if (IsOneOf(type, {"CHAR", "VARCHAR2"}) || (is_new && type == "VARCHAR")) {
        return width;
    }
    const bool sized_number = type == "NUMBER" && !IsOneOf(CleanUpper(row.SDtype),
                                                           {"LONG",
                                                            "DOUBLE",
                                                            "INTEGER",
                                                            "SINGLE",
                                                            "CURRENCY",
                                                            "INT",
                                                            "MONEY",
                                                            "SMALLINT",
                                                            "TINYINT",
                                                            "REAL",
                                                            "FLOAT",
                                                            "DECIMAL"});
    return sized_number ? width_and_scale : std::string();
}

std::string SizeSuffix(const ColMapRec& row, bool is_new) {
    const i32 width_number = is_new ? row.DWidth : row.SWidth;
    const i16 scale_number = is_new ? row.DScale : row.SScale;
    const std::string type = CleanUpper(is_new ? row.DDtype : TranslateType(row.SOrgDtype, "DEST"));
    const std::string width = "(" + std::to_string(width_number) + ")";
    const std::string width_and_scale =
        "(" + std::to_string(width_number) + "," + std::to_string(scale_number) + ")";

    if (TargetType == "ACCESS") {
        return type == "TEXT" && width_number <= 255 ? width : std::string();
    }
    if (TargetType == "FOXPRO") {
        return type == "NUMERIC" ? width_and_scale : type == "CHARACTER" ? width : std::string();
    }
    if (TargetType == "ORACLE") {
        return OracleSize(row, type, width, width_and_scale, is_new);
    }
    if (TargetType == "MSSQL") {
        return IsOneOf(type, {"CHAR", "VARCHAR", "VARBINARY", "NCHAR", "NVARCHAR", "BINARY"})
                   ? width
                   : std::string();
    }
    if (TargetType == "MySQL") {
        if (IsOneOf(type, {"INTEGER", "INT"})) {
            return row.DWidth < 0 ? std::string() : "(" + std::to_string(row.DWidth) + ")";
        }
        return IsOneOf(type, {"CHAR", "VARCHAR", "TEXT"}) ? width : std::string();
    }
    return {};
}

std::string NewPiece(const ColMapRec& row) {
    const Column column{row.DCName, row.DDtype, UpperCased(row.DDtype), SizeSuffix(row, true)};
    if (TargetType == "ACCESS") {
        return AccessPiece(column, "OLEOBJECT");
    }
    if (TargetType == "FOXPRO" && column.upper_type == "CURRENCY") {
        return column.name + " Y,";
    }
    if (TargetType == "FOXPRO" && column.upper_type == "DOUBLE") {
        return column.name + " B,";
    }
    return PlainPiece(column);
}

std::string RebuiltPiece(const ColMapRec& row) {
    const std::string type = TranslateType(row.SOrgDtype, "DEST");
    const Column column{row.SCName, type, UpperCased(type), SizeSuffix(row, false)};
    if (TargetType == "ACCESS") {
        return AccessPiece(column, "oleobject");
    }
    if (TargetType == "FOXPRO") {
        const std::string source_type = UpperCased(row.SOrgDtype);
        if (source_type == "CURRENCY") {
            return column.name + " Y,";
        }
        if (source_type == "DOUBLE" || column.upper_type == "DOUBLE") {
            return column.name + " B,";
        }
        if (column.upper_type == "CHARACTER" && row.SWidth >= 255) {
            return column.name + " MEMO,";
        }
    }
    return PlainPiece(column);
}

}  // namespace

std::string ColumnSizeSuffix(i16 j, const std::string& mode) {
    return SizeSuffix(ColMaps.at(static_cast<std::size_t>(j)), mode == "N");
}

std::string CreateTableStatement(i16 i) {
    const auto table = static_cast<std::size_t>(i);
    std::string statement = Head(table);
    for (const auto* row : MappedColumnsOf(DstTables.at(table).TabID)) {
        statement += '\r';
        statement += IsNew(table) ? NewPiece(*row) : RebuiltPiece(*row);
    }
    CutLast(statement);
    return statement + "\r)";
}

i16 CreateTargetTable(i16 i) {
    const auto table = static_cast<std::size_t>(i);
    try {
        AppendLog(log_line::AboutToCreate(SrcTables.at(table).Name));
        const std::string statement = CreateTableStatement(i);
        Connection connection;
        connection.CursorLocation = adUseClient;
        connection.Open(TargetConnStr);
        connection.Execute(statement);
        AppendLog(log_line::Created(DstTables.at(table).Name));
        connection.Close();
        return kTrue;
    } catch (const std::exception& error) {
        AppendLog(log_line::CreateFailed(DstTables.at(table).Name));
        AppendLog(error.what());
        return kFalse;
    }
}

}  // namespace vantry
