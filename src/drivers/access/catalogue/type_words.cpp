// The words that CREATE TABLE knows for types, and the columns that they make. Several words differ
// only in what a length after them means, which is what Form says. Easy to get wrong: INTEGER is
// four bytes long here, FLOAT is a double, and TEXT without a length is a Memo.

#include "drivers/access/catalogue/type_words.h"

#include "drivers/access/write_errors.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace vantry::access {
namespace {

// What may follow a type word, and what it makes of the column.
enum class Form : std::uint8_t {
    Plain,
    AutoNumber,
    VariableText,
    TextOrMemo,  // text with a length, memo without
    FixedText,
    Bytes,
    Decimal,
};

struct TypeWord {
    std::string_view word;
    ColumnType type;
    Form form;
};

// Upper case, one blank between words, as the parser hands them over.
constexpr std::array kTypeWords = {
    TypeWord{"INTEGER", ColumnType::Long, Form::Plain},
    TypeWord{"INT", ColumnType::Long, Form::Plain},
    TypeWord{"LONG", ColumnType::Long, Form::Plain},
    TypeWord{"INTEGER4", ColumnType::Long, Form::Plain},
    TypeWord{"SMALLINT", ColumnType::Integer, Form::Plain},
    TypeWord{"SHORT", ColumnType::Integer, Form::Plain},
    TypeWord{"INTEGER2", ColumnType::Integer, Form::Plain},
    TypeWord{"BYTE", ColumnType::Byte, Form::Plain},
    TypeWord{"TINYINT", ColumnType::Byte, Form::Plain},
    TypeWord{"INTEGER1", ColumnType::Byte, Form::Plain},
    TypeWord{"COUNTER", ColumnType::Long, Form::AutoNumber},
    TypeWord{"AUTOINCREMENT", ColumnType::Long, Form::AutoNumber},
    TypeWord{"IDENTITY", ColumnType::Long, Form::AutoNumber},
    TypeWord{"SINGLE", ColumnType::Single, Form::Plain},
    TypeWord{"REAL", ColumnType::Single, Form::Plain},
    TypeWord{"FLOAT4", ColumnType::Single, Form::Plain},
    TypeWord{"IEEESINGLE", ColumnType::Single, Form::Plain},
    TypeWord{"DOUBLE", ColumnType::Double, Form::Plain},
    TypeWord{"FLOAT", ColumnType::Double, Form::Plain},
    TypeWord{"FLOAT8", ColumnType::Double, Form::Plain},
    TypeWord{"IEEEDOUBLE", ColumnType::Double, Form::Plain},
    TypeWord{"NUMBER", ColumnType::Double, Form::Plain},
    TypeWord{"DOUBLE PRECISION", ColumnType::Double, Form::Plain},
    TypeWord{"CURRENCY", ColumnType::Currency, Form::Plain},
    TypeWord{"MONEY", ColumnType::Currency, Form::Plain},
    TypeWord{"DECIMAL", ColumnType::Numeric, Form::Decimal},
    TypeWord{"NUMERIC", ColumnType::Numeric, Form::Decimal},
    TypeWord{"DEC", ColumnType::Numeric, Form::Decimal},
    TypeWord{"DATETIME", ColumnType::DateTime, Form::Plain},
    TypeWord{"DATE", ColumnType::DateTime, Form::Plain},
    TypeWord{"TIME", ColumnType::DateTime, Form::Plain},
    TypeWord{"BIT", ColumnType::Boolean, Form::Plain},
    TypeWord{"YESNO", ColumnType::Boolean, Form::Plain},
    TypeWord{"LOGICAL", ColumnType::Boolean, Form::Plain},
    TypeWord{"LOGICAL1", ColumnType::Boolean, Form::Plain},
    TypeWord{"BOOLEAN", ColumnType::Boolean, Form::Plain},
    TypeWord{"TEXT", ColumnType::Text, Form::TextOrMemo},
    TypeWord{"VARCHAR", ColumnType::Text, Form::VariableText},
    TypeWord{"STRING", ColumnType::Text, Form::VariableText},
    TypeWord{"ALPHANUMERIC", ColumnType::Text, Form::VariableText},
    TypeWord{"CHARACTER VARYING", ColumnType::Text, Form::VariableText},
    TypeWord{"CHAR VARYING", ColumnType::Text, Form::VariableText},
    TypeWord{"NVARCHAR", ColumnType::Text, Form::VariableText},
    TypeWord{"NATIONAL CHAR VARYING", ColumnType::Text, Form::VariableText},
    TypeWord{"NATIONAL CHARACTER VARYING", ColumnType::Text, Form::VariableText},
    TypeWord{"CHAR", ColumnType::Text, Form::FixedText},
    TypeWord{"CHARACTER", ColumnType::Text, Form::FixedText},
    TypeWord{"NCHAR", ColumnType::Text, Form::FixedText},
    TypeWord{"NATIONAL CHAR", ColumnType::Text, Form::FixedText},
    TypeWord{"NATIONAL CHARACTER", ColumnType::Text, Form::FixedText},
    TypeWord{"MEMO", ColumnType::Memo, Form::Plain},
    TypeWord{"LONGTEXT", ColumnType::Memo, Form::Plain},
    TypeWord{"LONGCHAR", ColumnType::Memo, Form::Plain},
    TypeWord{"NOTE", ColumnType::Memo, Form::Plain},
    TypeWord{"NTEXT", ColumnType::Memo, Form::Plain},
    TypeWord{"BINARY", ColumnType::Binary, Form::Bytes},
    TypeWord{"VARBINARY", ColumnType::Binary, Form::Bytes},
    TypeWord{"BINARY VARYING", ColumnType::Binary, Form::Bytes},
    TypeWord{"BIT VARYING", ColumnType::Binary, Form::Bytes},
    TypeWord{"IMAGE", ColumnType::Ole, Form::Plain},
    TypeWord{"LONGBINARY", ColumnType::Ole, Form::Plain},
    TypeWord{"GENERAL", ColumnType::Ole, Form::Plain},
    TypeWord{"OLEOBJECT", ColumnType::Ole, Form::Plain},
    TypeWord{"GUID", ColumnType::Guid, Form::Plain},
    TypeWord{"UNIQUEIDENTIFIER", ColumnType::Guid, Form::Plain},
};

// What a word means without numbers behind it.
constexpr int kDefaultPrecision = 18;
constexpr int kDefaultTextUnits = static_cast<int>(kMaxTextUnits);
constexpr int kDefaultBinaryBytes = static_cast<int>(kMaxBinaryBytes);

int SizeOf(const sql::ColumnDefinition& definition, int usual, int most) {
    const int size = definition.size.value_or(usual);
    if (size > most) {
        throw FieldSizeTooLong(definition.name);
    }
    if (size < 1) {
        throw BadFieldDefinition(definition.name, "a size of " + std::to_string(size));
    }
    return size;
}

void SetText(ColumnDef& column, int units, const FileHeader& header, bool fixed) {
    column.length = static_cast<std::uint16_t>(2 * units);
    column.sort_order = header.sort_order;
    // Texts of one byte a character where they can be.
    if (!fixed) {
        column.extended_flags = kColumnCompressed;
    }
}

}  // namespace

