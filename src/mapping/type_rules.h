#pragma once
// The tables of allowed type pairs: facts only. Type names are in capitals.

#include <string_view>

namespace vantry {

// Whether a source type may go to a target type between two kinds. True when the source type
// stands in no group of these kinds, or the kinds have no rules. Types are compared exactly.
bool IsTypePairAllowed(std::string_view source_kind,
                       std::string_view target_kind,
                       std::string_view source_type,
                       std::string_view target_type);

}  // namespace vantry
