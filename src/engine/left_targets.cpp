#include "engine/left_targets.h"

#include "core/kinds.h"
#include "data/ascii.h"
#include "engine/run_log.h"
#include "files/left_files.h"

#include <algorithm>
#include <filesystem>
#include <utility>

namespace vantry {
namespace {

// A text file is its target's name, a FoxPro table's files have its name and an ending.
bool IsFileOf(const TableReport& table, const std::string& path) {
    return table.Target == path ||
           EqualsNoCase(std::filesystem::path(path).stem().string(), table.Target);
}

}  // namespace

void LookAtTargetsAgain(std::vector<TableReport>& tables) {
    for (const auto& lost : file::LostFiles()) {
        if (!lost.told) {
            AppendLog(lost.error.Description());
        }
        const bool of_all =
            ThisTarget().one_file || std::none_of(tables.begin(), tables.end(), [&](auto& table) {
                return IsFileOf(table, lost.path);
            });
        for (auto& table : tables) {
            // What was lost can't be told from what is there: the rows may be in the file that was
            // moved away.
            if (table.RowsLoaded == 0 || !(of_all || IsFileOf(table, lost.path))) {
                continue;
            }
            table.RowsUnknown += std::exchange(table.RowsLoaded, 0);
            ++table.Errors;
            if (table.Outcome == TableOutcome::Loaded) {
                table.Outcome = TableOutcome::GivenUp;
            }
            AppendLog(UnknownRowsText(table));
        }
    }
}

}  // namespace vantry
