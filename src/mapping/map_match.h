#pragma once
// Pairs the columns of a table anew: by their names or by their positions. The first map goes by
// position alone; a user whose tables have the same columns in another order has it mended here.

#include "core/session_state.h"

#include <cstdint>

namespace vantry {

enum class MatchBy : std::uint8_t {
    Name,      // letter case, blanks and underscores don't count; the others get no partner
    Position,  // as the first map
    Skip       // pairs stay whose names are alike; the others are parted
};

// The rows of ColMaps of this table; they stay where they are among those of other tables. Rows
// without a partner have SkipLabel on the other side and aren't loaded. Widths and types that the
// user has changed are those of the columns again.
void MatchColumns(i16 tab_id, MatchBy by);

// All columns of both sides have a partner of the same name, and the map, which goes by position,
// pairs others.
bool NamesMatchInAnotherOrder(i16 tab_id);

}  // namespace vantry
