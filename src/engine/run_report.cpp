#include "engine/run_report.h"

namespace vantry {

RunReport CurrentRunReport;
void (*TableCreatedHook)(i16 i) = nullptr;

// The names are in the summary file, which other programs read.
const char* OutcomeName(TableOutcome outcome) {
    switch (outcome) {
        case TableOutcome::NotReached:
            return "not reached";
        case TableOutcome::NotPrepared:
            return "not prepared";
        case TableOutcome::GivenUp:
            return "given up";
        case TableOutcome::Cancelled:
            return "cancelled";
        case TableOutcome::Loaded:
            break;
    }
    return "loaded";
}

std::optional<std::int64_t> TableReport::FirstRowNotReached() const {
    if (Outcome == TableOutcome::Loaded || RowsRead >= RowsInSource.value_or(RowsRead + 1)) {
        return std::nullopt;
    }
    return RowsRead + 1;
}

double RunReport::WaitedForFiles() const {
    double seconds = 0;
    for (const auto& table : Tables) {
        seconds += table.WaitedSeconds;
    }
    return seconds;
}

std::string FailureText(const TableReport& report) {
    const bool prepared = report.Outcome != TableOutcome::NotPrepared;
    if (report.FirstError.empty() || (prepared && report.Outcome != TableOutcome::GivenUp)) {
        return {};
    }
    return report.Source + (prepared ? " was given up: " : " wasn't loaded: ") +
           (report.LastStraw.empty() ? report.FirstError : report.LastStraw);
}

std::string UnknownRowsText(const TableReport& report) {
    if (report.RowsUnknown == 0) {
        return {};
    }
    return std::to_string(report.RowsUnknown) + " rows may have arrived in " + report.Target +
           ": it couldn't be learned what became of them. Compare the count of its rows with the "
           "source's before you load the table again.";
}

void StartRunReport() {
    CurrentRunReport = {};
    for (std::size_t i = 0; i < SrcTables.size(); ++i) {
        ReportOf(static_cast<i16>(i));
    }
}

TableReport& ReportOf(i16 i) {
    const auto table = static_cast<std::size_t>(i);
    auto& tables = CurrentRunReport.Tables;
    // Reports may be asked for before a run has started one, by tests and by failing preparations.
    while (tables.size() <= table) {
        auto& added = tables.emplace_back();
        const std::size_t k = tables.size() - 1;
        added.Source = k < SrcTables.size() ? SrcTables[k].Name : "";
        added.Target = k < DstTables.size() ? DstTables[k].Name : "";
    }
    return tables[table];
}

RunOutcome OutcomeOfRun() {
    RunOutcome outcome;
    for (std::size_t i = 0; i < CurrentRunReport.Tables.size(); ++i) {
        const auto& table = CurrentRunReport.Tables[i];
        outcome.RowsLoaded += table.RowsLoaded;
        if (table.Outcome == TableOutcome::NotReached) {
            ++outcome.NotReached;
        } else if (table.Errors > 0 || table.RowsUnknown > 0 ||
                   table.Outcome == TableOutcome::NotPrepared ||
                   table.Outcome == TableOutcome::GivenUp) {
            outcome.Failed.push_back(i);
        }
    }
    return outcome;
}

}  // namespace vantry
