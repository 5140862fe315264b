// Each type of a source is mapped as the mapping page proposes, alone in a table, and its extreme
// values are judged. For MySQL dates are judged once more beside a long column, which changes how a
// run carries them.

#include "check/loss_table.h"

#include "check/check_text.h"
#include "core/route.h"
#include "data/ado_types.h"
#include "mapping/type_catalogue.h"

#include <algorithm>
#include <array>
#include <span>
#include <vector>

namespace vantry {
namespace {

struct SourceColumnType {
    const char* words;
    int type;
    int size = 0;  // or precision
    int scale = 0;
};

// clang-format off
constexpr SourceColumnType kAccess[] = {
    {"Byte", adUnsignedTinyInt}, {"Integer", adSmallInt}, {"Long Integer", adInteger},
    {"Large Number", adBigInt}, {"Single", adSingle}, {"Double", adDouble}, {"Currency", adCurrency},
    {"Decimal(18,4)", adNumeric, 18, 4}, {"Yes/No", adBoolean}, {"Date/Time", adDate},
    {"Text(50)", adVarWChar, 50}, {"Memo", adLongVarWChar}, {"OLE Object", adLongVarBinary},
    {"Replication ID", adGUID, 16}};
constexpr SourceColumnType kFoxPro[] = {
    {"Integer", adInteger}, {"Numeric(12,2)", adNumeric, 12, 2}, {"Double", adDouble},
    {"Currency", adCurrency}, {"Logical", adBoolean}, {"Date", adDBDate}, {"DateTime", adDBTimeStamp},
    {"Character(50)", adChar, 50}, {"Varchar(50)", adVarChar, 50}, {"Memo", adLongVarChar},
    {"General", adLongVarBinary}};
constexpr SourceColumnType kOracle[] = {
    {"Number(12,2)", adNumeric, 12, 2}, {"Number", adVarNumeric, 38}, {"Binary_Double", adDouble},
    {"Date", adDBTimeStamp}, {"Varchar2(50)", adVarWChar, 50}, {"Char(50)", adWChar, 50},
    {"CLOB", adLongVarWChar}, {"BLOB", adLongVarBinary}, {"RAW(50)", adVarBinary, 50}};
constexpr SourceColumnType kMySQL[] = {
    {"TinyInt", adTinyInt}, {"SmallInt", adSmallInt}, {"Int", adInteger},
    {"Int unsigned", adUnsignedInt}, {"BigInt", adBigInt}, {"Float", adSingle}, {"Double", adDouble},
    {"Decimal(12,2)", adNumeric, 12, 2}, {"Bit(1)", adBoolean}, {"Date", adDBDate},
    {"Time", adDBTime}, {"DateTime", adDBTimeStamp}, {"DateTime(3)", adDBTimeStamp, 23, 3},
    {"Varchar(50)", adVarWChar, 50}, {"Text", adLongVarWChar}, {"Blob", adLongVarBinary}};
constexpr SourceColumnType kMSSQL[] = {
    {"tinyint", adUnsignedTinyInt}, {"smallint", adSmallInt}, {"int", adInteger},
    {"bigint", adBigInt}, {"real", adSingle}, {"float", adDouble}, {"money", adCurrency},
    {"decimal(12,2)", adNumeric, 12, 2}, {"bit", adBoolean}, {"datetime", adDBTimeStamp, 23, 3},
    {"varchar(50)", adVarChar, 50}, {"nvarchar(50)", adVarWChar, 50}, {"char(50)", adChar, 50},
    {"text", adLongVarChar}, {"ntext", adLongVarWChar}, {"varbinary(50)", adVarBinary, 50},
    {"image", adLongVarBinary}, {"uniqueidentifier", adGUID, 16}};
constexpr SourceColumnType kOdbc[] = {
    {"smallint", adSmallInt}, {"integer", adInteger}, {"bigint", adBigInt}, {"real", adSingle},
    {"double", adDouble}, {"decimal(12,2)", adNumeric, 12, 2}, {"bit", adBoolean},
    {"date", adDBDate}, {"time", adDBTime}, {"timestamp", adDBTimeStamp}, {"varchar(50)", adVarWChar, 50},
    {"long varchar", adLongVarWChar}, {"long varbinary", adLongVarBinary}};
constexpr SourceColumnType kText[] = {
    {"Short", adSmallInt}, {"Long", adInteger}, {"Single", adSingle}, {"Double", adDouble},
    {"Currency", adCurrency}, {"Decimal(18,4)", adNumeric, 18, 4}, {"Bit", adBoolean},
    {"DateTime", adDate}, {"Text(255)", adVarWChar, 255}, {"Memo", adLongVarWChar}};
// clang-format on

struct SourceTypes {
    const char* kind;
    const char* heading;
    std::span<const SourceColumnType> types;
};
const SourceTypes kSources[] = {
    {"ACCESS", "Access", kAccess},
    {"FOXPRO", "FoxPro and DBF", kFoxPro},
    {"ORACLE", "Oracle", kOracle},
    {"MySQL", "MySQL", kMySQL},
    {"MSSQL", "SQL Server", kMSSQL},
    {"ODBC", "ODBC data source", kOdbc},
    {"TEXT", "Text files", kText},
};
constexpr std::array<std::pair<const char*, const char*>, 6> kTargets = {{
    {"ACCESS", "Access"},
    {"FOXPRO", "FoxPro"},
    {"ORACLE", "Oracle"},
    {"MySQL", "MySQL"},
    {"MSSQL", "SQL Server"},
    {"TEXT", "Delimited text"},
}};

// The mapping's rules read the session's variables. So these tables are for a process that has no
// session of its own.
void SetSession(const char* source, const char* target) {
    SourceType = source;
    TargetType = target;
    FoxDestMode = "DBC";
    TextDestFormat = "DELIMITED";
    TextDestDelim = ",";
    TextDestQual = "\"";
    SrcTables.assign(1, TableRec());
    DstTables.assign(1, TableRec());
    SrcTables[0].Name = DstTables[0].Name = "Table";
    DstCols.clear();
}

ColMapRec MapOf(const SourceColumnType& type) {
    ColMapRec map;
    map.SCName = map.DCName = "Column";
    map.SOrgDtype = AdoTypeName(type.type);
    map.SDtype = TranslateType(map.SOrgDtype, "SOURCE");
    map.DDtype = TranslateType(map.SOrgDtype, "DEST");
    map.SWidth = map.DWidth = type.size;
    map.SScale = map.DScale = static_cast<i16>(type.scale);
    map.SSelected = 1;
    return map;
}

FieldShape ShapeOf(const SourceColumnType& type) {
    return {type.type, type.size, type.size, type.scale};
}

ColumnCheck Judged(const SourceColumnType& type, bool beside_long) {
    constexpr SourceColumnType kLong{"", adLongVarWChar};
    const ColMapRec map = MapOf(type);
    const ColMapRec memo = MapOf(kLong);
    MappedColumns columns = {&map};
    std::vector<FieldShape> shapes = {ShapeOf(type)};
    if (beside_long) {
        columns.push_back(&memo);
        shapes.push_back(ShapeOf(kLong));
    }
    auto plans = PlanTable(0, columns, shapes, {});
    ColumnCheck check;
    check.target_type = plans[0].judge.Target().type;
    check.types = JudgeType(KindOf(SourceType).types, plans[0]);
    return check;
}

std::string Escaped(const std::string& text) {
    std::string escaped;
    for (const char c : text) {
        escaped += c == '<' ? "&lt;" : c == '>' ? "&gt;" : c == '&' ? "&amp;" : std::string(1, c);
    }
    return escaped;
}

std::string CellText(const SourceColumnType& type) {
    const auto check = Judged(type, false);
    std::string text = Escaped(check.target_type);
    const auto add = [&](const Finding& finding, const char* lead) {
        text += "<br>" + std::string(GradeMark(finding.verdict.grade)) + " " + lead +
                std::string(ReasonText(finding.verdict.reason));
    };
    for (const auto& finding : check.types) {
        add(finding, "");
    }
    if (check.types.empty()) {
        text += "<br>=";
    }
    // Only dates lose something more beside a long column: their time of day.
    if (ThisTarget().loader == Loader::Batches && IsDateType(type.type)) {
        for (const auto& finding : Judged(type, true).types) {
            add(finding, "beside a long column: ");
        }
    }
    return text;
}

}  // namespace

std::string LossesAsHtml() {
    std::string html;
    for (const auto& source : kSources) {
        html += "<h2>From " + std::string(source.heading) + "</h2>\n<table>\n<tr><th>Type</th>";
        for (const auto& [kind, heading] : kTargets) {
            html += "<th>" + std::string(heading) + "</th>";
        }
        html += "</tr>\n";
        for (const auto& type : source.types) {
            html += "<tr><td>" + std::string(type.words) + "</td>";
            for (const auto& [kind, heading] : kTargets) {
                SetSession(source.kind, kind);
                html += "<td>" + CellText(type) + "</td>";
            }
            html += "</tr>\n";
        }
        html += "</table>\n";
    }
    return html;
}

// Types whose values may be changed or refused; those that only rare texts concern count as kept.
std::string LossesAsMarkdown() {
    std::string text = "| From, to |";
    std::string line = "|---|";
    for (const auto& [kind, heading] : kTargets) {
        text += " " + std::string(heading) + " |";
        line += "---|";
    }
    text += "\n" + line + "\n";
    for (const auto& source : kSources) {
        text += "| " + std::string(source.heading) + " |";
        for (const auto& [kind, heading] : kTargets) {
            SetSession(source.kind, kind);
            std::size_t counts[3] = {};
            for (const auto& type : source.types) {
                ++counts[static_cast<std::size_t>(UsualGrade(Judged(type, false)))];
            }
            text += " " + std::to_string(counts[0]) + " = " + std::to_string(counts[1]) + " ~ " +
                    std::to_string(counts[2]) + " x |";
        }
        text += "\n";
    }
    return text;
}

}  // namespace vantry
