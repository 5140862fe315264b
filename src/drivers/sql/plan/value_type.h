#pragma once
// The type of an expression, in the words of the data-access interface, and what follows from it.

#include "data/driver.h"

#include <string_view>

namespace vantry::sql {

enum class Family : std::uint8_t {
    Unknown,  // Null and parameters: anything goes
    Boolean,
    Number,
    Date,
    Text,
    Binary,
};

// As ColumnInfo has it; kDoesNotApply where a type has no such thing.
struct ValueType {
    int code = adEmpty;
    std::int64_t size = 0;
    int precision = kDoesNotApply;
    int scale = kDoesNotApply;
};

Family FamilyOf(int code);
inline Family FamilyOf(const ValueType& type) {
    return FamilyOf(type.code);
}
// Currency and the decimals, of whatever precision.
inline bool IsExactDecimal(int code) {
    return code == adCurrency || code == adNumeric || code == adDecimal || code == adVarNumeric;
}

// Types of things, and the result's description of a type.
ValueType TypeOf(const ColumnInfo& info);
ValueType SimpleType(int code);         // with its usual size and precision
ValueType TextType(std::int64_t size);  // long text above 255 characters
ValueType TypeOfLetter(char letter);    // the result letters of functions.h, "v" aside
// Of the largest precision there is.
ValueType DecimalType(int scale);
// One type for values of both: branches of IIf, of UNION.
ValueType CommonType(const ValueType& left, const ValueType& right);
// Of left op right for + - * on numbers.
ValueType ArithmeticType(const ValueType& left, const ValueType& right, bool product);
ColumnInfo InfoOf(const ValueType& type, std::string_view name);

}  // namespace vantry::sql
