#pragma once
// Which source type may go to which target type, and which names and widths a target column may
// have: a hand-made rule set for each pair of kinds, apart from the type catalogue and different
// from it in places. The rules only warn. A source type that stands in no group of its pair of
// kinds passes with any target type.

#include "core/session_state.h"

#include <string>

namespace vantry {

// Judges one row of the map by SourceType, TargetType and FoxDestMode. Empty: the row is fine;
// anything else is the text for the user, its lines separated by CR LF: a name or width message, a
// type error block (which begins with a line break), or both in this order.
std::string CheckColumnPair(const std::string& SCName,
                            const std::string& DCName,
                            const std::string& SDtype,
                            const std::string& DDtype,
                            i16 SWidth,
                            i16 DWidth,
                            i16 SScale,
                            i16 DScale);

}  // namespace vantry
