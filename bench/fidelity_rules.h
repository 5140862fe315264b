#pragma once
// Whether a cell of a target is what was sent, what the type tables make of it, or neither.

#include "fidelity_data.h"

#include <string>
#include <string_view>

namespace vantry::bench {

enum class Fidelity { Exact, Prescribed, Unexpected };

// Where the cell went.
struct CellRoute {
    std::string_view source;
    std::string_view target;       // "MySQL", "ORACLE", ...
    std::string_view target_type;  // by which the target's column was created
    bool beside_long = false;      // the table has long columns
};

Fidelity Judge(const CellRoute& route, Meaning meaning, const Cell& sent, const Cell& found);

// The same in a text file. `text` begins with the cell; what belongs to it is cut off, but not the
// delimiter or line end behind it.
Fidelity JudgeText(const CellRoute& route,
                   Meaning meaning,
                   const Cell& sent,
                   std::string_view& text);

}  // namespace vantry::bench
