// Types and sizes are those that the product's own drivers report, as the mapping rules were made
// for them: a number's size is that of a structure in memory, its precision the width in the file.
#include "drivers/foxpro/column_info.h"

#include <limits>

namespace vantry::foxpro {
namespace {

constexpr std::int64_t kLongSize = std::numeric_limits<std::int32_t>::max();
constexpr std::int64_t kNumericStructureSize = 19;
constexpr std::int64_t kDateStructureSize = 6;
constexpr std::int64_t kMomentStructureSize = 16;
constexpr int kBooleanSize = 2;

void Set(ColumnInfo& info,
         int type,
         std::int64_t size,
         int precision = kDoesNotApply,
         int scale = kDoesNotApply) {
    info.type = type;
    info.defined_size = size;
    info.precision = precision;
    info.scale = scale;
}

}  // namespace

sql::StoredColumn DescribeColumn(const Field& field,
                                 const TableLayout& layout,
                                 const TextCoder& coder) {
    sql::StoredColumn column;
    auto& info = column.info;
    std::string scratch;
    info.name = field.long_name;
    // Names of the container are decoded already; those of the header stand there as bytes.
    if (const auto name = coder.Decode(field.long_name, scratch);
        name && field.name == field.long_name) {
        info.name = *name;
    }
    column.auto_number = field.auto_increment;
    const auto length = static_cast<std::int64_t>(field.length);
    if (field.IsMemo()) {
        Set(info, field.type == 'M' && !field.binary ? adLongVarChar : adLongVarBinary, kLongSize);
        return column;
    }
    switch (field.type) {
        case 'C':
            Set(info, field.binary ? adBinary : adChar, length);
            break;
        case 'V':
            Set(info, field.binary ? adVarBinary : adVarChar, length);
            break;
        case 'N':
        case 'F':
            Set(info,
                adNumeric,
                kNumericStructureSize,
                static_cast<int>(field.length),
                static_cast<int>(field.decimals));
            break;
        case 'Y':
            Set(info, adCurrency, length, 19, kCurrencyScale);
            break;
        case 'I':
        case '+':
            Set(info, adInteger, 4, 10);
            break;
        case 'B':
        case 'O':
            Set(info, adDouble, 8, 15);
            break;
        case 'L':
            Set(info, adBoolean, kBooleanSize);
            break;
        case 'D':
            Set(info, adDBDate, kDateStructureSize, 10, 0);
            break;
        case 'T':
        case '@':
            Set(info, adDBTimeStamp, kMomentStructureSize, 19, 0);
            break;
        default:
            Set(info, adVarBinary, length);
    }
    column.read_only = !layout.IsVisual() && (field.type == '+' || field.type == '@');
    return column;
}

}  // namespace vantry::foxpro
