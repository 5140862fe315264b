#pragma once
// Values in the text of a MySQL statement, and the date forms that the loader sends.

#include "data/value.h"

#include <array>
#include <cstddef>
#include <string>

namespace vantry {

// Appends a value and a comma. Throws DataError where the value has no form of its type.
using AppendPiece = void (*)(const Cell& value, std::string& batch);
// By the type of the source's field.
AppendPiece PieceOf(int type);

inline constexpr std::size_t kServerDateLength = 10;      // yyyy-mm-dd
inline constexpr std::size_t kServerDateTimeLength = 19;  // yyyy-mm-dd-hh-nn-ss
using ServerDateText = std::array<char, kServerDateTimeLength>;

// Throws DataError (kErrConversion) for a value that is no date.
ServerDateText FormatForServer(const Cell& value);

// A date that no calendar has, such as 0000-00-00 out of an old server, comes as the text that its
// source wrote. It goes on as it stands: whether it is taken is the target's to say.
bool IsTextWithoutDate(const Cell& value);

}  // namespace vantry
