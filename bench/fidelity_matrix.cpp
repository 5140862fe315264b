// Sends two tables of values that copies tend to spoil through every route that this machine has,
// by the product's own sessions into new tables with the types that the wizard proposes, and prints
// how many cells came as they were sent, how many as the type tables prescribe, and how many
// neither:
//
//     fidelity_matrix            all routes
//     fidelity_matrix MySQL      those from or to MySQL
//
// Beside that it prints what the check before the run said of the cells: kept, changed or refused,
// and how many of those that it calls kept arrived different ("wrong").
//
// Ends with 1 if a cell is neither, or wrong, a row is missing, or a run logs an error. Sources and
// stand-in targets are written and read by other means than the loaders: Access and MySQL by the
// drivers' recordsets, SQLite's files by SQLite, text by this program.

#include "core/folders.h"
#include "core/session_state.h"
#include "data/value_text.h"
#include "engine/run_session.h"
#include "fidelity_grades.h"
#include "fidelity_places.h"
#include "fidelity_rules.h"
#include "log_view.h"
#include "mapping/column_discovery.h"
#include "text/text_writer.h"

#include <array>
#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <iterator>
#include <regex>

namespace vantry::bench {
namespace {

constexpr int kWidestFoxProNumber = 20;

struct Count {
    std::array<std::int64_t, 3> cells{};   // by Fidelity
    std::array<std::int64_t, 3> grades{};  // by Grade, of the check before
    std::int64_t wrong = 0;                // arrived different, and the check called them kept
    std::string first;                     // of the unexpected ones

