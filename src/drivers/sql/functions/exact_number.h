#pragma once
// Currency and long decimals inside SQLite, whose own numbers hold 15 digits of a fraction: as
// bytes that sort and compare as the numbers do, so that conditions, keys, sorting, DISTINCT and
// Max need nothing of ours. Equal numbers have equal bytes, whatever their scale.
//
//     zero       80
//     positive   80 + (E + 32), then the digits in pairs, each pair + 1, without zeros at the end
//     negative   80 - (E + 32), the same with all bits of the pairs turned over, then FF
//
// where the number is 0.PP PP PP ... times 100^E. Doubles of 10^38 and more, which appear only as
// bounds that columns are compared with, are FF and the eight bytes of the double, negative ones 00
// and those bytes turned over.

#include "data/value.h"
#include "drivers/sql/plan/value_type.h"

#include <array>
#include <optional>
#include <span>

namespace vantry::sql {

inline constexpr int kDigitsOfDouble = 15;

// Whether values of the type are in that form. A type decides for all its values: decimals of at
// most 15 digits are doubles or whole numbers, as other numbers are.
inline bool IsWide(const ValueType& type) {
    return IsExactDecimal(type.code) &&
           (type.code == adCurrency || type.precision < 1 || type.precision > kDigitsOfDouble);
}

class ExactBytes {
public:
    explicit ExactBytes(const Decimal& number);
    // Beyond the range of decimals.
    explicit ExactBytes(double number);
    std::span<const std::byte> Bytes() const { return std::span(bytes_).first(size_); }

private:
    void Add(unsigned byte) { bytes_[size_++] = static_cast<std::byte>(byte); }
    std::array<std::byte, 24> bytes_;
    std::size_t size_ = 0;
};

// Nothing for bytes that ExactBytes doesn't make of a decimal.
std::optional<Decimal> DecimalOfBytes(std::span<const std::byte> bytes);
std::optional<double> BeyondDecimals(std::span<const std::byte> bytes);

// The nearest decimal, nothing from 10^38 on.
std::optional<Decimal> DecimalOf(const Cell& number);
// The number if a double may not hold it; nothing, too, with more than 28 decimals.
std::optional<Decimal> LongDecimal(const Cell& cell);
// Digits without zeros at either end.
int SignificantDigits(const Decimal& number);

// Exact where the result has at most 28 digits; else the result of the doubles. Nothing from 10^38
// on.
std::optional<Decimal> ExactSum(const Decimal& left, const Decimal& right);
std::optional<Decimal> ExactProduct(const Decimal& left, const Decimal& right);

}  // namespace vantry::sql
