#pragma once
// What the check before a run says of each cell that the matrix sends: the grades of the values as
// the source gives them, by the judges that the product uses.

#include "check/value_judge.h"
#include "fidelity_data.h"

#include <cstdint>
#include <string>
#include <vector>

namespace vantry::bench {

// By the row's number and the column of the load; an empty row was never read.
struct Grades {
    std::vector<std::vector<Grade>> cells;
    std::string trouble;  // the check of the whole table disagrees with its values' grades

    Grade Of(int row, std::size_t column) const;
    bool Refuses(int row) const;
    // Rows in a condition, for a run without those that are refused; empty when none is.
    std::string WithoutRefused(std::string_view number_column) const;
};

// Of the session in memory, whose map is made. `columns` of the table are those of the source.
Grades GradesOfSession(const FidelityTable& table, const std::vector<std::size_t>& columns);

}  // namespace vantry::bench
