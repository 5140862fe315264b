// What type comes out of two. The rules are the engines': a result is as wide as its widest
// operand, dates and texts stay what they are, a currency stays one as long as no floating number
// is in it. Easy to get wrong: decimals outrank floating types but a mix of them is a double,
// because neither holds all values of the other; and two small types make a larger one, or 200 +
// 200 of bytes would overflow in the target although SQLite reckons it rightly.

#include "drivers/sql/plan/value_type.h"

#include <algorithm>

namespace vantry::sql {
namespace {

constexpr std::int64_t kShortText = 255;
constexpr std::int64_t kLongTextSize = 536870910;
constexpr int kMaxPrecision = 28;

// How wide a number type is; Boolean counts as a number of 0 and -1.
int Rank(int code) {
    switch (code) {
        case adBoolean:
            return 0;
        case adUnsignedTinyInt:
        case adTinyInt:
            return 1;
        case adSmallInt:
            return 2;
        case adInteger:
        case adUnsignedSmallInt:
            return 3;
        case adBigInt:
        case adUnsignedInt:
        case adUnsignedBigInt:
            return 4;
        case adSingle:
            return 5;
        case adDouble:
            return 6;
        default:
            return 7;  // decimals
    }
}

}  // namespace

Family FamilyOf(int code) {
    // A Null alone, and a parameter.
    if (code == adEmpty || code == adVariant) {
        return Family::Unknown;
    }
    if (code == adBoolean) {
        return Family::Boolean;
    }
    // A GUID is a text in braces wherever it is compared.
    if (IsTextType(code) || code == adGUID) {
        return Family::Text;
    }
    if (IsBinaryType(code)) {
        return Family::Binary;
    }
    return IsDateType(code) ? Family::Date : Family::Number;
}

ValueType TypeOf(const ColumnInfo& info) {
    return {info.type, info.defined_size, info.precision, info.scale};
}

ValueType SimpleType(int code) {
    switch (code) {
        case adBoolean:
            return {code, 2};
        case adUnsignedTinyInt:
            return {code, 1, 3};
        case adSmallInt:
            return {code, 2, 5};
        case adInteger:
            return {code, 4, 10};
        case adBigInt:
            return {code, 8, 19};
        case adSingle:
            return {code, 4, 7};
        case adDouble:
            return {code, 8, 15};
        case adCurrency:
            return {code, 8, 19};
        case adDate:
            return {code, 8};
        default:
            return {code, 0};
    }
}

ValueType TextType(std::int64_t size) {
    return size > kShortText ? ValueType{adLongVarWChar, kLongTextSize}
                             : ValueType{adVarWChar, kShortText};
}

ValueType TypeOfLetter(char letter) {
    switch (letter) {
        case 'n':
            return SimpleType(adDouble);
        case 'l':
            return SimpleType(adInteger);
        case 'i':
            return SimpleType(adSmallInt);
        case 'y':
            return SimpleType(adUnsignedTinyInt);
        case 's':
            return SimpleType(adSingle);
        case 'c':
            return SimpleType(adCurrency);
        case 'd':
            return SimpleType(adDate);
        case 'b':
            return SimpleType(adBoolean);
        default:
            return TextType(kShortText);
    }
}

ValueType DecimalType(int scale) {
    return {adNumeric, 19, kMaxPrecision, scale};
}

ValueType CommonType(const ValueType& left, const ValueType& right) {
    const auto left_family = FamilyOf(left);
    const auto right_family = FamilyOf(right);
    if (left_family == Family::Unknown) {
        return right;
    }
    if (right_family == Family::Unknown) {
        return left;
    }
    // The longer one: a short branch of IIf must not cut the other one in a target.
    if (left_family == Family::Text && right_family == Family::Text) {
        return left.size >= right.size ? left : right;
    }
    if (left_family == right_family && left_family != Family::Number) {
        return left;
    }
    const auto is_number = [](Family family) {
        return family == Family::Number || family == Family::Boolean;
    };
    if (is_number(left_family) && is_number(right_family)) {
        return ArithmeticType(left, right, false);
    }
    // Kinds that have nothing in common, as a date and a number, meet as text.
    return TextType(std::max(left.size, right.size));
}

ValueType ArithmeticType(const ValueType& left, const ValueType& right, bool product) {
    const int left_rank = Rank(left.code);
    const int right_rank = Rank(right.code);
    const int rank = std::max({left_rank, right_rank, 2});
    if (rank < 7) {
        static constexpr int kCodes[] = {0, 0, adSmallInt, adInteger, adBigInt, adSingle, adDouble};
        // Short numbers are added as long ones, so that 200 + 200 of bytes has room.
        return SimpleType(rank == 2 ? adInteger : kCodes[rank]);
    }
    // Decimals of up to 15 digits are floating numbers inside, larger ones exact.
    const bool floating = left_rank == 5 || left_rank == 6 || right_rank == 5 || right_rank == 6;
    if (floating) {
        return SimpleType(adDouble);
    }
    const auto scale_of = [](const ValueType& type) {
        if (type.code == adCurrency) {
            return 4;
        }
        return IsExactDecimal(type.code) && type.scale != kDoesNotApply ? type.scale : 0;
    };
    // Whole numbers beside a currency are money, too.
    const bool money =
        (left.code == adCurrency || left_rank < 7) && (right.code == adCurrency || right_rank < 7);
    if (money) {
        return SimpleType(adCurrency);
    }
    const int scale =
        product ? scale_of(left) + scale_of(right) : std::max(scale_of(left), scale_of(right));
    // A product of many decimals has more places than a decimal holds.
    return scale > kMaxPrecision ? SimpleType(adDouble) : DecimalType(scale);
}

ColumnInfo InfoOf(const ValueType& type, std::string_view name) {
    if (type.code == adEmpty || type.code == adVariant) {
        const auto text = TextType(kShortText);
        return {std::string(name), text.code, text.size, text.precision, text.scale};
    }
    return {std::string(name), type.code, type.size, type.precision, type.scale};
}

}  // namespace vantry::sql
