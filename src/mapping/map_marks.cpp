#include "mapping/map_marks.h"

#include "core/kinds.h"
#include "core/route.h"
#include "data/letter_case.h"

#include <filesystem>

namespace vantry {
namespace {

bool HasBothSides(const ColMapRec& row) {
    return row.SCName != SkipLabel && row.DCName != SkipLabel;
}

bool StaysOut(const ColMapRec& row) {
    return HasBothSides(row) && row.SSelected != 1;
}

bool NamesDiffer(const ColMapRec& row, bool target_exists) {
    return target_exists && HasBothSides(row) && row.SSelected == 1 &&
           LowerCased(row.SCName) != LowerCased(row.DCName);
}

void Add(std::string& text, const std::string& sentence) {
    text += (text.empty() ? "" : " ") + sentence;
}

}  // namespace

std::string MarkOfRow(const ColMapRec& row, bool target_exists) {
    if (StaysOut(row)) {
        return "This row isn't loaded: it began without one of its sides, and choosing one later "
               "doesn't bring it into the load.";
    }
    if (NamesDiffer(row, target_exists)) {
        return "Columns are paired by their position: \"" + row.SCName + "\" goes into \"" +
               row.DCName + "\".";
    }
    return {};
}

std::string MarkOfTable(std::size_t index) {
    if (index >= SrcTables.size() || index >= DstTables.size()) {
        return {};
    }
    const TableRec& source = SrcTables[index];
    std::string text;
    std::error_code error;
    if (ThisTarget().loader == Loader::Files &&
        std::filesystem::exists(DstTables[index].Name, error)) {
        Add(text,
            "The file " + LastPartOf(DstTables[index].Name) +
                " is there already, and the run replaces it whole.");
    }
    // A table that is dropped is made anew, with the source's own names.
    const bool exists = source.TableExists == kTrue && source.LoadOption != "DROP";
    std::size_t out = 0;
    std::size_t differ = 0;
    for (const ColMapRec& row : ColMaps) {
        if (row.TabID == source.TabID) {
            out += StaysOut(row) ? 1 : 0;
            differ += NamesDiffer(row, exists) ? 1 : 0;
        }
    }
    if (differ > 0) {
        Add(text,
            CountInWords(differ, "column goes", "columns go") +
                " by position into one of another name.");
    }
    if (out > 0) {
        Add(text, CountInWords(out, "completed row isn't", "completed rows aren't") + " loaded.");
    }
    return text;
}

}  // namespace vantry
