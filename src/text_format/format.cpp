// What a column of a text file is to its callers, and how "Schema.ini" calls it. Sizes and
// precisions are those that the former driver reports, down to the 19 bytes of a decimal: maps of
// saved sessions were made by them.

#include "text_format/format.h"

namespace vantry::text {

ColumnInfo InfoFor(ColumnType type, int width, int precision, int scale) {
    const auto info = [](int code, std::int64_t size, int digits = kDoesNotApply) {
        ColumnInfo made;
        made.type = code;
        made.defined_size = size;
        made.precision = digits;
        return made;
    };
    switch (type) {
        case ColumnType::Bit:
            return info(adBoolean, 2);
        case ColumnType::Byte:
            return info(adUnsignedTinyInt, 1, 3);
        case ColumnType::Short:
            return info(adSmallInt, 2, 5);
        case ColumnType::Long:
            return info(adInteger, 4, 10);
        case ColumnType::Currency:
            return info(adCurrency, 8, 19);
        case ColumnType::Single:
            return info(adSingle, 4, 7);
        case ColumnType::Double:
            return info(adDouble, 8, 15);
        case ColumnType::DateTime:
            return info(adDate, 8);
        case ColumnType::Text:
            return info(adVarWChar, width);
        case ColumnType::Memo:
            // A memo's limit, as that driver reports it. A text file has none.
            return info(adLongVarWChar, 536'870'910);
        case ColumnType::Binary:
            return info(adVarBinary, width);
        case ColumnType::Ole:
            return info(adLongVarBinary, 1'073'741'823);
        case ColumnType::Decimal:
            break;
    }
    // The only one whose digits are the file's own.
    ColumnInfo decimal = info(adNumeric, 19, precision);
    decimal.scale = scale;
    return decimal;
}

std::string_view TypeWord(ColumnType type) {
    switch (type) {
        case ColumnType::Bit:
            return "Bit";
        case ColumnType::Byte:
            return "Byte";
        case ColumnType::Short:
            return "Short";
        case ColumnType::Long:
            return "Long";
        case ColumnType::Currency:
            return "Currency";
        case ColumnType::Single:
            return "Single";
        case ColumnType::Double:
            return "Double";
        case ColumnType::DateTime:
            return "DateTime";
        case ColumnType::Text:
            return "Text";
        case ColumnType::Memo:
            return "Memo";
        case ColumnType::Decimal:
            return "Decimal";
        case ColumnType::Binary:
            return "Binary";
        case ColumnType::Ole:
            break;
    }
    return "OLE";
}

}  // namespace vantry::text
