// What stands between a map and the next page. Each check only reads; what a page does about an
// answer is its own business. Tables that are dropped and made anew are passed over: their target
// columns come from the source, whatever the map says.

#include "mapping/map_check.h"

#include "core/table_names.h"
#include "mapping/mapping_rules.h"

#include <algorithm>
#include <limits>
#include <map>
#include <set>
#include <utility>

namespace vantry {
namespace {

// The rules have 16-bit widths since sessions were first stored; a wider column is named
// here instead of being cut to a width that would pass.
i16 NarrowWidth(i32 width, const ColMapRec& row, const std::string& column) {
    if (width > std::numeric_limits<i16>::max() || width < std::numeric_limits<i16>::min()) {
        throw DataError(kErrOverflow,
                        "Overflow: column " + column + " of table " + row.TName + " is " +
                            std::to_string(width) +
                            " wide, and the mapping rules take widths up to 32767. Please skip "
                            "the column or map one that is narrower.");
    }
    return static_cast<i16>(width);
}

bool IsMadeAnew(const TableRec& table) {
    return table.FirstTimeLoadOpt != "CREATE" && table.LoadOption == "DROP";
}

}  // namespace

std::string CheckMapRow(const ColMapRec& row) {
    const i16 source_width = NarrowWidth(row.SWidth, row, row.SCName);
    const i16 target_width = NarrowWidth(row.DWidth, row, row.DCName);
    return CheckColumnPair(row.SCName,
                           row.DCName,
                           row.SDtype,
                           row.DDtype,
                           source_width,
                           target_width,
                           row.SScale,
                           row.DScale);
}

std::string MapErrorsOfAllTables() {
    // Grouped first: a thousand tables of a hundred columns would be walked a thousand times.
    std::map<double, std::vector<const ColMapRec*>> rows_of;
    for (const auto& row : ColMaps) {
        if (row.SSelected == 1) {
            rows_of[row.TabID].push_back(&row);
        }
    }
    std::string text;
    for (const auto& table : SrcTables) {
        const auto rows = rows_of.find(table.TabID);
        if (rows == rows_of.end() || IsMadeAnew(table)) {
            continue;
        }
        for (const auto* row : rows->second) {
            if (const std::string error = CheckMapRow(*row); !error.empty()) {
                // Above every error, not once a table: users search the text from the error
                // upwards.
                text += "TABLE NAME :" + table.Name + "\r\n" + error + "\r\n";
            }
        }
    }
    return text;
}

std::string MapErrorsOfRows(std::size_t first, std::size_t end) {
    std::string text;
    for (std::size_t index = first; index < end; ++index) {
        if (ColMaps[index].SSelected != 1) {
            continue;
        }
        if (const std::string error = CheckMapRow(ColMaps[index]); !error.empty()) {
            text += error + "\r\n";
        }
    }
    return text;
}

void UnselectSkippedRows() {
    for (auto& row : ColMaps) {
        if (row.SCName == SkipLabel || row.DCName == SkipLabel) {
            row.SSelected = 0;
        }
    }
}

std::string FindDuplicateTarget(const std::vector<ColMapRec>& rows) {
    using Key = std::pair<double, std::string_view>;
    std::set<Key> seen;
    std::set<Key> repeated;
    for (const auto& row : rows) {
        if (row.DCName != SkipLabel && !seen.emplace(row.TabID, row.DCName).second) {
            repeated.emplace(row.TabID, row.DCName);
        }
    }
    // The first of them in the map's order, which is the one that the page can show.
    if (repeated.empty()) {
        return {};
    }
    const auto first = std::find_if(rows.begin(), rows.end(), [&](const ColMapRec& row) {
        return repeated.contains({row.TabID, row.DCName});
    });
    return first->DCName;
}

std::string WhereTestQuery(const TableRec& table, const std::string& condition) {
    return "select * from " + SourceTable(table, Reading::FilterTest) + " Where " + condition;
}

void StoreWhereCondition(std::size_t index, const std::string& condition) {
    if (condition.empty()) {
        SrcTables[index].WhereCond.clear();
        return;
    }
    Recordset rows;
    // Opening is the test: no row is read, and the condition is stored only behind it.
    rows.Open(WhereTestQuery(SrcTables[index], condition), SourceConnStr);
    SrcTables[index].WhereCond = condition;
    DstTables[index].WhereCond = condition;
    rows.Close();
}

}  // namespace vantry
