#pragma once
// What SQL Server makes of a value that goes into a column of dates or times and isn't a moment: of
// a text it reads more forms than ISO's, of a number it counts days for its two older types alone.
//
// Forms that are read one way in every login's language: "2024-01-31", "20240131", "240131", the
// year alone; a time with or without a day before it; behind a time the distance to UTC, which the
// older types refuse and all but one of the newer ones leave out. Others, which some logins' orders
// of day and month take, count as refused.

#include "check/value_judge.h"

#include <optional>
#include <string_view>

namespace vantry {

inline constexpr Verdict kRefusedType{Grade::Refused, Reason::NotAValue};
inline constexpr Verdict kOutside{Grade::Refused, Reason::Range};

// Nothing but blanks, which the server takes for a zero or its first day.
bool IsBlank(std::string_view text);

// Nothing: the judgement of all targets holds.
std::optional<Verdict> TextIntoMoment(std::string_view text, const Holding& holding);
std::optional<Verdict> NumberIntoMoment(const Cell& value, const Holding& holding);

}  // namespace vantry
