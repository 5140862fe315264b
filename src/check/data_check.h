#pragma once
// The check of a table before it is loaded: its types, then every row in one pass, judged value by
// value as the run would carry it. Only reads, from source and target. Memory doesn't grow with the
// rows.

#include "check/type_check.h"

#include <cstdint>
#include <functional>

namespace vantry {

struct CheckView {
    // Asked every few thousand rows; true ends the pass.
    std::function<bool()> cancelled = [] { return false; };
    std::function<void(std::int64_t rows)> progress = [](std::int64_t) {};
};

// Never throws for what a data source says: that is the result's `trouble`.
TableCheck CheckTable(std::size_t table, const CheckView& view);

}  // namespace vantry
