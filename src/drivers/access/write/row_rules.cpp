// What a row must be is said in two places: flags of the column descriptors make AutoNumbers, and
// the properties of the table's object make required fields, texts that must not be empty and
// defaults. Both are turned into lists of column positions once, so that a table without rules
// costs its rows nothing. Easy to get wrong: a missing "AllowZeroLength" allows empty texts (the
// engine's rule; Access's own designer shows the opposite), and Yes/No columns are never null.

#include "drivers/access/write/row_rules.h"

#include "drivers/access/rows/default_value.h"
#include "drivers/access/write_errors.h"

#include <array>

namespace vantry::access {
namespace {

constexpr std::string_view kRequiredProperty = "Required";
constexpr std::string_view kDefaultProperty = "DefaultValue";
constexpr std::string_view kEmptyTextProperty = "AllowZeroLength";

bool IsMissing(const Cell& cell) {
    return cell.IsNull() || cell.IsUnset();
}

// The property's first byte, which is the whole of a Yes/No; `otherwise` when there is none.
bool YesNo(const Property* property, bool otherwise) {
    return property == nullptr || property->value.empty() ? otherwise
                                                          : property->value[0] != std::byte{};
}

}  // namespace

RowRules::RowRules(const FileHeader& header,
                   const TableDef& def,
                   const std::vector<Property>& properties)
    : def_(&def), random_(std::random_device{}()) {
    for (std::size_t position = 0; position < def.columns.size(); ++position) {
        AddColumn(header, properties, position);
    }
}

void RowRules::AddColumn(const FileHeader& header,
                         const std::vector<Property>& properties,
                         std::size_t position) {
    const ColumnDef& column = def_->columns[position];
    const auto property = [&](std::string_view name) {
        return FindProperty(properties, column.name, name);
    };
    if (column.IsAutoNumber()) {
        auto_numbers_.push_back(position);
    } else if (column.IsAutoGuid()) {
        auto_guids_.push_back(position);
    }
    const bool automatic = column.IsAutoNumber() || column.IsAutoGuid();
    if (!automatic && column.type != ColumnType::Boolean &&
        YesNo(property(kRequiredProperty), false)) {
        required_.push_back(position);
    }
    if (column.IsText() && !YesNo(property(kEmptyTextProperty), true)) {
        never_empty_.push_back(position);
    }
    const Property* const value = property(kDefaultProperty);
    if (!automatic && value != nullptr && !value->value.empty()) {
        std::string text = TextCoding(header).Name(value->value);
        // A GUID column with this default is what other programs make of an automatic one.
        if (column.type == ColumnType::Guid && IsNewGuid(text)) {
            auto_guids_.push_back(position);
        } else {
            defaults_.push_back({position, std::move(text)});
        }
    }
}

// ---- Values that the row doesn't have ---------------------------------------------------------

std::span<const Cell> RowRules::Complete(std::span<const Cell> row, std::uint32_t last_number) {
    if (auto_numbers_.empty() && auto_guids_.empty() && defaults_.empty()) {
        return row;
    }
    cells_.assign(row.begin(), row.end());
    memory_.resize(cells_.size());
    GiveNumbers(last_number);
    GiveGuids();
    GiveDefaults();
    return cells_;
}

void RowRules::GiveNumbers(std::uint32_t last_number) {
    for (const std::size_t column : auto_numbers_) {
        if (!IsMissing(cells_[column])) {
            continue;
        }
        // The engine would go on with the smallest number, into those that may be in use.
        if (last_number == INT32_MAX) {
            throw CannotChangeTable(
                def_->name,
                "its AutoNumber values are used up: they go on from the largest one "
                "ever stored, which was 2147483647. Give the new row a number of its "
                "own, or copy the rows to a new table");
        }
        cells_[column] = Cell::Int64(static_cast<std::int32_t>(last_number) + 1LL);
    }
}

void RowRules::GiveGuids() {
    for (const std::size_t column : auto_guids_) {
        if (!IsMissing(cells_[column])) {
            continue;
        }
        std::array<std::uint64_t, 2> words{random_(), random_()};
        auto* const bytes = reinterpret_cast<unsigned char*>(words.data());
        // Version 4 in the upper half of the third group, the variant in the ninth byte.
        bytes[7] = static_cast<unsigned char>((bytes[7] & 0x0F) | 0x40);
        bytes[8] = static_cast<unsigned char>((bytes[8] & 0x3F) | 0x80);
        memory_[column].Assign(Cell::Bytes(std::as_bytes(std::span(words))));
        cells_[column] = memory_[column].AsCell();
    }
}

// A null that was given stays null: only what the statement doesn't name gets its default.
void RowRules::GiveDefaults() {
    for (const DefaultValue& value : defaults_) {
        if (!cells_[value.column].IsUnset()) {
            continue;
        }
        const auto worked_out = EvaluateDefault(value.expression, memory_[value.column]);
        if (!worked_out) {
            throw DefaultNotUnderstood({def_->name, def_->columns[value.column].name},
                                       value.expression);
        }
        cells_[value.column] = *worked_out;
    }
}

// ---- Checks -----------------------------------------------------------------------------------

void RowRules::CheckRow(std::span<const Cell> row) const {
    for (const std::size_t column : required_) {
        if (IsMissing(row[column])) {
            throw NullNotAllowed({def_->name, def_->columns[column].name});
        }
    }
    CheckEmptyTexts(row);
}

// A kept field isn't looked at: a rule that came after the row doesn't forbid changing its others.
void RowRules::CheckChange(std::span<const Cell> row,
                           std::span<const RowEncoder::StoredField> kept) const {
    for (const std::size_t column : required_) {
        if (!kept[column].given && IsMissing(row[column])) {
            throw NullNotAllowed({def_->name, def_->columns[column].name});
        }
    }
    CheckEmptyTexts(row);
}

void RowRules::CheckEmptyTexts(std::span<const Cell> row) const {
    for (const std::size_t column : never_empty_) {
        const Cell& cell = row[column];
        if ((cell.Kind() == ValueKind::Text && cell.AsText().empty()) ||
            (cell.Kind() == ValueKind::Bytes && cell.AsBytes().empty())) {
            throw EmptyTextNotAllowed({def_->name, def_->columns[column].name});
        }
    }
}

}  // namespace vantry::access
