// One statement from the column map: head, a piece a column behind a carriage return, and a
// bracket. A new table takes the target side's names and types, a rebuilt one the source side's
// names with their types translated, because the loaders name the columns of a dropped table that
// way. Easy to get wrong: which width counts (the target's in a new table, the source's in a
// rebuilt one), and that a word in place of a type, such as OLEOBJECT, takes no size.

#include "engine/target_creation.h"

#include "core/table_names.h"
#include "data/error_text.h"
#include "data/letter_case.h"
#include "engine/run_log.h"
#include "engine/source_statements.h"
#include "engine/table_load.h"
#include "mapping/type_catalogue.h"

#include <algorithm>
#include <span>
#include <string_view>

namespace vantry {
namespace {

bool IsOneOf(std::string_view word, std::span<const std::string_view> words) {
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
    return "Create Table " + TargetTableToMake(name, HoldsBlank(judged)) + "(";
}

std::string SizeSuffix(const ColMapRec& row, bool is_new) {
    const auto& rules = ThisTarget().sizes;
    const i32 width_number = is_new ? row.DWidth : row.SWidth;
    const i16 scale = is_new ? row.DScale : row.SScale;
    const std::string type = CleanUpper(is_new ? row.DDtype : TranslateType(row.SOrgDtype, "DEST"));
    const std::string width = std::to_string(width_number);

    // Such a column comes without a size from the kind itself, and any size would narrow it.
    if (SourceType == TargetType && !rules.unsized_of_own_kind.empty() &&
        CleanUpper(row.SOrgDtype) == rules.unsized_of_own_kind) {
        return {};
    }
    // MySQL's INTEGER has a display width, which only the target's map knows.
    if (IsOneOf(type, rules.target_width)) {
        return row.DWidth < 0 ? std::string() : "(" + std::to_string(row.DWidth) + ")";
    }
    if (IsOneOf(type, rules.width) || (is_new && IsOneOf(type, rules.width_if_made))) {
        return width_number <= rules.widest ? "(" + width + ")" : std::string();
    }
    const bool has_scale = IsOneOf(type, rules.width_and_scale) &&
                           !IsOneOf(CleanUpper(row.SDtype), rules.unsized_sources);
    return has_scale ? "(" + width + "," + std::to_string(scale) + ")" : std::string();
}

std::string NameInPiece(const std::string& name) {
    const auto& kind = ThisTarget();
    return std::string(kind.made_column_lead) + kind.name(name) + " ";
}

std::string NewType(const ColMapRec& row) {
    const std::string type = UpperCased(row.DDtype);
    for (const auto& word : ThisTarget().words) {
        if (type == word.type) {
            return std::string(word.made);
        }
    }
    return row.DDtype + SizeSuffix(row, true);
}

std::string RebuiltType(const ColMapRec& row) {
    const auto& kind = ThisTarget();
    const std::string translated = TranslateType(row.SOrgDtype, "DEST");
    const std::string type = UpperCased(translated);
    const std::string source_type =
        kind.words_by_source_type ? UpperCased(row.SOrgDtype) : std::string();
    for (const auto& word : kind.words) {
        if (type == word.type || source_type == word.type) {
            return std::string(word.rebuilt);
        }
    }
    // A rebuilt table alone: in a new one the type is what the user has chosen.
    if (!kind.long_text.empty() && IsOneOf(type, kind.sizes.width) &&
        row.SWidth >= kind.long_text_width) {
        return std::string(kind.long_text);
    }
    return translated + SizeSuffix(row, false);
}

}  // namespace

std::string ColumnSizeSuffix(i16 j, const std::string& mode) {
    return SizeSuffix(ColMaps.at(static_cast<std::size_t>(j)), mode == "N");
}

std::string CreatedColumnType(const ColMapRec& row, bool is_new) {
    return is_new ? NewType(row) : RebuiltType(row);
}

std::string CreateTableStatement(i16 i) {
    const auto table = static_cast<std::size_t>(i);
    std::string statement = Head(table);
    const bool is_new = IsNew(table);
    for (const auto* row : MappedColumnsOf(DstTables.at(table).TabID)) {
        statement += '\r';
        statement +=
            NameInPiece(is_new ? row->DCName : row->SCName) + CreatedColumnType(*row, is_new) + ",";
    }
    // Without columns this cuts into the head, and the target refuses the statement.
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
        Waited([&] {
            connection.Open(TargetConnStr);
            connection.Execute(statement);
        });
        AppendLog(log_line::Created(DstTables.at(table).Name));
        connection.Close();
        return kTrue;
    } catch (const std::exception& error) {
        AppendLog(log_line::CreateFailed(DstTables.at(table).Name));
        AppendLog(ErrorText(error));
        ReportOf(i).FirstError = ErrorText(error);
        NoteIfCancelled(error);
        return kFalse;
    }
}

}  // namespace vantry
