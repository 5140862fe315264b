#pragma once
// One unique key of a target while the rows of a load pass by: which of them would be refused
// because a former row, of the load or of the target, has their key.

#include "check/repeated_keys.h"
#include "data/driver.h"

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace vantry {

class UniqueKey {
public:
    // `columns`: of the load, one a part; nothing where the load leaves a part out.
    UniqueKey(TableRules::Unique rule, std::vector<std::optional<std::size_t>> columns)
        : rule_(std::move(rule)), columns_(std::move(columns)) {}

    const TableRules::Unique& Rule() const { return rule_; }
    std::span<const std::optional<std::size_t>> Columns() const { return columns_; }
    // Whether Add wants the values as the target stores them. False: the rule makes its keys itself
    // (StoredKeys), of the values as they are read.
    bool WantsStoredValues() const { return rule_.keys == nullptr; }

    // One cell a part. Row 0: it is in the target already.
    void Add(std::span<const Cell> parts, std::int64_t row);
    void AddKey(std::string_view key, std::int64_t row);
    // "pk (id, town)"
    std::string Name() const;

    RepeatedKeys keys;

private:
    TableRules::Unique rule_;
    std::vector<std::optional<std::size_t>> columns_;
};

}  // namespace vantry
