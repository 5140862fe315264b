// Columns are read from the field list of a query without rows, which every kind understands alike,
// and put side by side by position. What is asked is written down first and then asked in one go
// over one connection, perhaps on another thread: that one has strings and gives records, and
// touches nothing of the session. The arrays belong to the whole session: a table that is read
// again moves its rows to their end. Easy to get wrong: an array without rows has one empty element
// (pages count on it), rows of one table stay together, and a text source's probe has no condition,
// since its driver reads the first line in any case.

#include "mapping/column_discovery.h"

#include "core/table_names.h"
#include "data/letter_case.h"
#include "data/value_text.h"
#include "mapping/type_catalogue.h"

#include <algorithm>
#include <exception>
#include <limits>
#include <map>
#include <memory>
#include <set>
#include <span>
#include <string_view>
#include <utility>

namespace vantry {
namespace {

// Up to the first dot: a file "orders.2006.csv" makes the table "orders".
std::string BaseName(const std::string& name) {
    return name.substr(0, name.find('.'));
}

// Arrays of the session have one empty element before their first real one: it is filled, the
// others are appended.
template <typename Record>
Record& NextElement(std::vector<Record>& array, std::size_t& next) {
    if (next > 0) {
        array.emplace_back();
    } else {
        array.assign(1, Record());
    }
    return array[next++];
}

std::string SourceProbe(const TableRec& table, Reading probe) {
    return "SELECT * FROM " + SourceTable(table, probe) + std::string(ThisSource().probe_end);
}

std::string TargetProbe(const std::string& name) {
    return "select * from " + TargetTableToProbe(name) + " where 1=2";
}

// What the map shows as a size, and CREATE writes as one.
i32 WidthOf(const Field& field, const std::string& type) {
    // The precision, not the bytes that the source stores: CREATE writes it as the width. The
    // fields have eight bits where the map's numbers come from.
    if (type == "Numeric" || type == "Decimal" || type == "VarNumeric") {
        return field.Precision() & 0xFF;
    }
    // Drivers disagree on how long an unlimited column is; the map shows 0 for all of them.
    if (type == "LongVarBinary" || type == "LongVarChar" || type == "LongVarWChar") {
        return 0;
    }
    return static_cast<i32>(
        std::clamp<std::int64_t>(field.DefinedSize(), 0, std::numeric_limits<i32>::max()));
}

// How the columns of one table are asked for.
struct Probe {
    std::string query;
    double tab_id = 0;
    std::string table;  // as its columns name it
};

// The columns of each probe, up to the first that failed.
struct ProbeAnswers {
    std::vector<std::vector<ColumnRec>> columns;
    std::exception_ptr error;
};

std::vector<ColumnRec> ColumnsOfFields(Fields& fields, const Probe& probe) {
    std::vector<ColumnRec> columns(static_cast<std::size_t>(fields.Count()));
    for (std::size_t j = 0; j < columns.size(); ++j) {
        const Field& field = fields[static_cast<std::int32_t>(j)];
        ColumnRec& column = columns[j];
        column.TabID = probe.tab_id;
        column.TName = probe.table;
        column.ColCount = static_cast<i16>(columns.size());
        column.ColName = field.Name();
        column.ColType = AdoTypeName(field.Type());
        column.ColWidth = WidthOf(field, column.ColType);
        if (column.ColType == "Numeric" || column.ColType == "Decimal" ||
            column.ColType == "VarNumeric") {
            column.ColScale = field.NumericScale() & 0xFF;
        }
    }
    return columns;
}

// Over one connection: opening one for each of a thousand tables takes longer than all the probes.
ProbeAnswers AskProbes(const Ask& ask,
                       const std::string& connection_string,
                       int lock_type,
                       std::vector<Probe> probes) {
    if (probes.empty()) {
        return {};
    }
    // Shared: a question that was given up goes on for a while.
    auto answers = std::make_shared<ProbeAnswers>();
    ask([answers, connection_string, lock_type, probes = std::move(probes)](const auto& given_up) {
        try {
            Connection connection;
            connection.Open(connection_string);
            for (auto probe = probes.begin(); probe != probes.end() && !given_up(); ++probe) {
                Recordset columns;
                columns.Open(probe->query, connection, adOpenForwardOnly, lock_type);
                answers->columns.push_back(ColumnsOfFields(columns.Fields(), *probe));
                columns.Close();
            }
        } catch (const DataError&) {
            answers->error = std::current_exception();
        }
    });
    return std::move(*answers);
}

void AppendColumns(std::vector<ColumnRec>& array,
                   std::size_t& next,
                   std::vector<ColumnRec> columns) {
    for (auto& column : columns) {
        column.ColPos = static_cast<i16>(next);
        NextElement(array, next) = std::move(column);
    }
}

// Where the rows of each table lie in an array.
using RowsByTable = std::map<double, std::vector<std::size_t>>;

// One pass over all columns: a search per table takes minutes for thousands of them.
RowsByTable GroupByTable(const std::vector<ColumnRec>& columns) {
    RowsByTable rows;
    for (std::size_t index = 0; index < columns.size(); ++index) {
        rows[columns[index].TabID].push_back(index);
    }
    return rows;
}

std::vector<std::size_t> RowsOf(const RowsByTable& rows, double tab_id) {
    const auto found = rows.find(tab_id);
    return found == rows.end() ? std::vector<std::size_t>() : found->second;
}

// The columns of a table; one empty one when there is none.
std::vector<ColumnRec> ColumnsOf(const std::vector<ColumnRec>& columns,
                                 const std::vector<std::size_t>& rows) {
    std::vector<ColumnRec> found;
    found.reserve(std::max<std::size_t>(rows.size(), 1));
    for (const std::size_t row : rows) {
        found.push_back(columns[row]);
        found.back().ColPos = static_cast<i16>(found.size() - 1);
    }
    if (found.empty()) {
        found.emplace_back();
    }
    return found;
}

void AppendSourceColumns(std::span<const TableRec> tables,
                         Reading reading,
                         const Ask& ask,
                         std::size_t& next) {
    std::vector<Probe> probes;
    for (const auto& table : tables) {
        probes.push_back({SourceProbe(table, reading),
                          static_cast<double>(table.TabID),
                          ThisSource().text_files ? BaseName(table.Name) : table.Name});
    }
    auto answers = AskProbes(ask, SourceConnStr, adLockUnspecified, std::move(probes));
    for (auto& columns : answers.columns) {
        for (auto& column : columns) {
            column.ColSelected = 1;
        }
        AppendColumns(SrcCols, next, std::move(columns));
    }
    if (answers.error) {
        std::rethrow_exception(answers.error);
    }
}

void AppendTargetColumns(std::span<const TableRec> tables, const Ask& ask, std::size_t& next) {
    std::vector<Probe> probes;
    for (const auto& table : tables) {
        if (table.TableExists != kFalse) {
            probes.push_back(
                {TargetProbe(table.Name), static_cast<double>(table.TabID), table.Name});
        }
    }
    auto answers = AskProbes(ask, TargetConnStr, adLockReadOnly, std::move(probes));
    auto answer = answers.columns.begin();
    const auto source_rows = GroupByTable(SrcCols);
    for (const auto& table : tables) {
        std::vector<ColumnRec> columns;
        if (table.TableExists == kFalse) {
            // To be created: the source's columns under their own names, as a start for the user.
            for (const std::size_t row : RowsOf(source_rows, table.TabID)) {
                columns.push_back(SrcCols[row]);
                columns.back().ColSelected = 0;
            }
        } else if (answer != answers.columns.end()) {
            columns = std::move(*answer++);
        } else {
            std::rethrow_exception(answers.error);
        }
        AppendColumns(DstCols, next, std::move(columns));
    }
}

void SetExistence(std::size_t index, i16 exists, const char* first_time) {
    // Both sides are saved, and either is read by the run.
    for (auto* table : {&SrcTables[index], &DstTables[index]}) {
        table->TableExists = exists;
        table->LoadOption = "APPEND";
        table->FirstTimeLoadOpt = first_time;
    }
}

std::vector<std::string> ListedNames(const std::string& connection_string,
                                     const std::string& query,
                                     const std::function<bool()>& given_up) {
    Connection connection;
    connection.Open(connection_string);
    Recordset tables;
    tables.Open(query, connection, adOpenForwardOnly, adLockOptimistic);
    std::vector<std::string> names;
    for (; !given_up() && !tables.Eof(); tables.MoveNext()) {
        if (const Cell& name = tables.Fields()[0].Value(); !name.IsNull()) {
            names.push_back(ToText(name));
        }
    }
    return names;
}

std::vector<std::string> CatalogNames(const std::string& connection_string) {
    Catalog catalog;
    catalog.SetActiveConnection(connection_string);
    std::vector<std::string> names;
    names.reserve(static_cast<std::size_t>(catalog.Tables().Count()));
    for (i32 k = 0; k < catalog.Tables().Count(); ++k) {
        names.push_back(catalog.Tables()[k].Name);
    }
    return names;
}

// What the target holds: what the kind's own query lists, else everything in the catalogue.
std::vector<std::string> NamesInTarget(const Ask& ask) {
    auto names = std::make_shared<std::vector<std::string>>();
    // A server's catalogue lists what other users have, too; the kind's own query doesn't.
    ask([names, connection_string = TargetConnStr, query = std::string(ThisTarget().table_list)](
            const auto& given_up) {
        *names = query.empty() ? CatalogNames(connection_string)
                               : ListedNames(connection_string, query, given_up);
    });
    return std::move(*names);
}

// Names as they are compared: whatever the letter case, without outer blanks.
std::string NameKey(std::string_view name) {
    return UpperCased(Trimmed(name));
}

std::set<std::string> KeysOf(const std::vector<std::string>& names) {
    std::set<std::string> keys;
    for (const auto& name : names) {
        keys.insert(NameKey(name));
    }
    return keys;
}

void MarkExisting(std::size_t index, const std::set<std::string>& keys) {
    // By its key: servers and files differ in whether letter case counts, users rarely mean it.
    if (keys.contains(NameKey(DstTables[index].Name))) {
        SetExistence(index, kTrue, "");
    }
}

// The columns of table `tab_id`. Also the empty one of a side that couldn't be read belongs to it:
// by its own number it would become a row of the session's first table.
void AppendMapRows(double tab_id,
                   const std::vector<ColumnRec>& source_columns,
                   const std::vector<ColumnRec>& target_columns,
                   std::size_t& next) {
    // The shorter side is filled up with rows that lack it, which aren't loaded.
    const std::size_t count = std::max(source_columns.size(), target_columns.size());
    for (std::size_t r = 0; r < count; ++r) {
        auto row = MapRowOf(tab_id,
                            r < source_columns.size() ? &source_columns[r] : nullptr,
                            r < target_columns.size() ? &target_columns[r] : nullptr);
        row.Pos = static_cast<i16>(next);
        row.CPos = static_cast<i16>(r);
        NextElement(ColMaps, next) = std::move(row);
    }
}

// Takes a table's rows out of an array and says where its new ones begin: with a single row left
// that row's place is taken, as the upper bound alone decides.
template <typename Record>
std::size_t TakeOut(std::vector<Record>& array, double tab_id) {
    // The order of the others stays: Form5 takes a table's rows for one block.
    std::erase_if(array, [&](const Record& record) { return record.TabID == tab_id; });
    if (array.empty()) {
        array.emplace_back();
    }
    return array.size() == 1 ? 0 : array.size();
}

const TableRec& TableOf(const std::vector<TableRec>& tables, i16 tab_id) {
    const auto found = std::find_if(
        tables.begin(), tables.end(), [&](const TableRec& t) { return t.TabID == tab_id; });
    if (found == tables.end()) {
        throw DataError(kErrItemNotFound,
                        "The session has no table number " + std::to_string(tab_id) + ".");
    }
    return *found;
}

}  // namespace

void AskHere(const Inquiry& inquiry) {
    inquiry([] { return false; });
}

ColMapRec MapRowOf(double tab_id, const ColumnRec* source, const ColumnRec* target) {
    ColMapRec row;
    row.TabID = tab_id;
    if (source != nullptr) {
        row.TName = source->TName;
        row.SCName = source->ColName;
        row.SCCount = source->ColCount;
        row.SDtype = TranslateType(source->ColType, "SOURCE");
        row.SOrgDtype = source->ColType;
        row.SWidth = source->ColWidth;
        row.SScale = static_cast<i16>(source->ColScale);
        row.SSelected = 1;
    } else {
        row.SCName = SkipLabel;
    }
    // The target's name and number replace what the source side wrote.
    if (target != nullptr) {
        row.TName = target->TName;
        row.DCName = target->ColName;
        row.DCCount = target->ColCount;
        row.DDtype = TranslateType(target->ColType, "DEST");
        row.DWidth = target->ColWidth;
        row.DScale = static_cast<i16>(target->ColScale);
    } else {
        row.DCName = SkipLabel;
        row.SSelected = 0;
    }
    return row;
}

void FillTargetTables() {
    DstTables.resize(SrcTables.size());
    for (std::size_t i = 0; i < SrcTables.size(); ++i) {
        auto& target = DstTables[i];
        const std::string& source_name = SrcTables[i].Name;
        if (ThisTarget().loader == Loader::Files) {
            const std::string base =
                ThisSource().extension_is_replaced ? BaseName(source_name) : source_name;
            target.Name = JoinPath(TextDestDir, base) + TextDestExt;
            target.SFirstColLine = TextDestHeader != kFalse ? 1 : 0;
            target.SFormat = TextDestDelim;
        } else {
            target.Name = ThisSource().text_files ? BaseName(source_name) : source_name;
        }
        target.TabID = static_cast<i16>(i);
        // Saving writes the index as the number, too: rows under any other would be lost there.
        SrcTables[i].TabID = static_cast<i16>(i);
    }
}

void LoadSourceColumns(const Ask& ask) {
    SrcCols.assign(1, ColumnRec());
    std::size_t next = 0;
    AppendSourceColumns(SrcTables, Reading::Probe, ask, next);
}

void CheckTargetTables(std::vector<std::string>& target_names, const Ask& ask) {
    target_names.clear();
    const bool to_text = ThisTarget().loader == Loader::Files;
    for (std::size_t i = 0; i < SrcTables.size(); ++i) {
        SetExistence(i, kFalse, to_text ? "" : "CREATE");
    }
    if (to_text) {
        return;
    }
    target_names = NamesInTarget(ask);
    const auto keys = KeysOf(target_names);
    for (std::size_t i = 0; i < SrcTables.size(); ++i) {
        MarkExisting(i, keys);
    }
}

void CheckTargetTable(i16 tab_id, std::vector<std::string>& target_names, const Ask& ask) {
    const bool to_text = ThisTarget().loader == Loader::Files;
    const auto index = static_cast<std::size_t>(&TableOf(DstTables, tab_id) - DstTables.data());
    SetExistence(index, kFalse, to_text ? "" : "CREATE");
    if (to_text) {
        return;
    }
    const auto names = NamesInTarget(ask);
    const auto keys = KeysOf(names);
    if (ThisTarget().rename_looks_up_all) {
        for (std::size_t i = 0; i < SrcTables.size(); ++i) {
            MarkExisting(i, keys);
        }
        target_names.insert(target_names.end(), names.begin(), names.end());
    } else {
        MarkExisting(index, keys);
    }
}

void LoadTargetColumns(const Ask& ask) {
    DstCols.assign(1, ColumnRec());
    std::size_t next = 0;
    AppendTargetColumns(DstTables, ask, next);
}

void SplitTableColumns(double tab_id,
                       std::vector<ColumnRec>& source_columns,
                       std::vector<ColumnRec>& target_columns) {
    source_columns = ColumnsOf(SrcCols, RowsOf(GroupByTable(SrcCols), tab_id));
    target_columns = ColumnsOf(DstCols, RowsOf(GroupByTable(DstCols), tab_id));
}

void BuildColMaps() {
    ColMaps.assign(1, ColMapRec());
    std::size_t next = 0;
    const auto source_rows = GroupByTable(SrcCols);
    const auto target_rows = GroupByTable(DstCols);
    for (const auto& table : SrcTables) {
        AppendMapRows(table.TabID,
                      ColumnsOf(SrcCols, RowsOf(source_rows, table.TabID)),
                      ColumnsOf(DstCols, RowsOf(target_rows, table.TabID)),
                      next);
    }
}

void ReloadSourceColumns(i16 tab_id, const Ask& ask) {
    std::size_t next = TakeOut(SrcCols, tab_id);
    AppendSourceColumns({&TableOf(SrcTables, tab_id), 1}, Reading::Reprobe, ask, next);
}

void ReloadTargetColumns(i16 tab_id, const Ask& ask) {
    std::size_t next = TakeOut(DstCols, tab_id);
    AppendTargetColumns({&TableOf(DstTables, tab_id), 1}, ask, next);
}

void RebuildTableMap(i16 tab_id) {
    std::size_t next = TakeOut(ColMaps, tab_id);
    std::vector<ColumnRec> source_columns;
    std::vector<ColumnRec> target_columns;
    SplitTableColumns(tab_id, source_columns, target_columns);
    AppendMapRows(tab_id, source_columns, target_columns, next);
    // Form5 finds a grid row's record by Pos, and rows of other tables have moved, too.
    for (std::size_t row = 0; row < ColMaps.size(); ++row) {
        ColMaps[row].Pos = static_cast<i16>(row);
    }
}

bool NameTargetTable(std::size_t index, const std::string& name) {
    // Another spelling of the same table needs no new probe.
    if (LowerCased(Trimmed(DstTables[index].Name)) == LowerCased(Trimmed(name))) {
        return false;
    }
    DstTables[index].Name = name;
    return true;
}

}  // namespace vantry
