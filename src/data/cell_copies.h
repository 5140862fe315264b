#pragma once
// Cells that stay good when the row they looked at moves on.

#include "data/value.h"

#include <span>
#include <vector>

namespace vantry {

class CellCopies {
public:
    // Views of values that this object owns, until the next call.
    std::span<const Cell> Take(std::span<const Cell> cells) {
        values_.clear();
        cells_.clear();
        values_.reserve(cells.size());
        for (const auto& cell : cells) {
            cells_.push_back(values_.emplace_back(cell).AsCell());
        }
        return cells_;
    }

private:
    std::vector<Value> values_;
    std::vector<Cell> cells_;
};

}  // namespace vantry
