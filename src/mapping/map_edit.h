#pragma once
// What the user's choices on the column mapping page write into a row of the map. SOrgDtype and
// SSelected are touched by none of them: a new table takes its types from the column that stood in
// the row when the map was made, and a row once taken out of the load stays out.

#include "core/session_state.h"

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace vantry {

// The type names that can be picked for a target of this kind, upper-cased and trimmed: in part
// neither those of the catalogue nor those of the rules. Empty for an unknown kind.
std::span<const std::string_view> TargetTypeChoices(std::string_view kind);

// A column of SrcCols as the row's source.
void PutSourceColumn(ColMapRec& row, std::size_t source_column);
// SkipLabel picked as the source: the rest of the row stays until the cell is left.
void PickSourceSkip(ColMapRec& row);
void LeaveSourceSkip(ColMapRec& row);

// A column of DstCols as the row's target, or none.
void PutTargetColumn(ColMapRec& row, std::size_t target_column);
void PutTargetSkip(ColMapRec& row);

// Whether a target type has a size, or decimals, that can be changed.
bool HasTargetSize(const std::string& target_type);
bool HasTargetDecimals(const std::string& target_type);

// The number that a size or decimals text stands for, rounded half to even; nothing when it is no
// number or doesn't fit in the field.
std::optional<i32> SizeOf(const std::string& text);
std::optional<i16> DecimalsOf(const std::string& text);
// Whether the whole-number part of `text` is less than the size of the row; nothing when the text
// is no number.
std::optional<bool> AreDecimalsBelowSize(const std::string& text, i32 size);

}  // namespace vantry
