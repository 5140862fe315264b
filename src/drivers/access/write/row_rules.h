#pragma once
// The rules of a table that a row is held to before anything is written, and the values that the
// table itself gives: AutoNumbers, new GUIDs, defaults. Keys and relationships are not among them.

#include "data/value.h"
#include "drivers/access/catalogue/properties.h"
#include "drivers/access/catalogue/table_def.h"
#include "drivers/access/rows/row_encoder.h"

#include <random>
#include <span>
#include <string>
#include <vector>

namespace vantry::access {

class RowRules {
public:
    // `def` must outlive it. `properties` are those of the table's object.
    RowRules(const FileHeader& header,
             const TableDef& def,
             const std::vector<Property>& properties);

    // The row with what wasn't given: unset cells get the column's default, AutoNumbers that are
    // null or unset the number after `last_number`. Valid until the next call, and no longer than
    // `row`. Throws DataError when the numbers are used up or a default isn't understood.
    std::span<const Cell> Complete(std::span<const Cell> row, std::uint32_t last_number);

    // Throws DataError naming the first column whose value the table doesn't take.
    void CheckRow(std::span<const Cell> row) const;
    // The same for a row being changed: `kept` has the fields that stay as they are.
    void CheckChange(std::span<const Cell> row,
                     std::span<const RowEncoder::StoredField> kept) const;

    // Positions in the definition.
    const std::vector<std::size_t>& AutoNumbers() const { return auto_numbers_; }

private:
    struct DefaultValue {
        std::size_t column = 0;
        std::string expression;
    };

    void AddColumn(const FileHeader& header,
                   const std::vector<Property>& properties,
                   std::size_t position);
    void CheckEmptyTexts(std::span<const Cell> row) const;
    void GiveNumbers(std::uint32_t last_number);
    void GiveGuids();
    void GiveDefaults();

    const TableDef* def_;
    // All of them by column position.
    std::vector<std::size_t> auto_numbers_;
    std::vector<std::size_t> auto_guids_;
    std::vector<std::size_t> required_;
    std::vector<std::size_t> never_empty_;  // text columns that take no text without characters
    std::vector<DefaultValue> defaults_;

    std::vector<Cell> cells_;
    std::vector<Value> memory_;  // what the cells that were given here point at
    std::mt19937_64 random_;
};

}  // namespace vantry::access
