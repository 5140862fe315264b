// One statement each, on a connection that ends with the routine. No error goes further than the
// log: the walk over the tables only sees that this one is left out.

#include "engine/target_preparation.h"

#include "core/table_names.h"
#include "data/error_text.h"
#include "engine/own_source.h"
#include "engine/run_log.h"
#include "engine/table_load.h"

#include <utility>

namespace vantry {
namespace {

const std::string& TargetName(i16 i) {
    return DstTables.at(static_cast<std::size_t>(i)).Name;
}

void RequireOtherTable(i16 i) {
    if (auto fault = PreparationFault(i); !fault.empty()) {
        throw DataError(kErrUnspecified, std::move(fault));
    }
}

}  // namespace

Preparation PreparationOf(const TableRec& source) {
    if (source.TableExists != kTrue) {
        return {.creates = true};
    }
    const bool drops = source.LoadOption == "DROP";
    return {.empties = source.LoadOption == "DELETE", .drops = drops, .creates = drops};
}

std::string DropStatement(const std::string& target) {
    return "drop table " + TargetTable(target);
}

std::string DeleteStatement(const std::string& target) {
    return "delete from " + TargetTable(target);
}

std::string PreparationFault(i16 i) {
    const auto table = static_cast<std::size_t>(i);
    if (!IsItsOwnSource(SrcTables.at(table), DstTables.at(table))) {
        return {};
    }
    return "\"" + DstTables[table].Name +
           "\" is the table that the rows come from: they would be gone before they are read. It "
           "stays as it is. Choose another target table, or append to this one.";
}

i16 DropTargetTable(i16 i) {
    const std::string& name = TargetName(i);
    try {
        Connection connection;
        AppendLog(log_line::AboutToDrop(name));
        // After the line, so that the log says for which table it was refused.
        RequireOtherTable(i);
        // Opened twice: the first open makes a file engine let go of what an earlier table of the
        // run left cached of this one.
        Waited([&] {
            connection.Open(TargetConnStr);
            connection.Close();
            connection.CursorLocation = adUseClient;
            connection.Open(TargetConnStr);
            connection.Execute(DropStatement(name));
        });
        AppendLog(log_line::Dropped(name));
        return kTrue;
    } catch (const std::exception& error) {
        AppendLog(log_line::DropFailed(name, ErrorText(error)));
        ReportOf(i).FirstError = ErrorText(error);
        NoteIfCancelled(error);
        return kFalse;
    }
}

i16 DeleteTargetRows(i16 i) {
    const std::string& name = TargetName(i);
    try {
        Connection connection;
        connection.CursorLocation = adUseClient;
        Waited([&] { connection.Open(TargetConnStr); });
        AppendLog(log_line::AboutToDelete(name));
        RequireOtherTable(i);
        Waited([&] { connection.Execute(DeleteStatement(name)); });
        AppendLog(log_line::Deleted(name));
        return kTrue;
    } catch (const std::exception& error) {
        AppendLog(log_line::DeleteFailed(name, ErrorText(error)));
        ReportOf(i).FirstError = ErrorText(error);
        NoteIfCancelled(error);
        return kFalse;
    }
}

}  // namespace vantry
