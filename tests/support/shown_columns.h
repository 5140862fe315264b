#pragma once
// How a driver describes columns, in one line.

#include "data/driver.h"

#include <span>
#include <string>

namespace vantry::test {

// "type size", and "p" and "s" before precision and scale where they apply.
inline std::string Shown(const ColumnInfo& column) {
    return std::to_string(column.type) + " " + std::to_string(column.defined_size) +
           (column.precision == kDoesNotApply ? "" : " p" + std::to_string(column.precision)) +
           (column.scale == kDoesNotApply ? "" : " s" + std::to_string(column.scale));
}
// The same of all columns, each behind its name.
inline std::string Shown(std::span<const ColumnInfo> columns) {
    std::string text;
    for (const auto& column : columns) {
        text.append(text.empty() ? "" : ", ").append(column.name + " " + Shown(column));
    }
    return text;
}

}  // namespace vantry::test
