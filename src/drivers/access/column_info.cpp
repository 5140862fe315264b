// Types, sizes and precisions are those that Access's own providers report: sessions have been
// mapped by them, and the target tables that were made then must come out the same when they are
// made again. Some look odd (two bytes for a boolean, 15 digits for a double) and are right.

#include "drivers/access/column_info.h"

namespace vantry::access {
namespace {

constexpr std::int64_t kMemoSize = 536'870'910;
constexpr std::int64_t kOleSize = 1'073'741'823;
constexpr std::int64_t kNumericStructureSize = 19;
constexpr int kSizeOfBoolean = 2;
constexpr std::uint8_t kHiddenVersionHistory = 0x20;  // extended flag

void SetType(ColumnInfo& info, int type, std::int64_t size, int precision = kDoesNotApply) {
    info.type = type;
    info.defined_size = size;
    info.precision = precision;
}

void SetTextType(ColumnInfo& info, const ColumnDef& column, const Layout& layout) {
    // Stored in bytes, two to a character since Jet 4. A length of 0 is taken for the longest.
    const std::size_t units = layout.jet3 ? column.length : column.length / 2U;
    SetType(info,
            column.IsFixed() ? adWChar : adVarWChar,
            static_cast<std::int64_t>(units != 0 ? units : kMaxTextUnits));
}

void SetNumericType(ColumnInfo& info, const ColumnDef& column) {
    if (column.IsCalculated()) {
        // Each value has a scale of its own: no decimal column would hold them all.
        SetType(info, adDouble, 8, 15);
        return;
    }
    SetType(info, adNumeric, kNumericStructureSize, column.precision);
    info.scale = column.scale;
}

bool IsTrue(const Property* property) {
    return property != nullptr && !property->value.empty() && property->value[0] != std::byte{0};
}

}  // namespace

std::vector<std::size_t> ShownColumns(const TableDef& def) {
    std::vector<std::size_t> shown;
    for (std::size_t i = 0; i < def.columns.size(); ++i) {
        const auto& column = def.columns[i];
        // Older texts of an append-only memo: Access shows them nowhere in a table.
        const bool hidden = column.type == ColumnType::Complex &&
                            (column.extended_flags & kHiddenVersionHistory) != 0;
        if (!hidden) {
            shown.push_back(i);
        }
    }
    return shown;
}

sql::StoredColumn DescribeColumn(const ColumnDef& column,
                                 const Layout& layout,
                                 const std::vector<Property>& properties) {
    sql::StoredColumn described;
    auto& info = described.info;
    info.name = column.name;
    described.auto_number = column.IsAutoNumber() || column.IsAutoGuid();
    described.required = IsTrue(FindProperty(properties, column.name, "Required"));
    const auto* const value = FindProperty(properties, column.name, "DefaultValue");
    described.has_default = value != nullptr && !value->value.empty();
    const auto* const empty = FindProperty(properties, column.name, "AllowZeroLength");
    // Without the property empty texts are taken.
    described.never_empty = column.IsText() && empty != nullptr && !IsTrue(empty);
    // Only Access works out the one and keeps the tables behind the other.
    described.read_only = column.IsCalculated() || column.type == ColumnType::Complex;
    // Of a calculated column that is the type of its result.
    switch (column.value_type) {
        case ColumnType::Boolean:
            SetType(info, adBoolean, kSizeOfBoolean);
            break;
        case ColumnType::Byte:
            SetType(info, adUnsignedTinyInt, 1, 3);
            break;
        case ColumnType::Integer:
            SetType(info, adSmallInt, 2, 5);
            break;
        case ColumnType::Long:
            SetType(info, adInteger, 4, 10);
            break;
        case ColumnType::BigInt:
            SetType(info, adBigInt, 8, 19);
            break;
        case ColumnType::Currency:
            SetType(info, adCurrency, 8, 19);
            break;
        case ColumnType::Single:
            SetType(info, adSingle, 4, 7);
            break;
        case ColumnType::Double:
            SetType(info, adDouble, 8, 15);
            break;
        case ColumnType::DateTime:
        case ColumnType::DateTimeExtended:
            SetType(info, adDate, 8);
            break;
        case ColumnType::Text:
            SetTextType(info, column, layout);
            break;
        case ColumnType::Memo:
        case ColumnType::Complex:  // shown as its values' text
            SetType(info, adLongVarWChar, kMemoSize);
            break;
        case ColumnType::Ole:
            SetType(info, adLongVarBinary, kOleSize);
            break;
        case ColumnType::Guid:
            SetType(info, adGUID, kGuidSize);
            break;
        case ColumnType::Numeric:
            SetNumericType(info, column);
            break;
        case ColumnType::Binary:
        case ColumnType::Unknown0D:
        case ColumnType::Unknown11:
            SetType(info, adVarBinary, column.length);
            break;
    }
    if (info.type == adEmpty) {  // a type code of a later version
        SetType(info, adVarBinary, column.length);
    }
    return described;
}

}  // namespace vantry::access
