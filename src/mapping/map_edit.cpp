// Each choice of the user as the fields that it changes, and no others: what a choice leaves alone
// is as much part of it, since the rest of the row is what the run will load.

#include "mapping/map_edit.h"

#include "core/kinds.h"
#include "data/letter_case.h"
#include "data/value_text.h"
#include "mapping/type_catalogue.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace vantry {
namespace {

using Name = std::string_view;

// clang-format off
// By name alone, whatever the kind: a MySQL TEXT lets its size be changed as an Access one does.
constexpr Name kSizedTypes[] = {"NUMERIC", "CHARACTER", "CHAR", "VARCHAR", "VARCHAR2", "TEXT",
    "NUMBER"};
constexpr Name kTypesWithDecimals[] = {"NUMERIC", "DOUBLE"};
// clang-format on

bool IsOneOf(std::span<const Name> names, const std::string& type) {
    return std::find(names.begin(), names.end(), UpperCased(Trimmed(type))) != names.end();
}

template <typename Integer>
std::optional<Integer> NumberOf(const std::string& text) {
    const auto number = ParseDouble(Trimmed(text));
    if (!number) {
        return std::nullopt;
    }
    // As the field's own conversion would round: 2.5 is 2 and 3.5 is 4.
    const double rounded = std::nearbyint(*number);  // half to even
    if (rounded < std::numeric_limits<Integer>::min() ||
        rounded > std::numeric_limits<Integer>::max()) {
        return std::nullopt;
    }
    return static_cast<Integer>(rounded);
}

}  // namespace

std::span<const std::string_view> TargetTypeChoices(std::string_view kind) {
    const std::string key = UpperCased(Trimmed(kind));
    // Letter case doesn't count here: the page passes on what a stored session holds.
    for (const auto& row : AllKinds()) {
        if (key == UpperCased(row.name)) {
            return row.target.type_choices;
        }
    }
    return {};
}

void PutSourceColumn(ColMapRec& row, std::size_t source_column) {
    const auto& column = SrcCols[source_column];
    row.SCName = column.ColName;
    row.SDtype = TranslateType(column.ColType, "SOURCE");
    row.SWidth = column.ColWidth;
    row.SScale = static_cast<i16>(column.ColScale);
}

void PickSourceSkip(ColMapRec& row) {
    row.SCName = SkipLabel;
}

// The row keeps its place and its target: only what describes the source column goes.
void LeaveSourceSkip(ColMapRec& row) {
    row.SCName = SkipLabel;
    row.SDtype.clear();
    row.SWidth = 0;
    row.SScale = 0;
}

void PutTargetColumn(ColMapRec& row, std::size_t target_column) {
    const auto& column = DstCols[target_column];
    row.DCName = column.ColName;
    row.DDtype = TranslateType(column.ColType, "DEST");
    row.DWidth = column.ColWidth;
    row.DScale = static_cast<i16>(column.ColScale);
}

void PutTargetSkip(ColMapRec& row) {
    row.DCName = SkipLabel;
    row.DDtype.clear();
    row.DWidth = 0;
    row.DScale = 0;
}

bool HasTargetSize(const std::string& target_type) {
    return IsOneOf(kSizedTypes, target_type);
}

bool HasTargetDecimals(const std::string& target_type) {
    return IsOneOf(kTypesWithDecimals, target_type);
}

std::optional<i32> SizeOf(const std::string& text) {
    return NumberOf<i32>(text);
}

std::optional<i16> DecimalsOf(const std::string& text) {
    return NumberOf<i16>(text);
}

std::optional<bool> AreDecimalsBelowSize(const std::string& text, i32 size) {
    const auto number = ParseDouble(Trimmed(text));
    return number ? std::optional(std::trunc(*number) < size) : std::nullopt;
}

}  // namespace vantry
