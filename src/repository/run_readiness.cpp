// Three questions before a run: do the rows of the repository make a whole session, can both sides
// be reached, and did a run that was killed leave the target in a state that the session doesn't
// expect. The third is answered by looking at the target, not by trusting notes: a note can be
// missing.
// Easy to get wrong: two cases look alike. A session that creates its table the first time and then
// finds it there would fail for ever (the kill came between creating and recording), and one that
// drops and makes anew and finds nothing would fail for ever at the drop. Each is put right, and
// only each: a table that stands where the session expects none was made by other hands, unless a
// mark says that a run died.
#include "repository/run_readiness.h"

#include "core/kinds.h"
#include "engine/run_report.h"
#include "engine/run_view.h"
#include "engine/target_creation.h"
#include "mapping/column_discovery.h"
#include "repository/run_log_file.h"

#include <algorithm>
#include <filesystem>
#include <initializer_list>
#include <limits>
#include <map>

namespace vantry {
namespace {

// For RecordCreatedTable: the engine's hook is a plain function that gets a table's index alone.
i32 RunningSession = 0;

// A failure here is passed over: the run's record at its end writes the same.
void RecordCreatedTable(i16 i) {
    try {
        Connection repository;
        repository.Open(RepoConnStr);
        repository.Execute(
            "Update vytabs set TableExists=1,FirstTimeLoadOpt=\"\" where "
            "vytabs.SessionId=" +
            std::to_string(RunningSession) +
            " and vytabs.tabid=" + std::to_string(SrcTables.at(static_cast<std::size_t>(i)).TabID));
        repository.Close();
    } catch (const DataError&) {
    }
}

// A save writes a row for each column of the side that has more of them. Fewer rows mean that it
// was broken off.
struct MapSize {
    int rows = 0;
    int columns = 0;
};
std::map<double, MapSize> MapSizes() {
    std::map<double, MapSize> sizes;
    for (const auto& row : ColMaps) {
        auto& size = sizes[row.TabID];
        ++size.rows;
        size.columns = std::max({size.columns, int{row.SCCount}, int{row.DCCount}});
    }
    return sizes;
}

bool IsMadeAnew(const TableRec& source) {
    return source.TableExists == kTrue && source.LoadOption == "DROP";
}

void RepairTable(i16 i, bool died) {
    auto& source = SrcTables.at(static_cast<std::size_t>(i));
    auto& target = DstTables.at(static_cast<std::size_t>(i));
    const bool to_create =
        died && source.TableExists == kFalse && source.FirstTimeLoadOpt == "CREATE";
    const bool to_drop = IsMadeAnew(source);
    if (!to_create && !to_drop) {
        return;
    }
    // CheckTargetTable writes what it finds into the session, for Oracle of all its tables: only
    // the one answer is wanted here.
    const auto saved_sources = SrcTables;
    const auto saved_targets = DstTables;
    std::vector<std::string> names;
    CheckTargetTable(source.TabID, names);
    const bool exists = target.TableExists == kTrue;
    SrcTables = saved_sources;
    DstTables = saved_targets;
    if (to_create && exists) {
        for (auto* table : {&source, &target}) {
            table->TableExists = kTrue;
            table->FirstTimeLoadOpt.clear();
        }
        RecordCreatedTable(i);
    }
    if (to_drop && !exists) {
        // CreateTargetTable logs as in a run. The log isn't begun yet: its lines go nowhere.
        RunLogView nobody(LogFile(), nullptr, [] { return false; });
        auto* const view = std::exchange(CurrentRunView, &nobody);
        CreateTargetTable(i);  // what goes wrong here goes wrong again, and is logged, in the run
        CurrentRunView = view;
    }
}

}  // namespace

std::string SessionFault() {
    if (ThisSource().page.empty()) {
        return "its source kind \"" + SourceType + "\" is none that this version knows";
    }
    if (ThisTarget().page.empty()) {
        return "its target kind \"" + TargetType + "\" is none that this version knows";
    }
    if (SrcTables.empty() || DstTables.size() != SrcTables.size()) {
        return "it has no tables, or not as many targets as sources";
    }
    if (SrcTables.size() > std::size_t{std::numeric_limits<i16>::max()} + 1) {
        return "it has more tables than their 16-bit numbers can count";
    }
    const auto maps = MapSizes();
    for (std::size_t i = 0; i < SrcTables.size(); ++i) {
        const auto map = maps.find(SrcTables[i].TabID);
        const std::string table =
            "table " + std::to_string(i + 1) + " \"" + SrcTables[i].Name + "\"";
        if (SrcTables[i].Name.empty() || DstTables[i].Name.empty() || map == maps.end()) {
            return table + " has no name, no target or no columns";
        }
        if (map->second.rows < map->second.columns) {
            return table + " has " + std::to_string(map->second.rows) + " of its " +
                   std::to_string(map->second.columns) +
                   " columns: its saving was broken off, and what is left of it should be deleted";
        }
    }
    return {};
}

std::string ConnectionFault() {
    // Opened and closed for nothing but the answer.
    const auto fault = [](const char* side, const std::string& connection_string) {
        try {
            Connection connection;
            connection.Open(connection_string);
            connection.Close();
            return std::string();
        } catch (const DataError& error) {
            return std::string("Can't connect to the ") + side + ": " + error.Description();
        }
    };
    auto reason = fault("source", SourceConnStr);
    if (!reason.empty() || ThisTarget().loader != Loader::Files) {
        return reason.empty() ? fault("target", TargetConnStr) : reason;
    }
    std::error_code error;
    if (!std::filesystem::is_directory(TextDestDir, error)) {
        return "There is no folder \"" + TextDestDir +
               "\" for the text files. Create it, or save a new session.";
    }
    return {};
}

void RecordCreatedTables(i32 session_id) {
    RunningSession = session_id;
    TableCreatedHook = RecordCreatedTable;
}

bool TableMayBeGone() {
    if (ThisTarget().loader == Loader::Files) {
        return false;
    }
    const auto& tables = CurrentRunReport.Tables;
    for (std::size_t i = 0; i < std::min(SrcTables.size(), tables.size()); ++i) {
        // Not prepared covers both a drop that failed and a creation that failed after it; which of
        // them it was is seen at the target.
        if (IsMadeAnew(SrcTables[i]) && tables[i].Outcome == TableOutcome::NotPrepared) {
            return true;
        }
    }
    return false;
}

void RepairAfterRun(bool died) {
    if (ThisTarget().loader == Loader::Files) {
        return;
    }
    for (std::size_t i = 0; i < SrcTables.size(); ++i) {
        RepairTable(static_cast<i16>(i), died);
    }
}

}  // namespace vantry