// BIGINT is a word only in files whose version has the type.
NewColumn ColumnFromWords(const sql::ColumnDefinition& definition, const FileHeader& header) {
    const bool big_int = definition.type == "BIGINT" && header.version >= kVersionAce16;
    const auto word = std::find_if(kTypeWords.begin(), kTypeWords.end(), [&](const TypeWord& each) {
        return each.word == definition.type;
    });
    if (word == kTypeWords.end() && !big_int) {
        throw BadFieldDefinition(definition.name,
                                 "'" + definition.type + "' is not a type of this database");
    }
    NewColumn column;
    ColumnDef& def = column.def;
    def.name = definition.name;
    def.type = big_int ? ColumnType::BigInt : word->type;
    def.flags = kColumnFixed | kColumnMayBeNull;
    def.length = static_cast<std::uint16_t>(FixedSizeOf(def.type));
    Form form = big_int ? Form::Plain : word->form;
    // The one word whose type depends on whether a length follows.
    if (form == Form::TextOrMemo) {
        form = definition.size ? Form::VariableText : Form::Plain;
        def.type = definition.size ? ColumnType::Text : ColumnType::Memo;
    }
    switch (form) {
        case Form::AutoNumber:
            def.flags |= kColumnAutoNumber;
            if (definition.scale.value_or(1) != 1) {
                throw BadFieldDefinition(definition.name, "an AutoNumber grows by 1 only");
            }
            // COUNTER(10): the first row gets 10.
            column.last_number = static_cast<std::uint32_t>(definition.size.value_or(1) - 1);
            break;
        case Form::VariableText:
            def.flags = kColumnMayBeNull;
            SetText(def, SizeOf(definition, kDefaultTextUnits, kDefaultTextUnits), header, false);
            break;
        case Form::FixedText:
            SetText(def, SizeOf(definition, kDefaultTextUnits, kDefaultTextUnits), header, true);
            break;
        case Form::Bytes:
            def.flags = kColumnMayBeNull;
            def.length = static_cast<std::uint16_t>(
                SizeOf(definition, kDefaultBinaryBytes, kDefaultBinaryBytes));
            break;
        case Form::Decimal: {
            const int precision = SizeOf(definition, kDefaultPrecision, kMaxNumericPrecision);
            const int scale = definition.scale.value_or(0);
            if (scale < 0 || scale > precision) {
                throw BadFieldDefinition(definition.name,
                                         std::to_string(scale) + " decimals of " +
                                             std::to_string(precision) + " digits");
            }
            def.precision = static_cast<std::uint8_t>(precision);
            def.scale = static_cast<std::uint8_t>(scale);
            def.length = static_cast<std::uint16_t>(kNumericSize);
            break;
        }
        case Form::Plain:
        case Form::TextOrMemo:
            if (def.IsLongValue()) {
                def.flags = kColumnMayBeNull;
                def.length = 0;
                if (def.type == ColumnType::Memo) {
                    SetText(def, 0, header, false);
                }
            } else if (def.type == ColumnType::Boolean) {
                def.length = 1;
            }
            break;
    }
    return column;
}

}  // namespace vantry::access