    void Add(Fidelity fidelity, const std::string& where) {
        if (fidelity == Fidelity::Unexpected && first.empty()) {
            first = where;
        }
        ++cells[static_cast<std::size_t>(fidelity)];
    }
    void Fail(const std::string& why) {
        first = first.empty() ? why : first;
        ++wrong;
    }
    void Hold(Grade grade, bool exact, const std::string& where) {
        ++grades[static_cast<std::size_t>(grade)];
        if (grade == Grade::Kept && !exact) {
            Fail("the check calls it kept: " + where);
        }
    }
    std::int64_t All() const { return cells[0] + cells[1] + cells[2]; }
};

std::string Shown(const Cell& cell) {
    return cell.IsNull() ? "Null" : "'" + ToText(cell).substr(0, 60) + "'";
}

std::string PlaceName(const FidelityTable& table, std::size_t column, int row, const Cell& sent) {
    return std::string(table.columns[column].name) + " of row " + std::to_string(row) + ", sent " +
           Shown(sent);
}

void CompareTable(const std::string& source,
                  const std::string& target,
                  const FidelityTable& table,
                  const std::vector<std::size_t>& columns,
                  const ReadRows& rows,
                  const Grades& grades,
                  Count& count) {
    // A batch is refused whole.
    bool batch_refused = false;
    for (int row = 1; row <= table.rows && target == "MySQL"; ++row) {
        batch_refused = batch_refused || grades.Refuses(row);
    }
    for (int row = 1; row <= table.rows; ++row) {
        const auto& found = rows[static_cast<std::size_t>(row)];
        if (found.empty() && table.has_edges && (batch_refused || grades.Refuses(row))) {
            for (std::size_t k = 0; k < columns.size(); ++k) {
                ++count.grades[static_cast<std::size_t>(grades.Of(row, k))];
                ++count.cells[static_cast<std::size_t>(Fidelity::Prescribed)];
            }
            continue;
        }
        for (std::size_t k = 0; k < columns.size(); ++k) {
            const auto sent = FidelityValue(table, columns[k], row);
            const auto where = PlaceName(table, columns[k], row, sent.AsCell());
            if (found.empty()) {
                count.Add(Fidelity::Unexpected, where + ": the row is missing");
                continue;
            }
            const CellRoute route{source, target, ColMaps[k].DDtype, table.has_long_columns};
            auto fidelity =
                Judge(route, table.columns[columns[k]].meaning, sent.AsCell(), found[k].AsCell());
            const auto told = where + ", found " + Shown(found[k].AsCell()) +
                              " in a column of type " + ColMaps[k].DDtype;
            count.Hold(grades.Of(row, k), fidelity == Fidelity::Exact, told);
            if (fidelity == Fidelity::Unexpected && table.has_edges) {
                fidelity = Fidelity::Prescribed;  // told by the check, or counted as wrong above
            }
            count.Add(fidelity, told);
        }
    }
}

void CompareText(const std::string& source,
                 const FidelityTable& table,
                 const std::vector<std::size_t>& columns,
                 const Grades& grades,
                 Count& count) {
    std::ifstream file(DstTables[0].Name, std::ios::binary);
    const std::string all{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    std::string_view rest = all;
    const auto pass = [&](std::string_view mark) {
        const bool there = rest.starts_with(mark);
        rest.remove_prefix(there ? mark.size() : 0);
        return there;
    };
    rest.remove_prefix(std::min(rest.find('\n') + 1, rest.size()));  // the heading
    for (int row = 1; row <= table.rows; ++row) {
        for (std::size_t k = 0; k < columns.size(); ++k) {
            const auto sent = FidelityValue(table, columns[k], row);
            const auto found = std::string(rest.substr(0, 60));
            auto fidelity = JudgeText({source, "TEXT", {}, table.has_long_columns},
                                      table.columns[columns[k]].meaning,
                                      sent.AsCell(),
                                      rest);
            if (!pass(k + 1 < columns.size() ? "\t" : "\r\n")) {
                fidelity = Fidelity::Unexpected;
            }
            const auto told = PlaceName(table, columns[k], row, sent.AsCell()) + ", found " + found;
            count.Hold(grades.Of(row, k), fidelity == Fidelity::Exact, told);
            if (fidelity == Fidelity::Unexpected && table.has_edges) {
                fidelity = Fidelity::Prescribed;
            }
            count.Add(fidelity, told);
        }
    }
    if (!rest.empty()) {
        count.Add(Fidelity::Unexpected, "there is more behind the last row");
    }
}

void MapColumns(const std::string& target) {
    std::vector<std::string> names;
    FillTargetTables();
    if (target != "TEXT") {
        DstTables[0].Name = kTargetTable;
    }
    LoadSourceColumns();
    CheckTargetTables(names);
    LoadTargetColumns();
    BuildColMaps();
    // A source that doesn't know how wide its numbers are: the mapping page doesn't let a FoxPro
    // field of such a width pass, and its user enters one.
    for (auto& map : ColMaps) {
        if (TargetType == "FOXPRO" && map.DDtype == "Numeric" && map.DWidth > kWidestFoxProNumber) {
            map.DWidth = kWidestFoxProNumber;
            map.DScale = 4;
        }
    }
}

Count RunRoute(FidelityPlaces& places,
               const std::string& source,
               const std::string& target,
               const FidelityTable& table) {
    Count count;
    try {
        InitSharedState(ApplicationFolder());
        KeepToWindows1252(source.starts_with("FOXPRO") ||
                          (target.starts_with("FOXPRO") && !table.has_edges));
        LogView view;
        CurrentRunView = &view;
        places.SetSource(source, table);
        places.SetTarget(target);
        MapColumns(target);
        const auto grades = GradesOfSession(table, FidelityPlaces::ColumnsOf(source, table));
        if (!grades.trouble.empty()) {
            count.Fail(grades.trouble);
        }
        const auto refused = grades.WithoutRefused(table.columns[0].name);
        target == "TEXT" ? RunSessionToText("") : RunSession("");
        // A server that cuts a value to its column's places is told of in the log; the value itself
        // is compared above.
        static const std::regex cut_values(
            "Error Loading Row:[0-9]+[\r\n]+The rows were taken, but the server has changed "
            "values");
        const auto log = std::regex_replace(view.log, cut_values, "");
        if (const auto at = log.find("Error");
            at != std::string::npos && (refused.empty() || !table.has_edges)) {
            count.Add(Fidelity::Unexpected, {});
            count.first = "the log says " + log.substr(at, 200);
            return count;
        }
        const auto columns = FidelityPlaces::ColumnsOf(source, table);
        if (target == "TEXT") {
            CompareText(source, table, columns, grades, count);
            return count;
        }
        // A batch that was refused says nothing of its other rows: they go once more without.
        if (target == "MySQL" && !refused.empty()) {
            SrcTables[0].WhereCond = refused;
            SrcTables[0].TableExists = kTrue;
            view.log.clear();
            RunSession("");
            SrcTables[0].WhereCond.clear();
            if (std::regex_replace(view.log, cut_values, "").find("Error") != std::string::npos) {
                count.Fail("without the refused rows the log says " + view.log);
            }
        }
        CompareTable(source,
                     target,
                     table,
                     columns,
                     places.ReadTarget(target, table, columns),
                     grades,
                     count);
    } catch (const std::exception& error) {
        count.Add(Fidelity::Unexpected, {});
        count.first = error.what();
    }
    return count;
}

int PrintMatrix(std::string_view only) {
    FidelityPlaces places;
    Count all;
    std::printf("%-14s %-14s %-6s %9s %9s %11s %11s %9s %8s %8s %6s\n",
                "from",
                "to",
                "table",
                "cells",
                "exact",
                "prescribed",
                "unexpected",
                "kept",
                "changed",
                "refused",
                "wrong");
    for (const auto& source : FidelityPlaces::Sources()) {
        for (const auto& target : FidelityPlaces::Targets()) {
            if (!only.empty() && source != only && target != only) {
                continue;
            }
            const auto missing = FidelityPlaces::Missing(source) + FidelityPlaces::Missing(target);
            if (!missing.empty()) {
                std::printf(
                    "%-14s %-14s left out: %s\n", source.c_str(), target.c_str(), missing.c_str());
                continue;
            }
            for (const auto& table : FidelityTables()) {
                const auto count = RunRoute(places, source, target, table);
                std::printf("%-14s %-14s %-6s %9lld %9lld %11lld %11lld %9lld %8lld %8lld %6lld\n",
                            source.c_str(),
                            target.c_str(),
                            std::string(table.name).c_str(),
                            static_cast<long long>(count.All()),
                            static_cast<long long>(count.cells[0]),
                            static_cast<long long>(count.cells[1]),
                            static_cast<long long>(count.cells[2]),
                            static_cast<long long>(count.grades[0]),
                            static_cast<long long>(count.grades[1]),
                            static_cast<long long>(count.grades[2]),
                            static_cast<long long>(count.wrong));
                if (!count.first.empty()) {
                    std::printf("    %s\n", count.first.c_str());
                }
                std::fflush(stdout);
                for (std::size_t k = 0; k < all.cells.size(); ++k) {
                    all.cells[k] += count.cells[k];
                    all.grades[k] += count.grades[k];
                }
                all.wrong += count.wrong;
            }
        }
    }
    std::printf("%-36s %9lld %9lld %11lld %11lld %9lld %8lld %8lld %6lld\n",
                "all",
                static_cast<long long>(all.All()),
                static_cast<long long>(all.cells[0]),
                static_cast<long long>(all.cells[1]),
                static_cast<long long>(all.cells[2]),
                static_cast<long long>(all.grades[0]),
                static_cast<long long>(all.grades[1]),
                static_cast<long long>(all.grades[2]),
                static_cast<long long>(all.wrong));
    return all.All() > 0 && all.cells[2] == 0 && all.wrong == 0 ? 0 : 1;
}

}  // namespace
}  // namespace vantry::bench

int main(int count, char** arguments) {
    setenv("LC_ALL", "C.UTF-8", 1);  // the character set of text files, whatever the shell's
    std::setlocale(LC_ALL, "");
    vantry::SetLocalDateForm({});
    return vantry::bench::PrintMatrix(count > 1 ? arguments[1] : "");
}
