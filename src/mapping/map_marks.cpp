#include "mapping/map_marks.h"

#include "core/kinds.h"
#include "core/route.h"
#include "data/letter_case.h"
#include "data/utf.h"

#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <map>

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

struct Counted {
    bool exists = false;
    std::size_t out = 0;
    std::size_t differ = 0;
    std::string unparted;     // the name of a column that may be several
    std::size_t letters = 0;  // of the table's name
};

// What a saved session keeps of a table's name.
constexpr std::size_t kLettersSaved = 50;

// The heading of a file that another sign parts than the chosen one.
bool LooksUnparted(const std::string& column) {
    return ThisSource().text_files && column.find_first_of(";\t|") != std::string::npos;
}

std::string MarkOfTable(const std::string& target, const Counted& rows) {
    std::string text;
    std::error_code error;
    if (ThisTarget().loader == Loader::Files && std::filesystem::exists(target, error)) {
        Add(text,
            "The file " + LastPartOf(target) + " is there already, and the run replaces it whole.");
    }
    if (!rows.unparted.empty()) {
        Add(text,
            "A column is called \"" + rows.unparted +
                "\": perhaps the file has another delimiter than the one that was chosen.");
    }
    if (rows.letters > kLettersSaved) {
        Add(text,
            "The name has " + std::to_string(rows.letters) + " letters: a session keeps " +
                std::to_string(kLettersSaved) +
                ", so one with this table can be run, but not saved.");
    }
    if (rows.differ > 0) {
        Add(text,
            CountInWords(rows.differ, "column goes", "columns go") +
                " by position into one of another name.");
    }
    if (rows.out > 0) {
        Add(text,
            CountInWords(rows.out, "completed row isn't", "completed rows aren't") + " loaded.");
    }
    return text;
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

std::vector<std::string> MarksOfTables() {
    std::map<double, Counted> of_table;
    for (const TableRec& table : SrcTables) {
        // A table that is dropped is made anew, with the source's own names.
        of_table[table.TabID].exists = table.TableExists == kTrue && table.LoadOption != "DROP";
    }
    for (const ColMapRec& row : ColMaps) {
        if (const auto table = of_table.find(row.TabID); table != of_table.end()) {
            table->second.letters = CountCodePoints(row.TName);
            if (LooksUnparted(row.SCName)) {
                table->second.unparted = row.SCName;
            }
            table->second.out += StaysOut(row) ? 1 : 0;
            table->second.differ += NamesDiffer(row, table->second.exists) ? 1 : 0;
        }
    }
    std::vector<std::string> marks(SrcTables.size());
    for (std::size_t i = 0; i < std::min(SrcTables.size(), DstTables.size()); ++i) {
        marks[i] = MarkOfTable(DstTables[i].Name, of_table[SrcTables[i].TabID]);
    }
    return marks;
}

}  // namespace vantry
