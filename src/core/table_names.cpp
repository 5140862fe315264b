// Each name in a statement is put together here, by the row of its kind and what the statement is
// for. Easy to get wrong: a FoxPro table in folder mode is a file when its rows are read or written
// and a plain name when its columns are probed, and the target's name is bracketed in some
// statements and bare in others, as the row's fields "table" and "name" say.

#include "core/table_names.h"

#include "data/letter_case.h"

namespace vantry {
namespace {

bool NamesOwner(const TableRec& table, OwnerRule rule) {
    switch (rule) {
        case OwnerRule::Never:
            return false;
        case OwnerRule::UnlessBlank:
            return HasText(table.Owner);
        case OwnerRule::UnlessEmpty:
            return !table.Owner.empty();
        case OwnerRule::UnlessOnlyTabnameBlank:
            return HasText(table.OnlyTabname);
        case OwnerRule::Always:
            break;
    }
    return true;
}

// Probes and filter tests name the table alone: the connection's folder leads to its file.
bool IsLoad(Reading reading) {
    return reading == Reading::RowLoad || reading == Reading::BatchLoad ||
           reading == Reading::TextRun;
}

// FoxDestMode is left over from an earlier session where the kind has no folder mode.
bool IsFile(const TargetKind& kind) {
    return kind.file_in_folder_mode && FoxDestMode == "DIR";
}

std::string FileOf(const std::string& name) {
    return FoxDestPrefix + name + ".dbf";
}

}  // namespace

std::string SourceTable(const TableRec& table, Reading reading) {
    const auto& kind = ThisSource();
    if (kind.file_in_folder_mode && FoxSrcMode == "DIR" && IsLoad(reading)) {
        return kDoubleQuotes(FoxSrcPrefix + table.Name);
    }
    const bool later = reading == Reading::Reprobe || reading == Reading::FilterTest;
    const std::string name =
        (kind.brackets_later_questions && later ? kBrackets : kind.table)(table.Name);
    return NamesOwner(table, kind.owner_rules.For(reading)) ? kind.owner(table.Owner) + "." + name
                                                            : name;
}

std::string SourceColumn(const std::string& name, Reading reading) {
    const auto& kind = ThisSource();
    const bool bracketed = kind.row_load_brackets_columns && reading == Reading::RowLoad;
    return (bracketed ? kBrackets : kind.column)(name);
}

std::string TargetTable(const std::string& name) {
    const auto& kind = ThisTarget();
    return kind.table(IsFile(kind) ? FileOf(name) : name);
}

std::string TargetTableToProbe(const std::string& name) {
    return ThisTarget().table(name);
}

std::string TargetTableForInsert(const std::string& name) {
    const auto& kind = ThisTarget();
    // Only a name with a blank needs brackets here, and a bare one takes no other sign.
    if (IsFile(kind) && !(kind.brackets_blanks && HoldsBlank(name))) {
        return FileOf(name) + " ";
    }
    return TargetTable(name) + " ";
}

std::string TargetTableToMake(const std::string& name, bool blank) {
    const auto& kind = ThisTarget();
    const bool file = IsFile(kind);
    const std::string written = file ? FileOf(name) : name;
    // Without a mode the name goes bare also with a blank: the target refuses it.
    if (kind.brackets_blanks && blank && (file || FoxDestMode == "DBC")) {
        return kBrackets(written) + " ";
    }
    return kind.name(written) + (file || !kind.name.None() ? " " : "");
}

std::string TargetTableToAddTo(const std::string& name) {
    const auto& quotes = ThisTarget().name;
    return quotes(name) + (quotes.None() ? "" : " ");
}

std::string TargetColumnInList(const std::string& name) {
    const auto& kind = ThisTarget();
    return std::string(kind.column_lead) + kind.name(name) + ",";
}

bool HoldsBlank(const std::string& name) {
    return name.find(' ') != std::string::npos;
}

bool HasText(const std::string& text) {
    return !Trimmed(text).empty();
}

}  // namespace vantry
