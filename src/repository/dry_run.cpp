#include "repository/dry_run.h"

#include "core/kinds.h"
#include "core/table_names.h"
#include "data/error_text.h"
#include "data/message_text.h"
#include "data/value_text.h"
#include "engine/run_statements.h"
#include "repository/poll_folder.h"
#include "repository/polled_run.h"
#include "repository/repository.h"
#include "repository/run_readiness.h"
#include "repository/saved_session.h"

#include <filesystem>

namespace vantry {
namespace {

std::string CountBy(const std::string& statement, const std::string& connection_string) {
    try {
        Recordset rows;
        rows.Open(statement, connection_string, adOpenForwardOnly, adLockReadOnly);
        // A count that can't be had spoils nothing: the statements are what was asked for.
        return rows.Eof() ? "unknown" : ToText(rows.Fields()[0].Value());
    } catch (const DataError& error) {
        return "unknown: " + WithoutControls(error.Description());
    }
}

std::string Counts(i16 i, const TableStatements& table) {
    std::string text;
    for (const auto& statement : table.statements) {
        if (statement.use == RunStatement::Use::Count) {
            text += "-- rows of the source: " + CountBy(statement.text, SourceConnStr) + "\n";
        }
    }
    if (ThisTarget().loader != Loader::Files &&
        SrcTables[static_cast<std::size_t>(i)].TableExists == kTrue) {
        text += "-- rows of the target: " +
                CountBy("select count(*) from " + TargetTable(table.target), TargetConnStr) + "\n";
    }
    return text;
}

void PrintTable(i16 i, const std::function<void(const std::string&)>& print) {
    auto way = RowWay::Unknown;
    if (ThisTarget().loader != Loader::Files) {
        try {
            way = RowWayOf(i);
        } catch (const DataError& error) {
            // Both ways of adding rows are printed then.
            print("-- The columns of the source can't be read: " +
                  WithoutControls(error.Description()) + "\n");
        }
    }
    const auto table = StatementsOf(i, way);
    print(StatementsText(table) + Counts(i, table) + "\n");
}

// As the files are loaded: the first one prepares the target, the others are added.
void PrintPolled(const std::function<void(const std::string&)>& print) {
    const auto files = MatchingFiles(PollFolder, PollPattern, PollRename);
    if (files.empty()) {
        print("-- No file of \"" + PollFolder + "\" waits to be loaded.\n");
    }
    SourceConnStr = WithLayoutOf(SrcTables.at(0).Name, SourceConnStr);
    for (const auto& file : files) {
        SrcTables[0].Name = file.name;
        if (ThisTarget().loader == Loader::Files) {
            DstTables.at(0).Name = JoinPath(TextDestDir, file.name) + TextDestExt;
        }
        PrintTable(0, print);
        SrcTables[0].TableExists = kTrue;
        SrcTables[0].LoadOption = "APPEND";
    }
}

}  // namespace

RunnerExit PrintRun(i32 session_id,
                    const RunnerSurroundings& surroundings,
                    const std::function<void(const std::string&)>& print) {
    const auto refuse = [&](RunnerExit code, const std::string& why) {
        surroundings.tell(why);
        return code;
    };
    try {
        const auto repository = RepositoryFile(surroundings.application_folder);
        std::error_code error;
        if (!std::filesystem::exists(repository, error)) {
            return refuse(kRunNotStarted,
                          "There is no repository \"" + repository.string() + "\".");
        }
        if (!LoadSession(session_id)) {
            return refuse(
                kRunRefused,
                "There is no session " + std::to_string(session_id) + " in the repository.");
        }
        if (const auto fault = SessionFault(); !fault.empty()) {
            return refuse(kRunNotStarted, "The session can't be run: " + fault + ".");
        }
        if (auto fault = ConnectionFault(); !fault.empty()) {
            return refuse(kRunNotStarted, fault);
        }
        if (ThisSource().polled) {
            PrintPolled(print);
        } else {
            for (std::size_t i = 0; i < SrcTables.size(); ++i) {
                PrintTable(static_cast<i16>(i), print);
            }
        }
        return kRunWhole;
    } catch (const std::exception& error) {
        return refuse(kRunNotStarted, ErrorText(error));
    }
}

}  // namespace vantry
