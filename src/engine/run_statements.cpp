#include "engine/run_statements.h"

#include "core/kinds.h"
#include "data/message_text.h"
#include "engine/recordset_rows.h"
#include "engine/source_statements.h"
#include "engine/table_load.h"
#include "engine/target_creation.h"
#include "engine/target_preparation.h"

#include <algorithm>

namespace vantry {
namespace {

void AddPreparation(TableStatements& table, i16 i) {
    using Use = RunStatement::Use;
    const auto steps = PreparationOf(SrcTables[static_cast<std::size_t>(i)]);
    if (steps.drops) {
        table.statements.push_back({Use::Drop, DropStatement(table.target)});
    }
    if (steps.creates) {
        table.statements.push_back({Use::Create, CreateTableStatement(i)});
    }
    if (steps.empties) {
        table.statements.push_back({Use::Delete, DeleteStatement(table.target)});
    }
    // Only these lose rows: a session may well append to the table that it reads.
    if (steps.drops || steps.empties) {
        table.fault = PreparationFault(i);
    }
}

}  // namespace

std::vector<int> SourceTypesOf(i16 i) {
    TableRec source = SrcTables.at(static_cast<std::size_t>(i));
    source.WhereCond.clear();  // the types are those of any row
    const auto statements =
        ReadingStatements(source, MappedColumnsOf(source.TabID), ReadingOfRun());
    Recordset probe;
    probe.Open(statements.select + std::string(ThisSource().probe_end),
               SourceConnStr,
               adOpenForwardOnly,
               adLockReadOnly);
    std::vector<int> types;
    types.reserve(static_cast<std::size_t>(probe.Fields().Count()));
    for (std::int32_t k = 0; k < probe.Fields().Count(); ++k) {
        types.push_back(probe.Fields()[k].Type());
    }
    return types;
}

RowWay RowWayOf(i16 i) {
    const auto types = SourceTypesOf(i);
    return std::any_of(types.begin(), types.end(), IsLongField) ? RowWay::AddRows : RowWay::Insert;
}

TableStatements StatementsOf(i16 i, RowWay way) {
    using Use = RunStatement::Use;
    const auto index = static_cast<std::size_t>(i);
    const auto& source = SrcTables.at(index);
    TableStatements table{source.Name, {}, {}, {}};
    if (index >= DstTables.size()) {
        table.fault = NoTargetFor(source).Description();
        return table;
    }
    const auto& target = DstTables[index];
    table.target = target.Name;
    const bool to_file = ThisTarget().loader == Loader::Files;
    if (!to_file) {
        AddPreparation(table, i);
    }
    const auto reading = ReadingStatements(source, MappedColumnsOf(source.TabID), ReadingOfRun());
    table.statements.push_back({Use::Count, reading.count});
    table.statements.push_back({Use::Select, reading.select});
    if (to_file) {
        table.statements.push_back({Use::File, target.Name});
        return table;
    }
    if (way != RowWay::AddRows) {
        table.statements.push_back({Use::Insert, InsertHead(source, target)});
    }
    if (way != RowWay::Insert) {
        table.statements.push_back({Use::AddRows, AddingSelect(source, target)});
    }
    return table;
}

const char* UseName(RunStatement::Use use) {
    static constexpr const char* kNames[] = {
        "drop", "delete", "create", "count", "select", "insert", "add rows", "file"};
    return kNames[static_cast<std::size_t>(use)];
}

std::string StatementsText(const TableStatements& table) {
    const auto remark = [](const std::string& text) {
        return "-- " + WithoutControls(text) + "\n";
    };
    std::string text = remark(table.source + " into " + table.target);
    for (const auto& statement : table.statements) {
        text += remark(UseName(statement.use));
        for (const char c : statement.text) {
            text += c == '\r' ? '\n' : c;
        }
        text += '\n';
    }
    if (!table.fault.empty()) {
        text += remark("The table is left out: " + table.fault);
    }
    return text;
}

}  // namespace vantry
